// Texts and numbers as they are printed and typed. The C locale has no part in them.

#ifndef TOOLS_PRINT_TEXT_H_
#define TOOLS_PRINT_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tervalon::tools {

// The shortest text that reads back as the same number.
std::string ExactText(float value);
std::string ExactText(double value);

// A number for people: `decimals` decimals, or with decimals < 0 seven significant digits.
std::string RoundedText(double value, int decimals);

// The number that is the whole of `text`; nothing for anything else, infinities included.
std::optional<double> ParseNumber(std::string_view text);

// Texts of raw data are Latin-1. `size` bounds a field whose terminating zero may be missing.
std::string Utf8FromLatin1(const char* text, size_t size);

// The other way round; nothing for a text that is no UTF-8, or has characters beyond Latin-1.
std::optional<std::string> Latin1FromUtf8(std::string_view utf8);

// Names and values that came from the command line or the system: as they are when they are UTF-8,
// else taken to be of the system's code page, on Linux Latin-1.
std::string Utf8FromSystem(const std::string& text);

// The text with control characters, which a terminal would obey, replaced by "?".
std::string Printable(std::string_view utf8);

// Columns that a UTF-8 text takes on a terminal, every character counting one.
size_t DisplayWidth(std::string_view utf8);

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_TEXT_H_
