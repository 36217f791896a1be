#include "tools/exchange/byte_sink.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

[[noreturn]] void FailToWrite(const std::string& name) {
  throw Failure(name, "cannot be written: " +
                          (errno != 0 ? std::string(std::strerror(errno)) : "unknown error"));
}

}  // namespace

StagedName::StagedName(std::string name)
    : name_(std::move(name)), target_(LinkTarget(name_)), staging_(UnusedName(target_, ".part")) {
  console::HoldInterrupts();
}

StagedName::~StagedName() { RemoveFile(staging_); }

void StagedName::Commit() {
  console::CheckInterrupt();
  errno = 0;
  if (!console::ForceToDisk(staging_)) FailToWrite(name_);
  MoveOver(staging_, target_);
}

StagedFile::StagedFile(std::string name) : name_(std::move(name)) {
  errno = 0;
  file_.rdbuf()->pubsetbuf(nullptr, 0);  // what comes is in large pieces already
  file_.open(PathOf(name_.staging()), std::ios::binary);
  if (!file_) FailToWrite(name_.name());
}

void StagedFile::Write(std::string_view bytes) {
  errno = 0;
  if (!file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    FailToWrite(name_.name());
  }
  if (checksum_) checksum_->Add(bytes.data(), bytes.size());
  position_ += bytes.size();
}

void StagedFile::Commit() {
  errno = 0;
  file_.close();
  if (!file_) FailToWrite(name_.name());
  name_.Commit();
}

}  // namespace tervalon::tools
