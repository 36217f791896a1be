// Private-profile keys of an INI file, with the desktop platform's rules: names are compared
// without case; blanks (space, tab) around a name or value and one pair of enclosing quotes of
// either kind around a value are dropped; of two equal keys the first counts; a missing file is
// empty. Several programs may change one file at the same time: no change is lost.

#ifndef PLATFORM_PROFILE_H_
#define PLATFORM_PROFILE_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "platform/replaceable.h"

namespace tervalon::platform {

// Sets a key, making file, section and key as needed. None of the texts may hold a line end.
struct ProfileEdit {
  const char* section = nullptr;
  const char* key = nullptr;
  const char* value = nullptr;
};

class ProfileLines;

// A profile's whole text as it was at one moment.
class ProfileText {
 public:
  ProfileText() = default;
  explicit ProfileText(std::string text) : text_(std::move(text)) {}

  // Makes every later Read of a key take the same time wherever the key stands: for who reads many.
  void Prepare();

  // Copies a key's value, or `fallback` (nullptr: empty) without its trailing blanks when there is
  // no such key, cut to `size` with its terminating zero. A key with an empty value is empty. With
  // no key the names of the section's keys, with no section those of all sections, each ended by
  // NUL and the list by one more; `fallback` for the keys of a section that does not exist. Returns
  // the characters copied, the last NUL not counted (size - 2 for a list that fills the buffer or
  // is cut, size - 1 for a value that is cut).
  uint32_t Read(const char* section, const char* key, const char* fallback, char* out,
                uint32_t size) const;

 private:
  std::string text_;
  std::shared_ptr<ProfileLines> lines_;  // of a prepared one
};

class Profile {
 public:
  virtual ~Profile() = default;

  // Reads the file; a missing one is empty. False when there is one that cannot be read: it must
  // not be taken for empty.
  virtual bool Load(const char* path, ProfileText* text) = 0;

  // Makes all edits in one change, one after the other. Comments, order and unrelated lines stay.
  // False when the file cannot be read or written, others keep it from being changed for too long,
  // or an edit cannot be made; it then is as it was.
  virtual bool Change(const char* path, std::span<const ProfileEdit> edits) = 0;

  // One key, as ProfileText::Read; from a file that cannot be read the fallback.
  uint32_t Read(const char* section, const char* key, const char* fallback, char* out,
                uint32_t size, const char* path);

  bool Write(const char* section, const char* key, const char* value, const char* path) {
    const ProfileEdit edit = {section, key, value};
    return Change(path, {&edit, 1});
  }
};

template <>
Profile& Current<Profile>();
template <>
Profile* Replace<Profile>(Profile* service);

inline Profile& Profiles() { return Current<Profile>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_PROFILE_H_
