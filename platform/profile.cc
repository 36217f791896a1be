// Private profiles, read and written by hand on every platform: the desktop platform's own calls
// lose changes when several programs write.
//
// Nothing is kept between calls, because other programs change the file too. One key is looked for
// through the lines up to it; for who looks for many, sections and keys are sorted first.

#include "platform/profile.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <list>
#include <map>
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

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text.append(part);
  return text;
}

struct LessWithoutCase {
  bool operator()(std::string_view a, std::string_view b) const {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return LowerCase(x) < LowerCase(y); });
  }
};
template <typename Value>
using ByName = std::map<std::string_view, Value, LessWithoutCase>;

}  // namespace

// A text in pieces, of which sections and keys are found at once. Every edit finds what the one
// before it has left, as if it searched through the whole text.
class ProfileLines {
 public:
  explicit ProfileLines(std::string text) { Split(std::move(text)); }
  ProfileLines(const ProfileLines&) = delete;
  ProfileLines& operator=(const ProfileLines&) = delete;

  // Afterwards Value allocates nothing.
  void SearchAll() {
    for (auto& [name, section] : sections_) Find(&section, {});
  }

  std::optional<std::string_view> Value(std::string_view section, std::string_view key) {
    const auto found = sections_.find(section);
    if (found == sections_.end()) return std::nullopt;
    const Position* const piece = Find(&found->second, key);
    return piece != nullptr ? std::optional((*piece)->line.value) : std::nullopt;
  }

  void Apply(const ProfileEdit& edit) { SetKey(Trim(edit.section), Trim(edit.key), edit.value); }

  std::string Text() const {
    std::string text;
    for (const Piece& piece : pieces_) text += piece.text;
    return text;
  }

 private:
  // A section's header, a key's line, or successive lines of neither kind, all of them blank or
  // none.
  struct Piece {
    std::string_view text;
    Line line;  // the first
  };
  using Position = std::list<Piece>::iterator;
  struct Section {
    Position header;
    bool searched = false;  // for what follows
    Position last = {};     // the last piece that is not blank
    ByName<Position> keys = {};
  };

  void Split(std::string text) {
    pieces_.clear();
    sections_.clear();
    new_texts_.clear();
    text_ = std::move(text);
    LineScanner scanner(text_);
    Line line;
    while (scanner.Next(&line)) {
      const size_t size = line.next - line.begin;
      if (line.kind == LineKind::kOther && !pieces_.empty() &&
          pieces_.back().line.kind == LineKind::kOther && pieces_.back().line.blank == line.blank) {
        std::string_view& before = pieces_.back().text;
        before = {before.data(), before.size() + size};
        continue;
      }
      pieces_.push_back({std::string_view(text_).substr(line.begin, size), line});
      if (line.kind == LineKind::kSection) {
        sections_.try_emplace(line.name, Section{std::prev(pieces_.end())});
      }
    }
  }

  // For an edit after which other lines than its own may be the ones to be found.
  void SplitAgain() { Split(Text()); }

  const Position* Find(Section* section, std::string_view key) {
    if (!section->searched) {
      section->last = section->header;
      for (Position piece = std::next(section->header);
           piece != pieces_.end() && piece->line.kind != LineKind::kSection; ++piece) {
        if (!piece->line.blank) section->last = piece;
        if (piece->line.kind == LineKind::kKey) section->keys.try_emplace(piece->line.name, piece);
      }
      section->searched = true;
    }
    const auto found = section->keys.find(key);
    return found != section->keys.end() ? &found->second : nullptr;
  }

