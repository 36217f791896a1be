// XML files, plain or gzip, read as a stream by expat: what is in memory is a piece of the file.

#ifndef TOOLS_IMPORT_XML_READER_H_
#define TOOLS_IMPORT_XML_READER_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct XML_ParserStruct;
struct gzFile_s;

namespace tervalon::tools {

// The attributes of the element that begins.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char* const* pairs) : pairs_(pairs) {}

  // Empty where there is none.
  std::string_view Get(std::string_view name) const;
  bool Has(std::string_view name) const;

 private:
  const char* const* pairs_;
};

class XmlHandler {
 public:
  virtual ~XmlHandler() = default;
  virtual void Begin(std::string_view element, const XmlAttributes& attributes) = 0;
  virtual void End(std::string_view element) = 0;
  // Text comes in pieces.
  virtual void Text(std::string_view text) = 0;
  // Whether the text of the element that has begun last stands for itself, without entities, and
  // need not go through the parser; then it comes up to the next "<".
  virtual bool TakesPlainText() const = 0;
};

class XmlReader {
 public:
  // Throws a Failure when the file cannot be opened. The handler must outlive the reader.
  XmlReader(std::string path, XmlHandler& handler);
  ~XmlReader();
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;

  // Reads all of it and calls `progress` with percentages. Throws a Failure that names the line for
  // what is not well-formed, not whole or not acceptable, and passes on what the handler throws.
  void Read(const std::function<void(int)>& progress);

  // Throws a Failure about where the reader stands.
  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  struct Closer {
    void operator()(gzFile_s* file) const;
    void operator()(XML_ParserStruct* parser) const;
  };

  // Calls what may throw, from a function that is called by C.
  template <typename Action>
  void Guard(Action action);
  size_t ReadPiece(char* buffer, size_t size);
  void Take(std::string_view piece);
  std::string_view TakePlainText(std::string_view piece);
  void Parse(std::string_view text, bool last);
  int Percent() const;

  static void OnBegin(void* reader, const char* element, const char** attributes);
  static void OnEnd(void* reader, const char* element);
  static void OnText(void* reader, const char* text, int size);
  static void OnDoctype(void* reader, const char* name, const char* system, const char* identifier,
                        int has_internal_subset);

  const std::string path_;
  XmlHandler& handler_;
  std::unique_ptr<gzFile_s, Closer> file_;
  std::unique_ptr<XML_ParserStruct, Closer> parser_;
  std::exception_ptr failure_;
  double size_ = 0;  // of the file as it is stored
  bool plain_text_ = false;
  size_t plain_lines_ = 0;  // that the parser has not seen
  int64_t parsed_ = 0;      // bytes that it has
};

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_XML_READER_H_
