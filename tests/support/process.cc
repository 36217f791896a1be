#include "tests/support/process.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/support/temp_directory.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace tervalon::testing {
namespace {

#if defined(_WIN32)

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

// cmd drops the first and the last quotation mark of the line.
int System(const std::string& line) {
  const std::string quoted = '"' + line + '"';
  std::wstring wide(quoted.size(), 0);  // of UTF-8, which never gets longer
  MultiByteToWideChar(CP_UTF8, 0, quoted.c_str(), -1, wide.data(),
                      static_cast<int>(wide.size()) + 1);
  return _wsystem(wide.c_str());
}

const std::string kChangeDirectory = "cd /d ";

#else

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

int System(const std::string& line) {
  const int status = std::system(line.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

const std::string kChangeDirectory = "cd ";

#endif

std::string QuotedPath(const std::string& path) {
  return Quoted(Native(path).make_preferred().string());
}

ProcessResult RunLine(const std::string& line, const std::string& directory) {
  const TempDirectory texts;
  const std::string out = texts.Path("out");
  const std::string err = texts.Path("err");
  const int status = System(kChangeDirectory + QuotedPath(directory) + " && " + line + " >" +
                            QuotedPath(out) + " 2>" + QuotedPath(err));
  return {status, ReadText(out), ReadText(err)};
}

}  // namespace

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& directory) {
  std::string line = Quoted(program);
  for (const std::string& argument : arguments) {
    line += ' ';
    line += Quoted(argument);
  }
  return RunLine(line, directory);
}

#if defined(_WIN32)

Program::Program(const std::string& program, const std::vector<std::string>& arguments) {
  std::string line = Quoted(program);
  for (const std::string& argument : arguments) line += " " + Quoted(argument);
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information = {};
  if (!CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &information)) {
    throw std::runtime_error("cannot run " + program);
  }
  CloseHandle(information.hThread);
  process_ = information.hProcess;
}

Program::~Program() {
  Kill();
  CloseHandle(process_);
}

bool Program::Running() {
  running_ = running_ && WaitForSingleObject(process_, 0) == WAIT_TIMEOUT;
  return running_;
}

void Program::Kill() {
  constexpr UINT kKilled = 0xFFFFFFFF;
  TerminateProcess(process_, kKilled);
  Wait();
}

int Program::Wait() {
  WaitForSingleObject(process_, INFINITE);
  running_ = false;
  DWORD status = 0;
  GetExitCodeProcess(process_, &status);
  return static_cast<int>(status);
}

std::string ThisProgram() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, sizeof(path));
  return path;
}

void SetEnvironment(const char* name, const std::string& value) { _putenv_s(name, value.c_str()); }

#else

Program::Program(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {program};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  if (posix_spawn(&process_, program.c_str(), nullptr, nullptr, pointers.data(), environ) != 0) {
    throw std::runtime_error("cannot run " + program);
  }
}

Program::~Program() { Kill(); }

void Program::Collect(int options) {
  int status = 0;
  if (!running_ || waitpid(process_, &status, options) != process_) return;
  running_ = false;
  if (WIFEXITED(status)) status_ = WEXITSTATUS(status);
}

bool Program::Running() {
  Collect(WNOHANG);
  return running_;
}

void Program::Kill() {
  if (running_) kill(process_, SIGKILL);
  Wait();
}

int Program::Wait() {
  Collect(0);
  return status_;
}

std::string ThisProgram() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

void SetEnvironment(const char* name, const std::string& value) {
  value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
}

ProcessResult RunShell(const std::string& line, const std::string& directory) {
  return RunLine("{ " + line + "; }", directory);
}
#endif

}  // namespace tervalon::testing
