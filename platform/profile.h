// Private-profile keys of an INI file, with the desktop platform's rules: names are compared
// without case; blanks (space, tab) around a name or value and one pair of enclosing quotes of
// either kind around a value are dropped; of two equal keys the first counts; a missing file is
// empty.

#ifndef PLATFORM_PROFILE_H_
#define PLATFORM_PROFILE_H_

#include <cstdint>

#include "platform/replaceable.h"

namespace tervalon::platform {

class Profile {
 public:
  virtual ~Profile() = default;

  // Copies a key's value, or `fallback` (nullptr: empty) without its trailing blanks when there is
  // no such key, cut to `size` with its terminating zero. A key with an empty value is empty. With
  // no key the names of the section's keys, with no section those of all sections, each ended by
  // NUL and the list by one more. Returns the characters copied, the last NUL not counted (size - 2
  // for a list that fills the buffer or is cut, size - 1 for a value that is cut).
  virtual uint32_t Read(const char* section, const char* key, const char* fallback, char* out,
                        uint32_t size, const char* path) = 0;

  // Sets a key, making file, section and key as needed; nullptr as value deletes the key, nullptr
  // as key the section. Comments, order and unrelated lines stay. False when the file cannot be
  // written; it then is as it was.
  virtual bool Write(const char* section, const char* key, const char* value, const char* path) = 0;
};

template <>
Profile& Current<Profile>();
template <>
Profile* Replace<Profile>(Profile* service);

inline Profile& Profiles() { return Current<Profile>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_PROFILE_H_
