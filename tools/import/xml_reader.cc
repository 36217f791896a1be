#include "tools/import/xml_reader.h"

#include <expat.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

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
  XML_Index given = 0;
  for (bool last = false; !last;) {
    void* const buffer = XML_GetBuffer(parser_.get(), kPiece);
    if (buffer == nullptr) throw std::bad_alloc();
    const int size = ReadPiece(buffer, kPiece);
    last = size == 0;
    const XML_Status status = XML_ParseBuffer(parser_.get(), size, last ? 1 : 0);
    if (failure_ != nullptr) std::rethrow_exception(failure_);
    if (status != XML_STATUS_OK) {
      const XML_Error error = XML_GetErrorCode(parser_.get());
      if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
      Fail(given == 0 && last               ? "the file is empty"
           : error == XML_ERROR_NO_ELEMENTS ? "the file is cut off"
           : error == XML_ERROR_UNCLOSED_TOKEN && last
               ? "the file is cut off within a tag"
               : std::string("not well-formed XML: ") + XML_ErrorString(error));
    }
    given += size;
    if (given - XML_GetCurrentByteIndex(parser_.get()) > kLongestTag) {
      Fail("a tag of more than 8 MB");
    }
    progress(Percent());
  }
}

int XmlReader::ReadPiece(void* buffer, int size) {
  const int read = gzread(file_.get(), buffer, static_cast<unsigned>(size));
  int error = Z_OK;
  const char* const text = gzerror(file_.get(), &error);
  if (read < 0 || error != Z_OK) {
    if (error == Z_ERRNO) Fail(std::strerror(errno));
    if (error == Z_BUF_ERROR) Fail("the compressed file is cut off");
    Fail(std::string("the compressed file is damaged: ") + text);
  }
  return read;
}

int XmlReader::Percent() const {
  const auto offset = static_cast<double>(gzoffset(file_.get()));
  return size_ > 0 && offset < size_ ? static_cast<int>(offset / size_ * 100) : 100;
}

void XmlReader::Fail(const std::string& reason) const {
  throw Failure(path_ + ": line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())),
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
