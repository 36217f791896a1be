#include "settings/ini_text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/memory.h"

namespace tervalon::settings {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeaderStart = "\r\n[";
constexpr auto kNone = std::string_view::npos;

// What the block grows by beyond the need, so that a run of small edits seldom reallocates.
constexpr size_t kSlack = 100;

// No list of names could hold a longer one.
constexpr size_t kMaxSectionName = INT16_MAX;

int32_t BlockSize(const IniStore& store) { return store.text != nullptr ? store.block_size : 0; }

int32_t FreeBytes(const IniStore& store) {
  return std::clamp(store.free_bytes, 0, BlockSize(store));
}

int32_t UsedLength(const IniStore& store) { return BlockSize(store) - FreeBytes(store); }

// The used text; empty while the block is not locked.
std::string_view UsedText(const IniStore& store) {
  if (store.text == nullptr) return {};
  return {store.text, static_cast<size_t>(UsedLength(store))};
}

// The current section's body as far as it lies in the used text.
int32_t BodyStart(const IniStore& store) {
  return std::clamp(store.section_start, 0, UsedLength(store));
}

int32_t BodyLength(const IniStore& store) {
  return std::clamp(store.section_length, 0, UsedLength(store) - BodyStart(store));
}

std::string_view Body(const IniStore& store) {
  if (store.text == nullptr) return {};
  return {store.text + BodyStart(store), static_cast<size_t>(BodyLength(store))};
}

bool IsSectionName(std::string_view name) {
  return name.size() <= kMaxSectionName && name.find_first_of("]\r\n") == kNone;
}

bool IsKey(std::string_view key) {
  return key.size() < kMaxLine && key.find_first_of("=\r\n") == kNone && !key.starts_with('[');
}

void ForgetSection(IniStore* store) {
  store->section_start = 0;
  store->section_length = 0;
  store->section_name[0] = '\0';
}

void MakeCurrent(IniStore* store, std::string_view section, size_t start, size_t length) {
  store->section_start = static_cast<int32_t>(start);
  store->section_length = static_cast<int32_t>(length);
  // A name cut to the field would stand for every section that begins with it.
  const size_t kept = section.size() < sizeof(store->section_name) ? section.size() : 0;
  section.copy(store->section_name, kept);
  store->section_name[kept] = '\0';
}

// Grows the block, which is locked before and after and may move, by `need` bytes and some slack.
// On failure the text is gone, and with it the block: every later lock fails.
bool Grow(IniStore* store, int32_t need) {
  platform::MovableMemory& memory = platform::Memory();
  const int32_t used = UsedLength(*store);
  const size_t size = static_cast<size_t>(BlockSize(*store)) + static_cast<size_t>(need) + kSlack;
  if (store->text == nullptr || size > INT32_MAX) return false;

  const TvMemory old_block = store->block;
  memory.Unlock(old_block);
  store->text = nullptr;
  store->block = memory.Reallocate(old_block, size);
  if (store->block == nullptr) {
    memory.Free(old_block);
    store->free_bytes = 0;
    ForgetSection(store);
    return false;
  }
  const size_t grown = std::min<size_t>(memory.Size(store->block), INT32_MAX);
  store->free_bytes = static_cast<int32_t>(grown) - used;
  return LockText(store);
}

bool GrowOrNote(IniStore* store, int32_t need, const char* operation) {
  if (Grow(store, need)) return true;
  store->short_of_memory = operation;
  return false;
}

// The offset behind the "[" of the first header at or behind the CR LF at `from`.
size_t NextHeader(std::string_view text, size_t from) {
  const size_t at = text.find(kHeaderStart, from);
  return at == kNone ? kNone : at + kHeaderStart.size();
}

// The length of the line that starts `rest`: up to and with its CR LF, or up to a NUL.
size_t LineLength(std::string_view rest) {
  rest = rest.substr(0, rest.find('\0'));
  const size_t end = rest.find(kLineEnd);
  return end == kNone ? rest.size() : end + kLineEnd.size();
}

// What the end of a section body lacks before another line can stand there.
std::string_view MissingLineEnd(std::string_view body) {
  if (body.ends_with(kLineEnd)) return "";
  return body.ends_with('\r') ? "\n" : kLineEnd;
}

// Adds the line "key=" at the end of the current section.
char* AddLine(IniStore* store, std::string_view key, int16_t* line_length) {
  const std::string_view line_end = MissingLineEnd(Body(*store));
  const int32_t body_length = BodyLength(*store);
  const int32_t end = BodyStart(*store) + body_length;
  const int32_t tail = UsedLength(*store) - end;
  const size_t length = key.size() + 1 + kLineEnd.size();
  const auto need = static_cast<int32_t>(line_end.size() + length);
  if (need >= FreeBytes(*store) && !GrowOrNote(store, need, "FindLine")) return nullptr;

  char* at = store->text + end;
  ShiftText(at, tail, need);
  char* const line = at + line_end.copy(at, line_end.size());
  at = line + key.copy(line, key.size());
  *at++ = '=';
  kLineEnd.copy(at, kLineEnd.size());
  store->free_bytes = FreeBytes(*store) - need;
  store->section_length = body_length + need;
  *line_length = static_cast<int16_t>(length);
  return line;
}

bool SelectSection(IniStore* store, const char* section, int32_t create) {
  if (*section != '\0' && std::strcmp(store->section_name, section) == 0) return true;
  return FindSection(store, section, create) != 0;
}

// Collects the names of a list in a buffer that may be too small for them.
class NameList {
 public:
  NameList(char* out, int16_t size) : out_(out), size_(size) { *out_ = '\0'; }

