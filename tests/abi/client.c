/* A caller of the shared library written in C: reaches an export by linking with the library and by
   looking its plain name up, and checks that both are the same function and that the callee removes
   its arguments where the calling convention says so. The argument is the library's file name. */

#include <stdint.h>
#include <stdio.h>

#include "tervalon/application.h"
#include "tervalon/axes.h"

#if defined(_WIN32)
#include <windows.h>
static void* Find(const char* library, const char* name) {
  HMODULE module = LoadLibraryA(library);
  return module != NULL ? (void*)(uintptr_t)GetProcAddress(module, name) : NULL;
}
#else
#include <dlfcn.h>
static void* Find(const char* library, const char* name) {
  void* module = dlopen(library, RTLD_NOW);
  return module != NULL ? dlsym(module, name) : NULL;
}
#endif

typedef int32_t(TERVALON_CALL* SetYieldFunction)(AppYieldCallback callback, void* user);

static void TERVALON_CALL OnYield(void* user) { (void)user; }

static uintptr_t StackPointer(void) {
  uintptr_t value = 0;
#if defined(__i386__)
  __asm__ volatile("mov %%esp, %0" : "=r"(value));
#endif
  return value;
}

/* Were the arguments left on the stack, each call would move the stack pointer by their size. */
static int StackStays(SetYieldFunction set_yield) {
  const uintptr_t before = StackPointer();
  for (int call = 0; call < 1000; ++call) {
    if (set_yield(OnYield, &call) != 1) return 0;
  }
  return StackPointer() == before && set_yield(NULL, NULL) == 1;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s LIBRARY\n", argv[0]);
    return 2;
  }
  void* found = Find(argv[1], "AppSetYield");
  if (found == NULL) {
    fprintf(stderr, "AppSetYield is not found in %s\n", argv[1]);
    return 1;
  }
  const SetYieldFunction looked_up = (SetYieldFunction)(uintptr_t)found;
  if (looked_up != AppSetYield) {
    fprintf(stderr, "the linked AppSetYield is another function than the one looked up\n");
    return 1;
  }
  if (!StackStays(looked_up)) {
    fprintf(stderr, "calls moved the stack pointer or failed\n");
    return 1;
  }
#if defined(_WIN32)
  /* The platform's own rectangles, as a window procedure has them. */
  RECT client = {0, 0, 100, 50};
  RECT area = {1, 1, 1, 1};
  const int32_t axes = AxsCreate(1, 0, 1, 1);
  const int sized = AxsSize(axes, &client, &area) == 1 && AxsGetArea(axes, 0, &area, 0) == 1;
  if (!sized || AxsDelete(axes) != 1) {
    fprintf(stderr, "axes do not take the platform's rectangles\n");
    return 1;
  }
#endif
  return 0;
}
