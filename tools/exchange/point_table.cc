#include "tools/exchange/point_table.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

bool IsJson(TableKind kind) { return kind == TableKind::kJson || kind == TableKind::kNdjson; }

// The shortest text that reads back as the same float; JSON has none for those that are no numbers.
void AppendNumber(std::string& text, float value, bool json) {
  if (json && !std::isfinite(value)) {
    text += "null";
    return;
  }
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value);
  text.append(digits, end.ptr);
}

std::string QuotedJson(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
  }
  return quoted + '"';
}

std::string QuotedCsv(const std::string& text) {
  if (text.find_first_of(",\"\t\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

}  // namespace

PointTable::PointTable(ByteSink& sink, TableKind kind, bool with_directory)
    : sink_(sink), kind_(kind), with_directory_(with_directory) {
  if (kind_ == TableKind::kJson) {
    waiting_ = "{\n \"points\": [";
  } else if (kind_ != TableKind::kNdjson) {
    const char separator = kind_ == TableKind::kCsv ? ',' : '\t';
    if (with_directory_) waiting_ = std::string("directory") + separator;
    for (const char* const name : {"function", "scan", "time", "mass"}) {
      waiting_ += name;
      waiting_ += separator;
    }
    waiting_ += "intensity\n";
  }
}

void PointTable::Add(const ExportRun& run) {
  const std::string directory = Utf8FromSystem(run.directory().path());
  run.ForEachScan(
      [this, &directory](const ExportedFunction& function, int32_t scan, const Spectrum& spectrum) {
        AddScan(directory, function, scan, spectrum);
      });
}

void PointTable::AddScan(const std::string& directory, const ExportedFunction& function,
                         int32_t scan, const Spectrum& spectrum) {
  const bool json = IsJson(kind_);
  const char* const separator = json ? ", " : kind_ == TableKind::kCsv ? "," : "\t";
  const auto key = [json](const char* name) {
    return json ? "\"" + std::string(name) + "\": " : std::string();
  };
  // What the rows of the scan begin with.
  std::string begin = kind_ == TableKind::kJson ? "  {" : json ? "{" : "";
  if (with_directory_) {
    begin += key("directory") + (json ? QuotedJson(directory) : QuotedCsv(directory)) + separator;
  }
  begin += key("function") + std::to_string(function.function()) + separator;
  begin += key("scan") + std::to_string(scan) + separator;
  begin += key("time");
  AppendNumber(begin, spectrum.header.retention_time, json);
  begin += separator + key("mass");
  const std::string middle = separator + key("intensity");
  for (size_t i = 0; i < spectrum.masses.size(); ++i) {
    if (kind_ == TableKind::kJson) waiting_ += std::exchange(first_, false) ? "\n" : ",\n";
    waiting_ += begin;
    AppendNumber(waiting_, spectrum.masses[i], json);
    waiting_ += middle;
    AppendNumber(waiting_, spectrum.intensities[i], json);
    if (json) waiting_ += '}';
    if (kind_ != TableKind::kJson) waiting_ += '\n';
    if (waiting_.size() >= kWritePiece) Flush();
  }
}

void PointTable::End() {
  if (kind_ == TableKind::kJson) waiting_ += "\n ]\n}\n";
  Flush();
}

void PointTable::Flush() {
  sink_.Write(waiting_);
  waiting_.clear();
}

}  // namespace tervalon::tools
