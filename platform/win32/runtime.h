// The compiler's runtime, which is linked into the DLL.

#ifndef PLATFORM_WIN32_RUNTIME_H_
#define PLATFORM_WIN32_RUNTIME_H_

namespace tervalon::platform {

// Gives back what the runtime keeps for a thread that ends.
void ReturnThreadResources();

// Gives back what the runtime keeps until the process ends, which for a DLL that is unloaded and
// loaded again is too long. Nothing should be thrown afterwards.
void ReturnRuntimeResources();

}  // namespace tervalon::platform

#endif  // PLATFORM_WIN32_RUNTIME_H_
