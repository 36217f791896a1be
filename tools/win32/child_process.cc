#include "tools/print/child_process.h"

#include <windows.h>

#include <mutex>
#include <thread>

namespace tervalon::tools {
namespace {

class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE get() const { return handle_; }
  HANDLE* address() { return &handle_; }
  void Close() {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_ = nullptr;
};

std::wstring Wide(const std::string& text) {
  const int size = static_cast<int>(text.size());
  const int wide = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring result(static_cast<size_t>(wide), 0);
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), wide);
  return result;
}

// As programs take it apart again: backslashes count twice in front of a quotation mark only.
std::wstring Quoted(const std::wstring& word) {
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t c : word) {
    if (c == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L'"';
}

std::wstring ProgramPath() {
  std::wstring path(32768, 0);
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

bool MakePipe(Handle& read, Handle& write) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreatePipe(read.address(), write.address(), &inherited, 0) != 0 &&
         SetHandleInformation(read.get(), HANDLE_FLAG_INHERIT, 0) != 0;
}

void ReadAll(HANDLE pipe, std::string& text) {
  char piece[1 << 15];
  DWORD count = 0;
  while (ReadFile(pipe, piece, sizeof piece, &count, nullptr) != 0 && count > 0) {
    text.append(piece, count);
  }
}

// Its processes end with this one.
HANDLE OwnJob() {
  static const HANDLE job = [] {
    HANDLE made = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return made;
  }();
  return job;
}

}  // namespace

ChildResult RunThisProgram(const std::vector<std::string>& words) {
  ChildResult result;
  const std::wstring program = ProgramPath();
  std::wstring line = Quoted(program);
  for (const std::string& word : words) line += L" " + Quoted(Wide(word));
  Handle out;
  Handle err;
  PROCESS_INFORMATION process = {};
  {
    // One at a time, or a process would inherit another's pipes and keep them open.
    static std::mutex starting;
    const std::lock_guard lock(starting);
    Handle child_out;
    Handle child_err;
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    if (MakePipe(out, child_out) && MakePipe(err, child_err)) {
      start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
      start.hStdOutput = child_out.get();
      start.hStdError = child_err.get();
      CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                     nullptr, nullptr, &start, &process);
    }
  }
  if (process.hProcess == nullptr) {
    result.err = "tervalon: no process can be started\n";
    return result;
  }
  AssignProcessToJobObject(OwnJob(), process.hProcess);
  ResumeThread(process.hThread);
  CloseHandle(process.hThread);
  std::thread errors([&err, &result] { ReadAll(err.get(), result.err); });
  ReadAll(out.get(), result.out);
  errors.join();
  // Standard error ends its lines anew.
  std::erase(result.err, '\r');
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD status = 1;
  GetExitCodeProcess(process.hProcess, &status);
  CloseHandle(process.hProcess);
  result.status = static_cast<int>(status);
  return result;
}

}  // namespace tervalon::tools
