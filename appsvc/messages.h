// How the texts of messages are expanded and read (tervalon/messages.h).

#ifndef APPSVC_MESSAGES_H_
#define APPSVC_MESSAGES_H_

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace tervalon::appsvc {

// Expands a printf format whatever the C locale, cut to `longest` characters. Arguments are read
// only as far as the format is understood: behind an unknown conversion it is copied as it stands.
// %n writes nothing.
std::string ExpandFormat(const char* format, va_list arguments, size_t longest);

struct MessageHeader {
  uint32_t style = 0;
  bool log = false;
};

// Reads the style keywords in front of a long-form message.
MessageHeader ParseMessageHeader(std::string_view header);

}  // namespace tervalon::appsvc

#endif  // APPSVC_MESSAGES_H_