  bool Full() const { return position_ >= size_ - 2; }
  void Add(std::string_view name) {
    const auto count = std::min(name.size(), static_cast<size_t>(size_ - position_ - 1));
    name.copy(out_ + position_, count);
    out_[position_ + static_cast<int32_t>(count)] = '\0';
    position_ += static_cast<int32_t>(count) + 1;
  }
  int16_t position() const { return static_cast<int16_t>(position_); }

 private:
  char* out_;
  int32_t size_;
  int32_t position_ = 0;
};

}  // namespace

bool LockText(IniStore* store) {
  platform::MovableMemory& memory = platform::Memory();
  store->text = store->block != nullptr ? static_cast<char*>(memory.Lock(store->block)) : nullptr;
  if (store->text == nullptr) return false;
  store->block_size = static_cast<int32_t>(std::min<size_t>(memory.Size(store->block), INT32_MAX));
  return true;
}

void UnlockText(IniStore* store) {
  if (store->text != nullptr) platform::Memory().Unlock(store->block);
  store->text = nullptr;
}

int32_t FindSection(IniStore* store, const char* section, int32_t create) {
  ForgetSection(store);
  const std::string_view name = section;
  if (!IsSectionName(name)) return 0;
  const std::string_view text = UsedText(*store);
  for (size_t at = text.starts_with('[') ? 1 : NextHeader(text, 0); at != kNone;
       at = NextHeader(text, at)) {
    const size_t start = at + name.size() + 1;
    if (start > text.size() || !text.substr(at).starts_with(name) || text[start - 1] != ']')
      continue;
    const std::string_view rest = text.substr(start);
    MakeCurrent(store, name, start,
                std::min({rest.size(), rest.find(kHeaderStart), rest.find('\0')}));
    return 1;
  }
  return create != 0 ? AddSection(store, section) : 0;
}

int32_t AddSection(IniStore* store, const char* section) {
  const std::string_view name = section;
  if (store->text == nullptr || !IsSectionName(name)) return 0;
  const auto length = static_cast<int32_t>(kHeaderStart.size() + name.size() + 1 + kLineEnd.size());
  const auto used = static_cast<size_t>(UsedLength(*store));
  if (length >= FreeBytes(*store) && !Grow(store, length)) return 0;

  const size_t start = used == 0 ? 0 : used - 1;
  char* at = store->text + start;
  at += kHeaderStart.copy(at, kHeaderStart.size());
  at += name.copy(at, name.size());
  *at++ = ']';
  at += kLineEnd.copy(at, kLineEnd.size());
  *at = '\0';
  MakeCurrent(store, name, start + static_cast<size_t>(length) - kLineEnd.size(), kLineEnd.size());
  store->free_bytes = FreeBytes(*store) - length;
  return 1;
}

char* FindLine(IniStore* store, const char* key, int16_t* line_length, int32_t create) {
  const std::string_view name = key;
  if (store->text == nullptr || !IsKey(name)) return nullptr;
  char pattern[kLineEnd.size() + kMaxLine + 1];
  char* at = pattern + kLineEnd.copy(pattern, kLineEnd.size());
  at += name.copy(at, name.size());
  *at++ = '=';
  *at = '\0';

  const std::string_view body = Body(*store);
  const char* hit = FindBounded(body.data(), pattern, static_cast<int32_t>(body.size()));
  if (hit == nullptr) return create != 0 ? AddLine(store, name, line_length) : nullptr;

  const auto offset = static_cast<size_t>(hit - store->text) + kLineEnd.size();
  // The CR LF before the next header may be the line's own: hence not only up to the body's end.
  const size_t length = LineLength(UsedText(*store).substr(offset, body.size()));
  if (length > INT16_MAX) return nullptr;
  *line_length = static_cast<int16_t>(length);
  return store->text + offset;
}

