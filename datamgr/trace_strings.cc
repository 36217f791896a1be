// Mass lists from text and back.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "datamgr/mass_list.h"
#include "platform/text.h"
#include "tervalon/number_format.h"

namespace tervalon::datamgr {
namespace {

using platform::IsBlank;
using platform::IsDigit;

float ToFloat(double value) {
  constexpr double kLimit = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kLimit, kLimit));
}

// Parses one trace into a list of max_count + 1 floats.
class TraceParser {
 public:
  TraceParser(const char* text, float* list, int32_t max_count, bool daughters)
      : at_(text), list_(list), max_count_(max_count), daughters_(daughters) {}

  bool Parse() {
    while (*at_ != '\0' && *at_ != ',') {
      if (!ParseStep()) return false;
    }
    if (combined_) list_[count_++] = DM_COMBINATION_MARKER;
    list_[count_] = 0.0f;
    return true;
  }

  int32_t count() const { return count_; }
  const char* at() const { return at_; }

 private:
  // A number or an operator, with what may stand in front of it.
  bool ParseStep() {
    SkipBlanks();
    if (platform::LowerCase(at_[0]) == 'c' && platform::LowerCase(at_[1]) == 'h') {
      if (count_ >= 1 && !operator_pending_) return false;
      at_ += 2;
    }
    SkipBlanks();
    if (IsDigit(*at_)) return ParseNumber();
    if (operator_pending_) return false;
    switch (*at_++) {
      case '_':
        return StartRange();
      case '-':
        sign_ = -sign_;
        return AddMember();
      case '+':
        return AddMember();
      default:
        return false;
    }
  }

  bool ParseNumber() {
    list_[count_] = ToFloat(appsvc::ParseDouble(at_) * sign_);
    SkipNumber();
    if (*at_ == '>') {
      ++at_;
      SkipBlanks();
      if (daughters_) list_[count_] = ToFloat(appsvc::ParseDouble(at_) * sign_);
      SkipNumber();
    }
    ++count_;
    operator_pending_ = false;
    sign_ = 1;
    return HasRoom();
  }

  bool StartRange() {
    if (count_ == 0 || last_was_range_) return false;
    float& low = list_[count_ - 1];
    low += low < 0 ? -DM_RANGE_OFFSET : DM_RANGE_OFFSET;
    last_was_range_ = true;
    operator_pending_ = true;
    return true;
  }

  bool AddMember() {
    if (count_ == 0) return false;
    last_was_range_ = false;
    operator_pending_ = true;
    if (combined_) return true;
    std::copy_backward(list_, list_ + count_, list_ + count_ + 1);
    list_[0] = DM_COMBINATION_MARKER;
    ++count_;
    combined_ = true;
    return HasRoom();
  }

  // For the closing marker and the terminator.
  bool HasRoom() const { return count_ <= max_count_ - 1; }

  void SkipBlanks() {
    while (IsBlank(*at_)) ++at_;
  }
  // All that may belong to numbers, so that "100 200" is 100.
  void SkipNumber() {
    while (IsDigit(*at_) || *at_ == '.' || IsBlank(*at_)) ++at_;
  }

  const char* at_;
  float* const list_;
  const int32_t max_count_;
  const bool daughters_;
  int32_t count_ = 0;
  int32_t sign_ = 1;
  bool combined_ = false;
  bool operator_pending_ = false;
  bool last_was_range_ = false;
};

// Returns the text's length; `text` has room for what ftoa writes.
int32_t FormatMass(float mass, char* text) {
  const double whole = std::floor(mass + 0.5);
  ftoa(std::fabs(mass - whole), text, 4);
  if (appsvc::ParseDouble(text) < 0.0001) {
    ftoa(whole, text, 0);
    return static_cast<int32_t>(std::strlen(text));
  }
  ftoa(std::floor(mass * 10000.0 + 0.5) / 10000.0, text, 3);
  const size_t length = std::string_view(text).find_last_not_of('0') + 1;
  text[length] = '\0';
  return static_cast<int32_t>(length);
}

}  // namespace

std::string MassListText(const float* list) {
  std::string text;
  bool first = true;
  bool range_end = false;
  for (; *list != 0 && !std::isnan(*list); ++list) {
    const float value = *list;
    if (IsMarker(value)) continue;
    if (!range_end && value < 0) {
      text += '-';
    } else if (!range_end && !first) {
      text += '+';
    }
    first = false;
    range_end = IsRangeStart(value);
    char mass[32];
    FormatMass(range_end ? RangeLow(value) : std::fabs(value), mass);
    text += mass;
    if (range_end) text += '_';
  }
  return text;
}

}  // namespace tervalon::datamgr

using tervalon::Guarded;
namespace datamgr = tervalon::datamgr;

extern "C" int32_t TERVALON_CALL DmRawStrToMassMRM(const char* text, float* list, int32_t max_count,
                                                   const char** next, int32_t daughters) {
  if (text == nullptr || list == nullptr || max_count < 0) return -1;
  datamgr::TraceParser parser(text, list, max_count, daughters != 0);
  if (!parser.Parse()) return -1;
  if (next != nullptr) *next = *parser.at() == ',' ? parser.at() + 1 : nullptr;
  return parser.count();
}

extern "C" int32_t TERVALON_CALL DmRawStrToMass(const char* text, float* list, int32_t max_count,
                                                const char** next) {
  return DmRawStrToMassMRM(text, list, max_count, next, 0);
}

extern "C" int32_t TERVALON_CALL DmRawFormatMass(float mass, char* text) {
  return text != nullptr ? datamgr::FormatMass(mass, text) : 0;
}

extern "C" int32_t TERVALON_CALL DmRawMassToStr(const float* list, char* text) {
  if (list == nullptr || text == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string masses = datamgr::MassListText(list);
    text[masses.copy(text, masses.size())] = '\0';
    return masses.size();
  });
}

extern "C" int32_t TERVALON_CALL DmRawValidateMassStr(const char* text, const char** error_at) {
  if (text == nullptr) return -1;
  int32_t traces = 0;
  for (const char* trace = text; trace != nullptr;) {
    float list[DM_TRACE_LIST_SIZE];
    const char* next = nullptr;
    const int32_t count = DmRawStrToMass(trace, list, DM_MAX_TRACE_MASSES, &next);
    if (count < 0) {
      if (error_at != nullptr) *error_at = trace;
      return -1;
    }
    if (count > 0) ++traces;
    trace = next;
  }
  return traces;
}
