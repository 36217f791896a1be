// Private profiles, read and written by hand on every platform: the desktop platform's own calls
// lose changes when several programs write.
//
// Nothing is kept between calls, because other programs change the file too: every read scans the
// file's text once, up to the key. Settings files are small.

#include "platform/profile.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/file_change.h"
#include "platform/file_system.h"
#include "platform/text.h"

namespace tervalon::platform {
namespace {

constexpr std::string_view kLineEnds = "\r\n";

// A larger file is no profile: looking for keys in it takes time, and several programs may be made
// to do that again and again.
constexpr uint64_t kLargestFile = 1 << 20;

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view Unquote(std::string_view text) {
  if (text.size() < 2 || text.front() != text.back()) return text;
  return text.front() == '"' || text.front() == '\'' ? text.substr(1, text.size() - 2) : text;
}

enum class LineKind { kOther, kSection, kKey };  // kOther: blank, comment, a name without "="

struct Line {
  size_t begin = 0;  // in the text
  size_t end = 0;    // without the line end
  size_t next = 0;
  LineKind kind = LineKind::kOther;
  std::string_view name;   // of a section or key
  std::string_view value;  // of a key, quotes and all
  bool blank = false;
};

// Goes through the lines of a profile's text.
class LineScanner {
 public:
  explicit LineScanner(std::string_view text, size_t begin = 0) : text_(text), next_(begin) {}

  bool Next(Line* line) {
    if (next_ >= text_.size()) return false;
    *line = {};
    line->begin = next_;
    line->end = next_;
    while (line->end < text_.size() && !IsLineEnd(text_[line->end])) ++line->end;
    line->next = std::min(line->end + 1, text_.size());
    if (text_.substr(line->end, 2) == kLineEnds) ++line->next;
    next_ = line->next;
    Parse(line);
    return true;
  }

 private:
  void Parse(Line* line) const {
    const std::string_view text = Trim(text_.substr(line->begin, line->end - line->begin));
    line->blank = text.empty();
    if (text.empty() || text.front() == ';') return;
    if (text.front() == '[') {
      const size_t bracket = text.rfind(']');
      if (bracket != std::string_view::npos) {
        line->kind = LineKind::kSection;
        line->name = Trim(text.substr(1, bracket - 1));
        return;
      }
    }
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) return;
    line->kind = LineKind::kKey;
    line->name = Trim(text.substr(0, equals));
    line->value = Trim(text.substr(equals + 1));
  }

  std::string_view text_;
  size_t next_;
};

// Where the lines after a section's header end.
struct SectionEnd {
  size_t all = 0;
  size_t content = 0;  // without the blank lines before the next section
};

std::optional<Line> FindSection(std::string_view text, std::string_view section) {
  LineScanner scanner(text);
  Line line;
  while (scanner.Next(&line)) {
    if (line.kind == LineKind::kSection && EqualWithoutCase(line.name, section)) return line;
  }
  return std::nullopt;
}

// The first of equal keys in the section whose lines begin at `body`.
std::optional<Line> FindKey(std::string_view text, size_t body, std::string_view key) {
  LineScanner scanner(text, body);
  Line line;
  while (scanner.Next(&line) && line.kind != LineKind::kSection) {
    if (line.kind == LineKind::kKey && EqualWithoutCase(line.name, key)) return line;
  }
  return std::nullopt;
}

SectionEnd EndOf(std::string_view text, const Line& header) {
  SectionEnd end = {header.next, header.next};
  LineScanner scanner(text, header.next);
  Line line;
  while (scanner.Next(&line) && line.kind != LineKind::kSection) {
    end.all = line.next;
    if (!line.blank) end.content = line.next;
  }
  return end;
}

// Fills a caller's buffer with a list of names.
class NameList {
 public:
  NameList(char* out, uint32_t size) : out_(out), size_(size) {}