int32_t SetString(IniStore* store, const char* section, const char* key, const char* value,
                  int32_t create) {
  const size_t prefix = std::strlen(key) + 1;
  if (prefix > kMaxLine) return 0;
  const size_t room = kMaxLine - prefix;
  if (std::strlen(value) > room) const_cast<char*>(value)[room] = '\0';
  const std::string_view kept = FirstLine(value);

  if (!SelectSection(store, section, create)) return 0;
  const size_t length = prefix + kept.size() + kLineEnd.size();
  char* line = nullptr;
  int16_t old_length = 0;
  int32_t delta = 0;
  for (bool grown = false;; grown = true) {
    // A line that was added is found again, but for a damaged text.
    line = FindLine(store, key, &old_length, grown ? 0 : create);
    if (line == nullptr) return 0;
    delta = static_cast<int32_t>(length) - old_length;
    if (delta < FreeBytes(*store)) break;
    if (grown || !GrowOrNote(store, delta, "SetString")) return 0;
  }
  if (delta != 0) {
    char* const old_end = line + old_length;
    ShiftText(old_end, static_cast<int32_t>(store->text + UsedLength(*store) - old_end), delta);
    store->section_length = BodyLength(*store) + delta;
    store->free_bytes = FreeBytes(*store) - delta;
  }
  char* at = line + prefix;
  at += kept.copy(at, kept.size());
  kLineEnd.copy(at, kLineEnd.size());
  return 1;
}

int16_t GetString(IniStore* store, const char* section, const char* key, const char* fallback,
                  char* out, int16_t size) {
  if (out == nullptr || size <= 0) return -1;
  if (section == nullptr) return ListSections(store, out, size);
  int16_t length = 0;
  const bool found = SelectSection(store, section, 0);
  if (found && key == nullptr) return ListKeys(store, out, size);
  const char* line = found ? FindLine(store, key, &length, 0) : nullptr;
  if (line == nullptr) {
    CopyBounded(out, fallback != nullptr ? fallback : "", size - 1);
    return -1;
  }
  std::string_view value(line, static_cast<size_t>(length));
  value.remove_prefix(std::strlen(key) + 1);
  value = value.substr(0, value.find('\r'));
  value = value.substr(0, static_cast<size_t>(size - 1));
  out[value.copy(out, value.size())] = '\0';
  return static_cast<int16_t>(value.size());
}

int16_t ListSections(const IniStore* store, char* out, int16_t size) {
  if (out == nullptr || size <= 0) return -1;
  NameList list(out, size);
  const std::string_view text = UsedText(*store);
  for (size_t at = text.find('['); at != kNone && !list.Full(); at = text.find('[', at)) {
    const bool header = at == 0 || text[at - 1] == '\n';
    ++at;
    if (!header) continue;
    const size_t end = text.find(']', at);
    if (end == kNone) return -1;
    list.Add(text.substr(at, end - at));
    at = end;
  }
  return list.position();
}

int16_t ListKeys(const IniStore* store, char* out, int16_t size) {
  if (out == nullptr || size <= 0) return -1;
  NameList list(out, size);
  const std::string_view text = UsedText(*store);
  const auto start = static_cast<size_t>(BodyStart(*store));
  const std::string_view body = text.substr(0, start + Body(*store).size());
  size_t at = body.find('\n', start);
  while (at != kNone && !list.Full()) {
    at = body.find_first_not_of(kLineEnd, at);
    if (at == kNone) break;
    // The last two bytes are the line end, unless a following header took it from a short line.
    if (body.size() - at <= 2 && body.find('=', at) == kNone) break;
    const size_t end = text.find('=', at);
    if (end == kNone || text.substr(at, end - at).find('\0') != kNone) return -1;
    list.Add(text.substr(at, end - at));
    at = body.find('\n', end);
  }
  return list.position();
}

int32_t ShiftText(char* start, int32_t count, int32_t distance) {
  if (count < 0) return 1;
  std::memmove(start + distance, start, static_cast<size_t>(count));
  if (distance < 0) std::memset(start + count + distance, 0, static_cast<size_t>(-distance));
  return 1;
}

std::string_view FirstLine(std::string_view text) {
  return text.substr(0, text.find_first_of(kLineEnd));
}

char* CopyBounded(char* out, const char* text, int32_t count) {
  for (; count > 0 && *text != '\0'; --count) *out++ = *text++;
  *out = '\0';
  return out;
}

const char* FindBounded(const char* text, const char* pattern, int32_t length) {
  if (text == nullptr) return nullptr;
  if (pattern == nullptr || *pattern == '\0') return text;
  std::string_view searched(text, static_cast<size_t>(std::max(length, 0)));
  searched = searched.substr(0, searched.find('\0'));
  const size_t at = searched.find(pattern);
  return at == kNone ? nullptr : text + at;
}

const char* FindCharacter(const char* text, char character) {
  if (text == nullptr || character == '\0') return nullptr;
  return std::strchr(text, character);
}

int32_t CompareBounded(const char* left, const char* right, int32_t count) {
  if (left == nullptr || right == nullptr || *left == '\0' || *right == '\0') return -1;
  for (; count > 0; --count, ++left, ++right) {
    const int32_t difference = static_cast<signed char>(*left) - static_cast<signed char>(*right);
    if (difference != 0 || *left == '\0') return difference;
  }
  return 0;
}

}  // namespace tervalon::settings
