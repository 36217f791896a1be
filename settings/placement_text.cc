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

// Takes the next part off a text's front. An empty one counts as missing.
std::string_view TakePart(std::string_view* text) {
  const std::string_view part = text->substr(0, text->find(','));
  text->remove_prefix(std::min(part.size() + 1, text->size()));
  return part;
}

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
  const std::string_view visible = TakePart(&text);
  if (visible.empty()) return false;
  position.visible = visible == "TRUE";
  const std::string_view state = TakePart(&text);
  if (state.empty()) {
    position.show_state = TV_PLACEMENT_MINIMIZED;
    position.right = position.bottom = 100;
    return true;
  }
  position.show_state = FindState([&](const StateWord& s) { return state == s.word; }).state;
  for (int32_t* edge : {&position.left, &position.top, &position.right, &position.bottom}) {
    *edge = appsvc::ParseInt(std::string(TakePart(&text)).c_str());
  }
  return true;
}

}  // namespace tervalon::settings