  void SetKey(std::string_view section, std::string_view key, std::string_view value) {
    auto found = sections_.find(section);
    if (found == sections_.end()) {
      const Position header = Insert(pieces_.end(), {"[", section, "]"});
      found = sections_.try_emplace(header->line.name, Section{header}).first;
    }
    const Position* const there = Find(&found->second, key);
    Position set;
    if (there != nullptr) {
      // The key stays spelled as it stands in the file.
      set = *there;
      const std::string_view old = set->text;
      const size_t start = old.find('=') + 1;
      const size_t end = std::min(old.find_first_of(kLineEnds), old.size());
      if (old.substr(start, end - start) == value) return;
      SetText(set, Joined({old.substr(0, start), value, old.substr(end)}));
    } else {
      set = Insert(std::next(found->second.last), {key, "=", value});
    }
    const Position next = std::next(set);
    const bool joined =
        next != pieces_.end() && set->text.back() == '\r' && next->text.front() == '\n';
    if (joined || set->line.kind != LineKind::kKey || !EqualWithoutCase(set->line.name, key)) {
      SplitAgain();
    } else if (there == nullptr) {
      found->second.keys.try_emplace(set->line.name, set);
      found->second.last = set;
    }
  }

  void SetText(Position piece, std::string text) {
    new_texts_.push_back(std::move(text));
    piece->text = new_texts_.back();
    LineScanner(piece->text).Next(&piece->line);
  }

  // Inserts a line of its own before `next`.
  Position Insert(Position next, std::initializer_list<std::string_view> line) {
    std::string_view end = kLineEnds;  // as the profile's first line ends
    if (!pieces_.empty()) {
      const std::string_view first = pieces_.front().text;
      const size_t at = std::min(first.find_first_of(kLineEnds), first.size());
      if (at < first.size() && first.substr(at, 2) != kLineEnds) end = first.substr(at, 1);
    }
    if (next != pieces_.begin()) {
      const Position before = std::prev(next);
      if (!IsLineEnd(before->text.back())) SetText(before, Joined({before->text, end}));
    }
    const Position piece = pieces_.insert(next, Piece());
    SetText(piece, Joined(line).append(end));
    return piece;
  }

  std::string text_;
  std::list<std::string> new_texts_;  // names stay views of what they were in before
  std::list<Piece> pieces_;
  ByName<Section> sections_;  // the first of each name
};

namespace {

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

bool OnOneLine(const char* text) {
  return text != nullptr && std::strpbrk(text, "\r\n") == nullptr;
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

std::string Edited(const std::string& text, std::span<const ProfileEdit> edits) {
  ProfileLines lines(text);
  for (const ProfileEdit& edit : edits) lines.Apply(edit);
  return lines.Text();
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
      return OnOneLine(edit.section) && OnOneLine(edit.key) && OnOneLine(edit.value);
    };
    if (path == nullptr || !std::all_of(edits.begin(), edits.end(), plain)) return false;
    try {
      // What changes nothing needs no right to change anything.
      std::string text;
      if (!ReadText(path, &text)) return false;
      std::string edited = Edited(text, edits);
      if (edited == text) return true;
      const std::unique_ptr<ChangeLock> lock = ChangeLock::Take(path);
      if (lock == nullptr) return false;
      std::string now;
      if (!ReadText(lock->target(), &now)) return false;
      if (now != text) edited = Edited(now, edits);
      if (edited == now) return true;
      Replacement replacement(lock.get());
      replacement.Write(0, {reinterpret_cast<const uint8_t*>(edited.data()), edited.size()});
      return replacement.Commit(Force::kToDisk) == ReplaceResult::kDone;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
};

}  // namespace

void ProfileText::Prepare() {
  lines_ = std::make_shared<ProfileLines>(text_);
  lines_->SearchAll();
}

uint32_t ProfileText::Read(const char* section, const char* key, const char* fallback, char* out,
                           uint32_t size) const {
  if (out == nullptr || size == 0) return 0;
  const std::string_view otherwise = WithoutTrailingBlanks(fallback);
  if (lines_ == nullptr || section == nullptr || key == nullptr) {
    return ReadFrom(text_, section, key, otherwise, out, size);
  }
  const std::optional<std::string_view> value = lines_->Value(Trim(section), Trim(key));
  return CopyValue(value ? Unquote(*value) : otherwise, out, size);
}

uint32_t Profile::Read(const char* section, const char* key, const char* fallback, char* out,
                       uint32_t size, const char* path) {
  ProfileText text;
  if (!Load(path, &text)) text = {};
  return text.Read(section, key, fallback, out, size);
}

TERVALON_DEFINE_SERVICE(Profile, FileProfile)

}  // namespace tervalon::platform
