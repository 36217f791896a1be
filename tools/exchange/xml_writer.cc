#include "tools/exchange/xml_writer.h"

namespace tervalon::tools {
namespace {

void AppendEscaped(std::string& out, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':
        out += c == '\t' ? "&#9;" : c == '\n' ? "&#10;" : "&#13;";
        break;
      default:
        out += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
  }
}

}  // namespace

XmlWriter& XmlWriter::Open(const char* element) {
  EndStartTag();
  if (!open_.empty()) open_.back().has_children = true;
  NewLine();
  waiting_ += '<';
  waiting_ += element;
  open_.push_back({element});
  in_start_tag_ = true;
  return *this;
}

XmlWriter& XmlWriter::Attribute(const char* name, std::string_view value) {
  waiting_ += ' ';
  waiting_ += name;
  waiting_ += "=\"";
  AppendEscaped(waiting_, value);
  waiting_ += '"';
  return *this;
}

void XmlWriter::Close() {
  const Element element = open_.back();
  open_.pop_back();
  if (in_start_tag_) {
    waiting_ += "/>";
    in_start_tag_ = false;
  } else {
    if (!element.has_text) NewLine();
    waiting_ += "</";
    waiting_ += element.name;
    waiting_ += '>';
  }
  if (waiting_.size() >= kWritePiece) Flush();
}

void XmlWriter::Text(std::string_view text) {
  EndStartTag();
  open_.back().has_text = true;
  if (text.size() < kWritePiece / 4) {
    waiting_ += text;
  } else {
    Flush();
    file_.Write(text);
  }
}

uint64_t XmlWriter::NextElement() {
  EndStartTag();
  // Behind the line's end and the indentation.
  return file_.position() + waiting_.size() + 1 + open_.size();
}

void XmlWriter::Finish() {
  waiting_ += '\n';
  Flush();
}

void XmlWriter::Flush() {
  file_.Write(waiting_);
  waiting_.clear();
}

void XmlWriter::EndStartTag() {
  if (in_start_tag_) waiting_ += '>';
  in_start_tag_ = false;
}

void XmlWriter::NewLine() {
  waiting_ += '\n';
  waiting_.append(open_.size(), ' ');
}

}  // namespace tervalon::tools