  void Add(std::string_view name) {
    for (const char c : name) Put(c);
    Put('\0');
  }

  // Ends the list. One that fills the buffer counts as cut.
  uint32_t Finish() {
    if (used_ > 0) out_[used_ - 1] = '\0';
    out_[used_] = '\0';
    return size_ > 1 ? std::min(used_, size_ - 2) : 0;
  }

 private:
  // The list's own zero keeps the last place.
  void Put(char c) {
    if (used_ + 1 < size_) out_[used_++] = c;
  }

  char* out_;
  uint32_t size_;  // at least 1
  uint32_t used_ = 0;
};

uint32_t CopyValue(std::string_view value, char* out, uint32_t size) {
  const auto count = static_cast<uint32_t>(std::min<size_t>(value.size(), size - 1));
  std::copy_n(value.data(), count, out);
  out[count] = '\0';
  return count;
}

// The whole text of a profile; a missing one is empty. False when there is something at `path` that
// cannot be read: it must not be taken for empty and replaced.
bool ReadText(const std::string& path, std::string* text) {
  text->clear();
  bool absent = false;
  const std::unique_ptr<File> file = Files().Open(path, OpenMode::kRead, &absent);
  if (file == nullptr) return absent;
  uint64_t size = 0;
  if (!file->Size(&size) || size > kLargestFile) return false;
  text->resize(static_cast<size_t>(size));
  size_t read = 0;
  if (!file->ReadAt(0, text->data(), text->size(), &read)) return false;
  text->resize(read);
  return true;
}

std::string_view LineEndStyle(std::string_view text) {
  const size_t end = text.find_first_of(kLineEnds);
  if (end == std::string_view::npos || text.substr(end, 2) == kLineEnds) return kLineEnds;
  return text.substr(end, 1);
}

// Inserts a line of its own before `position`, where a line begins or the text ends.
void InsertLine(std::string* text, size_t position, const std::string& line) {
  const std::string end(LineEndStyle(*text));
  const bool cut = position > 0 && kLineEnds.find((*text)[position - 1]) == std::string_view::npos;
  text->insert(position, (cut ? end : "") + line + end);
}

void SetKey(std::string* text, const std::string& section, const std::string& key,
            const std::string& value) {
  const std::string new_line = key + "=" + value;
  const std::optional<Line> header = FindSection(*text, section);
  if (!header) {
    InsertLine(text, text->size(), "[" + section + "]");
    InsertLine(text, text->size(), new_line);
    return;
  }
  const std::optional<Line> line = FindKey(*text, header->next, key);
  if (!line) {
    InsertLine(text, EndOf(*text, *header).content, new_line);
    return;
  }
  // The key stays spelled as it stands in the file.
  const size_t start = text->find('=', line->begin) + 1;
  text->replace(start, line->end - start, value);
}

void DeleteKey(std::string* text, const std::string& section, const std::string& key) {
  const std::optional<Line> header = FindSection(*text, section);
  if (!header) return;
  const std::optional<Line> line = FindKey(*text, header->next, key);
  if (line) text->erase(line->begin, line->next - line->begin);
}

void DeleteSection(std::string* text, const std::string& section) {
  const std::optional<Line> header = FindSection(*text, section);
  if (header) text->erase(header->begin, EndOf(*text, *header).all - header->begin);
}

// A name as it would be read back.
std::string NameOf(const char* name) { return std::string(Trim(name)); }

bool OnOneLine(const char* text) {
  return text == nullptr || std::strpbrk(text, "\r\n") == nullptr;
}

uint32_t ReadFrom(std::string_view text, const char* section, const char* key,
                  std::string_view fallback, char* out, uint32_t size) {
  if (section == nullptr) {
    NameList names(out, size);
    LineScanner scanner(text);
    Line line;
    while (scanner.Next(&line)) {
      if (line.kind == LineKind::kSection) names.Add(line.name);
    }
    return names.Finish();
  }
  const std::optional<Line> header = FindSection(text, Trim(section));
  if (key != nullptr) {
    const std::optional<Line> line = header ? FindKey(text, header->next, Trim(key)) : std::nullopt;
    return CopyValue(line ? Unquote(line->value) : fallback, out, size);
  }
  if (!header) {
    const uint32_t count = CopyValue(fallback, out, size);
    if (count + 1 < size) out[count + 1] = '\0';  // for who expects a list
    return count;
  }
  NameList names(out, size);
  LineScanner scanner(text, header->next);
  Line line;
  while (scanner.Next(&line) && line.kind != LineKind::kSection) {
    if (line.kind == LineKind::kKey) names.Add(line.name);
  }
  return names.Finish();
}

std::string_view WithoutTrailingBlanks(const char* text) {
  std::string_view view = text != nullptr ? text : "";
  while (!view.empty() && IsBlank(view.back())) view.remove_suffix(1);
  return view;
}

void Apply(const ProfileEdit& edit, std::string* text) {
  const std::string section = NameOf(edit.section);
  if (edit.key == nullptr) {
    DeleteSection(text, section);
  } else if (edit.value == nullptr) {
    DeleteKey(text, section, NameOf(edit.key));
  } else {
    SetKey(text, section, NameOf(edit.key), edit.value);
  }
}

enum class Edited { kFailed, kUnchanged, kChanged };

Edited ReadAndEdit(const std::string& path, std::span<const ProfileEdit> edits, std::string* text) {
  std::string old_text;
  if (!ReadText(path, &old_text)) return Edited::kFailed;
  *text = old_text;
  for (const ProfileEdit& edit : edits) Apply(edit, text);
  return *text == old_text ? Edited::kUnchanged : Edited::kChanged;
}

class FileProfile : public Profile {
 public:
  bool Load(const char* path, ProfileText* text) override {
    try {
      std::string content;
      if (path == nullptr || !ReadText(path, &content)) return false;
      *text = ProfileText(std::move(content));
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  bool Change(const char* path, std::span<const ProfileEdit> edits) override {
    // A line break would end the line early and turn the rest into lines of its own.
    const auto plain = [](const ProfileEdit& edit) {
      return edit.section != nullptr && OnOneLine(edit.section) && OnOneLine(edit.key) &&
             OnOneLine(edit.value);
    };
    if (path == nullptr || !std::all_of(edits.begin(), edits.end(), plain)) return false;
    try {
      // What changes nothing needs no right to change anything.
      std::string text;
      const Edited edited = ReadAndEdit(path, edits, &text);
      if (edited != Edited::kChanged) return edited == Edited::kUnchanged;
      const std::unique_ptr<ChangeLock> lock = ChangeLock::Take(path);
      return lock != nullptr && ChangeUnder(lock.get(), edits);
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

 private:
  static bool ChangeUnder(ChangeLock* lock, std::span<const ProfileEdit> edits) {
    std::string text;
    const Edited edited = ReadAndEdit(lock->target(), edits, &text);
    if (edited != Edited::kChanged) return edited == Edited::kUnchanged;
    Replacement replacement(lock);
    replacement.Write(0, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    return replacement.Commit(Force::kToDisk) == ReplaceResult::kDone;
  }
};

}  // namespace

uint32_t ProfileText::Read(const char* section, const char* key, const char* fallback, char* out,
                           uint32_t size) const {
  if (out == nullptr || size == 0) return 0;
  return ReadFrom(text_, section, key, WithoutTrailingBlanks(fallback), out, size);
}

uint32_t Profile::Read(const char* section, const char* key, const char* fallback, char* out,
                       uint32_t size, const char* path) {
  ProfileText text;
  if (!Load(path, &text)) text = {};
  return text.Read(section, key, fallback, out, size);
}

TERVALON_DEFINE_SERVICE(Profile, FileProfile)

}  // namespace tervalon::platform
