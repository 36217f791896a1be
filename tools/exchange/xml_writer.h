// XML written as a stream: elements, attributes, indentation, escapes.

#ifndef TOOLS_EXCHANGE_XML_WRITER_H_
#define TOOLS_EXCHANGE_XML_WRITER_H_

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/exchange/byte_sink.h"
#include "tools/print/text.h"

namespace tervalon::tools {

class XmlWriter {
 public:
  explicit XmlWriter(StagedFile& file) : file_(file) {}

  // The line that every file begins with, and the end of its last line.
  void Begin() { waiting_ += R"(<?xml version="1.0" encoding="utf-8"?>)"; }
  void Finish();

  // Begins with an element's start; attributes follow. Names are literals.
  XmlWriter& Open(const char* element);
  // A UTF-8 text. Characters that XML has no place for become "?".
  XmlWriter& Attribute(const char* name, std::string_view value);
  XmlWriter& Attribute(const char* name, std::integral auto value) {
    return Attribute(name, std::to_string(value));
  }
  XmlWriter& Attribute(const char* name, std::floating_point auto value) {
    return Attribute(name, ExactText(value));
  }
  void Close();
  // An element without content.
  void End() { Close(); }

  // Content that needs no escapes, on the line of the element's tags. Large pieces go to the file
  // without being copied.
  void Text(std::string_view text);

  // Where the next element's start will stand.
  uint64_t NextElement();
  // Passes on what waits to the file.
  void Flush();

 private:
  void EndStartTag();
  void NewLine();

  struct Element {
    const char* name;
    bool has_children = false;
    bool has_text = false;
  };

  StagedFile& file_;
  std::string waiting_;
  std::vector<Element> open_;
  bool in_start_tag_ = false;
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_XML_WRITER_H_
