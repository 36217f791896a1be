#include "settings/placement_text.h"

#include <algorithm>
#include <array>

#include "appsvc/text_number.h"

namespace tervalon::settings {
namespace {

static_assert(sizeof(IniWindPos) == 24);

struct StateWord {
  int32_t state;
  const char* word;
};
// The first is the one for every other state and word.
constexpr std::array<StateWord, 3> kStateWords = {{
    {TV_PLACEMENT_NORMAL, "SW_SHOWNORMAL"},
    {TV_PLACEMENT_MINIMIZED, "SW_SHOWMINIMIZED"},
    {TV_PLACEMENT_MAXIMIZED, "SW_SHOWMAXIMIZED"},
}};

template <typename Match>
const StateWord& FindState(const Match& match) {
  const auto* found = std::find_if(kStateWords.begin(), kStateWords.end(), match);
  return found != kStateWords.end() ? *found : kStateWords.front();
}

// Takes the parts of a text off its front one by one.
class Parts {
 public:
  explicit Parts(std::string_view text) : rest_(text) {}

  // False when there is no further part. A part may be empty.
  bool Take(std::string_view* part) {
    if (ended_) return false;
    const size_t comma = rest_.find(',');
    *part = rest_.substr(0, comma);
    ended_ = comma == std::string_view::npos;
    if (!ended_) rest_.remove_prefix(comma + 1);
    return true;
  }
  int32_t TakeNumber() {
    std::string_view part;
    return Take(&part) ? appsvc::ParseInt(std::string(part).c_str()) : 0;
  }

 private:
  std::string_view rest_;
  bool ended_ = false;
};

}  // namespace

std::string Placement::EncodeTo() const {
  std::string text = position.visible != 0 ? "TRUE" : "FALSE";
  text += ',';
  text += FindState([&](const StateWord& s) { return s.state == position.show_state; }).word;
  for (const int32_t edge : {position.left, position.top, position.right, position.bottom}) {
    text.append(",").append(std::to_string(edge));
  }
  return text;
}

bool Placement::DecodeFrom(std::string_view text) {
  position = {};
  if (text.empty()) return false;
  Parts parts(text);
  std::string_view part;
  parts.Take(&part);
  position.visible = part == "TRUE";
  if (!parts.Take(&part)) {
    position.show_state = TV_PLACEMENT_MINIMIZED;
    position.right = position.bottom = 100;
    return true;
  }
  position.show_state = FindState([&](const StateWord& s) { return part == s.word; }).state;
  for (int32_t* edge : {&position.left, &position.top, &position.right, &position.bottom}) {
    *edge = parts.TakeNumber();
  }
  return true;
}

}  // namespace tervalon::settings
