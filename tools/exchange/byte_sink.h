// Where an export goes: a file that appears when it is whole, or standard output.

#ifndef TOOLS_EXCHANGE_BYTE_SINK_H_
#define TOOLS_EXCHANGE_BYTE_SINK_H_

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "tools/exchange/sha1.h"
#include "tools/print/output.h"

namespace tervalon::tools {

// What writers gather before they write it.
constexpr size_t kWritePiece = size_t{1} << 16;

class ByteSink {
 public:
  ByteSink() = default;
  virtual ~ByteSink() = default;
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  // Throws a Failure, or OutputClosed.
  virtual void Write(std::string_view bytes) = 0;
};

class OutputSink : public ByteSink {
 public:
  explicit OutputSink(Output& output) : output_(output) {}
  void Write(std::string_view bytes) override { output_ << bytes; }

 private:
  Output& output_;
};

// The name under which a file is written until it is whole. What stood at its own name is replaced
// then, and else left as it was.
class StagedName {
 public:
  // Ctrl-C is held from now on: whoever writes calls console::CheckInterrupt.
  explicit StagedName(std::string name);
  ~StagedName();
  StagedName(const StagedName&) = delete;
  StagedName& operator=(const StagedName&) = delete;

  const std::string& name() const { return name_; }
  const std::string& staging() const { return staging_; }

  // The file, closed, takes its place. Throws a Failure.
  void Commit();

 private:
  const std::string name_;
  const std::string target_;  // where the name leads, if it is a link
  const std::string staging_;
};

class StagedFile : public ByteSink {
 public:
  explicit StagedFile(std::string name);

  void Write(std::string_view bytes) override;
  // Bytes written so far.
  uint64_t position() const { return position_; }
  // Of what is written from now on; and of what was.
  void BeginChecksum() { checksum_.emplace(); }
  std::string Checksum() const { return checksum_->Digest(); }

  void Commit();

 private:
  StagedName name_;
  std::ofstream file_;
  uint64_t position_ = 0;
  std::optional<Sha1> checksum_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_BYTE_SINK_H_
