#include "tools/print/console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// Needs the one above.
#include <shellapi.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "tools/print/failure.h"

namespace tervalon::tools::console {
namespace {

constexpr int kInterrupted = 130;

std::atomic<bool> held = false;
std::atomic<bool> noted = false;

// Runs in a thread of its own.
BOOL WINAPI TakeControl(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  if (!held || noted.exchange(true)) ExitProcess(kInterrupted);
  return TRUE;
}

std::wstring Wide(const std::string& text, UINT code_page) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(
      static_cast<size_t>(MultiByteToWideChar(code_page, 0, text.data(), size, nullptr, 0)), 0);
  MultiByteToWideChar(code_page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

// `lossy` (optional) receives whether a character has no place in the code page.
std::string Narrow(const std::wstring& wide, UINT code_page, BOOL* lossy) {
  const DWORD flags = lossy != nullptr ? WC_NO_BEST_FIT_CHARS : 0;
  const int size = static_cast<int>(wide.size());
  std::string text(static_cast<size_t>(WideCharToMultiByte(code_page, flags, wide.data(), size,
                                                           nullptr, 0, nullptr, nullptr)),
                   0);
  WideCharToMultiByte(code_page, flags, wide.data(), size, text.data(),
                      static_cast<int>(text.size()), nullptr, lossy);
  return text;
}

}  // namespace

void Prepare() {
  _setmode(_fileno(stdout), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCtrlHandler(&TakeControl, TRUE);
}

std::vector<std::string> Arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  if (words == nullptr) return {argv, argv + argc};
  std::vector<std::string> arguments;
  arguments.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) arguments.push_back(Narrow(words[i], CP_UTF8, nullptr));
  LocalFree(words);
  return arguments;
}

std::string SystemText(const std::string& text) {
  BOOL lossy = FALSE;
  std::string system = Narrow(Wide(text, CP_UTF8), CP_ACP, &lossy);
  if (lossy != FALSE) {
    throw Failure(text, "the name has characters that this system's code page does not have");
  }
  return system;
}

std::vector<std::string> ExpandWildcards(const std::string& word) {
  if (word.find_first_of("*?") == std::string::npos) return {word};
  const size_t separator = word.find_last_of("/\\");
  const std::string folder = separator == std::string::npos ? "" : word.substr(0, separator + 1);
  std::vector<std::string> paths;
  WIN32_FIND_DATAW found = {};
  HANDLE const search = FindFirstFileW(Wide(word, CP_UTF8).c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return {word};
  do {
    const std::string name = Narrow(found.cFileName, CP_UTF8, nullptr);
    if (name != "." && name != "..") paths.push_back(folder + name);
  } while (FindNextFileW(search, &found) != 0);
  FindClose(search);
  std::ranges::sort(paths);
  return paths;
}

std::string Utf8FromCodePage(const std::string& text) {
  return Narrow(Wide(text, CP_ACP), CP_UTF8, nullptr);
}

// New files have the owner and the rights that their directory gives them.
void CopyOwner(const std::string& /*from*/, const std::string& /*to*/) {}

bool ForceToDisk(const std::string& name) {
  HANDLE const file = CreateFileW(Wide(name, CP_UTF8).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool forced = FlushFileBuffers(file) != FALSE;
  CloseHandle(file);
  return forced;
}

// The C runtime calls NUL a terminal too.
bool ErrorIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

int OutputWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  return GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0
             ? info.srWindow.Right - info.srWindow.Left + 1
             : 80;
}

// The C runtime has no error of its own for a closed pipe and reports a bad argument.
bool IsBrokenPipe(int error) { return error == EPIPE || error == EINVAL; }

void HoldInterrupts() { held = true; }

void CheckInterrupt() {
  if (noted) throw Interrupt{};
}

void EndInterrupted() { std::exit(kInterrupted); }

}  // namespace tervalon::tools::console
