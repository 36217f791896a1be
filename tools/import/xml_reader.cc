#include "tools/import/xml_reader.h"

#include <expat.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>
#include <vector>

#include "tools/data/files.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr int kPiece = 256 * 1024;
// The parser keeps a tag until it ends; nobody writes one this long.
constexpr XML_Index kLongestTag = 8 * 1024 * 1024;

}  // namespace

std::string_view XmlAttributes::Get(std::string_view name) const {
  for (const char* const* pair = pairs_; *pair != nullptr; pair += 2) {
    if (name == pair[0]) return pair[1];
  }
  return {};
}

bool XmlAttributes::Has(std::string_view name) const {
  for (const char* const* pair = pairs_; *pair != nullptr; pair += 2) {
    if (name == pair[0]) return true;
  }
  return false;
}

void XmlReader::Closer::operator()(gzFile_s* file) const { gzclose_r(file); }
void XmlReader::Closer::operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }

XmlReader::XmlReader(std::string path, XmlHandler& handler)
    : path_(std::move(path)), handler_(handler) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(PathOf(path_), error);
  if (std::filesystem::is_directory(status)) throw Failure(path_, "not a file but a directory");
  file_.reset(gzopen(path_.c_str(), "rb"));
  if (file_ == nullptr) {
    throw Failure(path_, errno == 0 ? "out of memory" : std::strerror(errno));
  }
  gzbuffer(file_.get(), kPiece);
  if (const auto size = std::filesystem::file_size(PathOf(path_), error); !error) {
    size_ = static_cast<double>(size);
  }
  parser_.reset(XML_ParserCreate(nullptr));
  if (parser_ == nullptr) throw std::bad_alloc();
  XML_SetUserData(parser_.get(), this);
  XML_SetElementHandler(parser_.get(), OnBegin, OnEnd);
  XML_SetCharacterDataHandler(parser_.get(), OnText);
  XML_SetStartDoctypeDeclHandler(parser_.get(), OnDoctype);
}

XmlReader::~XmlReader() = default;

void XmlReader::Read(const std::function<void(int)>& progress) {
  std::vector<char> buffer(kPiece);
  for (;;) {
    const size_t size = ReadPiece(buffer.data(), buffer.size());
    if (size == 0) break;
    Take({buffer.data(), size});
    progress(Percent());
  }
  Parse("", true);
}

// Most of a file is the text of a few elements, and finding its end takes the parser longer than
// anything else.
void XmlReader::Take(std::string_view piece) {
  constexpr std::string_view kTag = "<binary>";
  while (!piece.empty()) {
    if (plain_text_) {
      piece = TakePlainText(piece);
      continue;
    }
    const size_t tag = piece.find(kTag);
    const size_t size = tag == std::string_view::npos ? piece.size() : tag + kTag.size();
    Parse(piece.substr(0, size), false);
    piece.remove_prefix(size);
    // It may stand in a comment, too.
    plain_text_ = tag != std::string_view::npos && handler_.TakesPlainText() &&
                  XML_GetCurrentByteIndex(parser_.get()) == parsed_;
  }
}

std::string_view XmlReader::TakePlainText(std::string_view piece) {
  const std::string_view text = piece.substr(0, piece.find('<'));
  plain_text_ = text.size() == piece.size();
  if (!text.empty()) handler_.Text(text);
  for (size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
    ++plain_lines_;
  }
  return piece.substr(text.size());
}

void XmlReader::Parse(std::string_view text, bool last) {
  const XML_Status status =
      XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), last ? 1 : 0);
  if (failure_ != nullptr) std::rethrow_exception(failure_);
  if (status != XML_STATUS_OK) {
    const XML_Error error = XML_GetErrorCode(parser_.get());
    if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    Fail(parsed_ == 0 && last             ? "the file is empty"
         : error == XML_ERROR_NO_ELEMENTS ? "the file is cut off"
         : error == XML_ERROR_UNCLOSED_TOKEN && last
             ? "the file is cut off within a tag"
             : std::string("not well-formed XML: ") + XML_ErrorString(error));
  }
  parsed_ += std::ssize(text);
  if (parsed_ - XML_GetCurrentByteIndex(parser_.get()) > kLongestTag) {
    Fail("a tag of more than 8 MB");
  }
}

size_t XmlReader::ReadPiece(char* buffer, size_t size) {
  const int read = gzread(file_.get(), buffer, static_cast<unsigned>(size));
  int error = Z_OK;
  const char* const text = gzerror(file_.get(), &error);
  // What there is of a file that is cut off comes first.
  if (read < 0 || (read == 0 && error != Z_OK)) {
    if (error == Z_ERRNO) Fail(std::strerror(errno));
    if (error == Z_BUF_ERROR) Fail("the compressed file is cut off");
    Fail(std::string("the compressed file is damaged: ") + text);
  }
  return static_cast<size_t>(read);
}

int XmlReader::Percent() const {
  const auto offset = static_cast<double>(gzoffset(file_.get()));
  return size_ > 0 && offset < size_ ? static_cast<int>(offset / size_ * 100) : 100;
}

void XmlReader::Fail(const std::string& reason) const {
  throw Failure(
      path_ + ": line " + std::to_string(XML_GetCurrentLineNumber(parser_.get()) + plain_lines_),
      reason);
}

template <typename Action>
void XmlReader::Guard(Action action) {
  if (failure_ != nullptr) return;
  try {
    action();
  } catch (...) {
    failure_ = std::current_exception();
    XML_StopParser(parser_.get(), XML_FALSE);
  }
}

void XmlReader::OnBegin(void* reader, const char* element, const char** attributes) {
  auto* const self = static_cast<XmlReader*>(reader);
  self->Guard([&] { self->handler_.Begin(element, XmlAttributes(attributes)); });
}

void XmlReader::OnEnd(void* reader, const char* element) {
  auto* const self = static_cast<XmlReader*>(reader);
  self->Guard([&] { self->handler_.End(element); });
}

void XmlReader::OnText(void* reader, const char* text, int size) {
  auto* const self = static_cast<XmlReader*>(reader);
  self->Guard([&] { self->handler_.Text({text, static_cast<size_t>(size)}); });
}

// No mzML file has one, and what entities can do is not wanted here.
void XmlReader::OnDoctype(void* reader, const char* /*name*/, const char* /*system*/,
                          const char* /*identifier*/, int /*has_internal_subset*/) {
  auto* const self = static_cast<XmlReader*>(reader);
  self->Guard([&] { self->Fail("a document type declaration, which no mzML file has"); });
}

}  // namespace tervalon::tools
