#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>

#include "appsvc/messages.h"
#include "platform/text.h"

namespace tervalon::appsvc {
namespace {

// Widths and precisions beyond this differ only behind the cut of every message.
constexpr int32_t kLargestField = 400;

enum class Length { kNone, kChar, kShort, kLong, kLongLong, kSize, kDifference, kLongDouble };

struct Conversion {
  bool left = false;
  bool plus = false;
  bool blank = false;
  bool alternative = false;
  bool zeros = false;
  int32_t width = 0;
  int32_t precision = -1;  // none
  Length length = Length::kNone;
  char type = '\0';
};

struct LengthPrefix {
  std::string_view text;
  Length length;
};
// Longer ones before their beginnings.
constexpr LengthPrefix kLengthPrefixes[] = {
    {"hh", Length::kChar},    {"h", Length::kShort},      {"ll", Length::kLongLong},
    {"l", Length::kLong},     {"L", Length::kLongDouble}, {"I64", Length::kLongLong},
    {"j", Length::kLongLong}, {"z", Length::kSize},       {"t", Length::kDifference},
};

class Expander {
 public:
  Expander(va_list arguments, size_t longest) : longest_(longest) { va_copy(list_, arguments); }
  ~Expander() { va_end(list_); }
  Expander(const Expander&) = delete;
  Expander& operator=(const Expander&) = delete;

  std::string Expand(const char* format) {
    while (*format != '\0' && out_.size() < longest_) {
      if (*format != '%') {
        out_ += *format++;
        continue;
      }
      Conversion conversion;
      const char* end = ReadConversion(format + 1, &conversion);
      if (!Convert(conversion)) {
        out_ += format;
        break;
      }
      format = end;
    }
    if (out_.size() > longest_) out_.resize(longest_);
    return std::move(out_);
  }

 private:
  const char* ReadConversion(const char* at, Conversion* conversion) {
    at = ReadFlags(at, conversion);
    at = ReadNumber(at, &conversion->width);
    if (conversion->width < 0) {
      conversion->left = true;
      conversion->width = -conversion->width;
    }
    if (*at == '.') {
      conversion->precision = 0;
      at = ReadNumber(at + 1, &conversion->precision);
    }
    for (const LengthPrefix& prefix : kLengthPrefixes) {
      if (std::strncmp(at, prefix.text.data(), prefix.text.size()) != 0) continue;
      conversion->length = prefix.length;
      at += prefix.text.size();
      break;
    }
    conversion->type = *at;
    return *at != '\0' ? at + 1 : at;
  }

  static const char* ReadFlags(const char* at, Conversion* conversion) {
    for (;; ++at) {
      switch (*at) {
        case '-':
          conversion->left = true;
          break;
        case '+':
          conversion->plus = true;
          break;
        case ' ':
          conversion->blank = true;
          break;
        case '#':
          conversion->alternative = true;
          break;
        case '0':
          conversion->zeros = true;
          break;
        default:
          return at;
      }
    }
  }

  // Digits, or "*" for an argument.
  const char* ReadNumber(const char* at, int32_t* value) {
    if (*at == '*') {
      *value = std::clamp<int32_t>(va_arg(list_, int), -kLargestField, kLargestField);
      return at + 1;
    }
    for (; platform::IsDigit(*at); ++at) {
      *value = std::min(*value * 10 + (*at - '0'), kLargestField);
    }
    return at;
  }

  bool Convert(const Conversion& conversion) {
    switch (conversion.type) {
      case '%':
        out_ += '%';
        return true;
      case 'd':
      case 'i':
        ConvertSigned(conversion);
        return true;
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        ConvertUnsigned(conversion);
        return true;
      case 'p':
        ConvertPointer(conversion);
        return true;
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
        ConvertDouble(conversion);
        return true;
      case 'c':
        if (conversion.length == Length::kLong) return false;  // a wide character
        Put(conversion, "", std::string(1, static_cast<char>(va_arg(list_, int))), false);
        return true;
      case 's':
        return ConvertText(conversion);
      case 'n':
        va_arg(list_, void*);
        return true;
      default:
        return false;
    }
  }

  int64_t Signed(Length length) {
    switch (length) {
      case Length::kChar:
        return static_cast<signed char>(va_arg(list_, int));
      case Length::kShort:
        return static_cast<int16_t>(va_arg(list_, int));
      case Length::kLong:
        return va_arg(list_, long);
      case Length::kLongLong:
        return va_arg(list_, long long);
      case Length::kSize:
      case Length::kDifference:
        return va_arg(list_, ptrdiff_t);
      default:
        return va_arg(list_, int);
    }
  }

  uint64_t Unsigned(Length length) {
    switch (length) {
      case Length::kChar:
        return static_cast<unsigned char>(va_arg(list_, unsigned));
      case Length::kShort:
        return static_cast<uint16_t>(va_arg(list_, unsigned));
      case Length::kLong:
        return va_arg(list_, unsigned long);
      case Length::kLongLong:
        return va_arg(list_, unsigned long long);
      case Length::kSize:
      case Length::kDifference:
        return va_arg(list_, size_t);
      default:
        return va_arg(list_, unsigned);
    }
  }

