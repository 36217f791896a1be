// A file system that counts what is done to it.

#ifndef BENCH_COUNTING_FILES_H_
#define BENCH_COUNTING_FILES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::bench {

// The platform's files, with those that are opened, looked at and replaced counted.
class CountingFiles : public platform::FileSystem {
 public:
  std::unique_ptr<platform::File> Open(const std::string& path, platform::OpenMode mode,
                                       bool* absent, platform::Spelling spelling) override {
    ++opened;
    return real_.Open(path, mode, absent, spelling);
  }
  std::unique_ptr<platform::File> OpenAlone(const std::string& path, bool* in_use) override {
    return real_.OpenAlone(path, in_use);
  }
  bool RemoveAlone(const std::string& path, std::unique_ptr<platform::File> file) override {
    return real_.RemoveAlone(path, std::move(file));
  }
  bool Exists(const std::string& path) override { return real_.Exists(path); }
  bool IsLink(const std::string& path) override { return real_.IsLink(path); }
  std::string Resolve(const std::string& path) override { return real_.Resolve(path); }
  std::string Target(const std::string& path) override { return real_.Target(path); }
  platform::PathStatus Status(const std::string& path) override {
    ++looked_at;
    return real_.Status(path);
  }
  bool Remove(const std::string& path) override { return real_.Remove(path); }
  bool MakeDirectory(const std::string& path) override { return real_.MakeDirectory(path); }
  bool RemoveEmptyDirectory(const std::string& path) override {
    return real_.RemoveEmptyDirectory(path);
  }
  bool List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) override {
    return real_.List(path, entries);
  }
  bool Touch(const std::string& path) override { return real_.Touch(path); }
  bool CopyAccess(const std::string& like, const std::string& path) override {
    return real_.CopyAccess(like, path);
  }
  bool MoveOver(const std::string& from, const std::string& to, platform::Force force) override {
    ++replaced;
    return real_.MoveOver(from, to, force);
  }
  std::string WorkingDirectory() override { return real_.WorkingDirectory(); }

  int64_t opened = 0;
  int64_t looked_at = 0;
  int64_t replaced = 0;

 private:
  platform::FileSystem& real_ = platform::Files();
};

}  // namespace tervalon::bench

#endif  // BENCH_COUNTING_FILES_H_