  static std::string SignOf(const Conversion& conversion, bool negative) {
    if (negative) return "-";
    if (conversion.plus) return "+";
    return conversion.blank ? " " : "";
  }

  static std::string Digits(uint64_t value, int base, int32_t precision) {
    std::array<char, 64> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
    std::string text(digits.data(), end);
    if (value == 0 && precision == 0) text.clear();
    const auto least = static_cast<size_t>(std::max(precision, 0));
    if (text.size() < least) text.insert(0, least - text.size(), '0');
    return text;
  }

  void ConvertSigned(const Conversion& conversion) {
    const int64_t value = Signed(conversion.length);
    const uint64_t magnitude =
        value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    Put(conversion, SignOf(conversion, value < 0), Digits(magnitude, 10, conversion.precision),
        conversion.precision < 0);
  }

  void ConvertUnsigned(const Conversion& conversion) {
    const uint64_t value = Unsigned(conversion.length);
    const char type = conversion.type;
    const int base = type == 'u' ? 10 : type == 'o' ? 8 : 16;
    std::string digits = Digits(value, base, conversion.precision);
    std::string prefix;
    if (conversion.alternative && base == 16 && value != 0) prefix = "0x";
    if (conversion.alternative && base == 8 && (digits.empty() || digits[0] != '0')) {
      digits.insert(0, 1, '0');
    }
    if (type == 'X') {
      MakeUpperCase(&digits);
      MakeUpperCase(&prefix);
    }
    Put(conversion, prefix, digits, conversion.precision < 0);
  }

  void ConvertPointer(const Conversion& conversion) {
    std::string digits = Digits(reinterpret_cast<uintptr_t>(va_arg(list_, void*)), 16,
                                static_cast<int32_t>(2 * sizeof(void*)));
    MakeUpperCase(&digits);
    Put(conversion, "", digits, false);
  }

  void ConvertDouble(const Conversion& conversion) {
    const double value = conversion.length == Length::kLongDouble
                             ? static_cast<double>(va_arg(list_, long double))
                             : va_arg(list_, double);
    const char type = static_cast<char>(conversion.type | 0x20);
    const auto form = type == 'e'   ? std::chars_format::scientific
                      : type == 'f' ? std::chars_format::fixed
                                    : std::chars_format::general;
    std::array<char, 310 + kLargestField> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::fabs(value),
                                   form, conversion.precision >= 0 ? conversion.precision : 6)
                         .ptr;
    std::string text(digits.data(), end);
    if (conversion.alternative && std::isfinite(value)) {
      ShowPoint(&text, type == 'g' ? conversion.precision : 0);
    }
    if (conversion.type != type) MakeUpperCase(&text);
    Put(conversion, SignOf(conversion, std::signbit(value)), text, std::isfinite(value));
  }

  // Gives a number its point, and behind it the zeros that fill up `digits` significant digits
  // (negative: 6).
  static void ShowPoint(std::string* text, int32_t digits) {
    size_t end = std::min(text->find('e'), text->size());
    if (text->find('.') == std::string::npos) text->insert(end++, 1, '.');
    const size_t first = std::min(text->find_first_of("123456789"), end);
    const size_t start = first < end ? first : 0;
    const auto shown =
        std::count_if(text->begin() + static_cast<ptrdiff_t>(start),
                      text->begin() + static_cast<ptrdiff_t>(end), [](char c) { return c != '.'; });
    const ptrdiff_t wanted = digits < 0 ? 6 : digits;
    if (shown < wanted) text->insert(end, static_cast<size_t>(wanted - shown), '0');
  }

  bool ConvertText(const Conversion& conversion) {
    if (conversion.length == Length::kLong) return false;  // wide text
    const char* text = va_arg(list_, const char*);
    if (text == nullptr) text = "(null)";
    // No more is read than can be shown.
    size_t longest = longest_;
    if (conversion.precision >= 0) {
      longest = std::min(longest, static_cast<size_t>(conversion.precision));
    }
    Put(conversion, "", std::string(text, strnlen(text, longest)), false);
    return true;
  }

  static void MakeUpperCase(std::string* text) {
    for (char& c : *text) {
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
  }

  void Put(const Conversion& conversion, const std::string& prefix, const std::string& text,
           bool may_fill_with_zeros) {
    const size_t length = prefix.size() + text.size();
    const auto width = static_cast<size_t>(conversion.width);
    const size_t fill = width > length ? width - length : 0;
    if (conversion.left) {
      out_ += prefix + text + std::string(fill, ' ');
    } else if (conversion.zeros && may_fill_with_zeros) {
      out_ += prefix + std::string(fill, '0') + text;
    } else {
      out_ += std::string(fill, ' ') + prefix + text;
    }
  }

  va_list list_;
  size_t longest_;
  std::string out_;
};

}  // namespace

std::string ExpandFormat(const char* format, va_list arguments, size_t longest) {
  return Expander(arguments, longest).Expand(format);
}

}  // namespace tervalon::appsvc
