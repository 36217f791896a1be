// Read-only files.

#ifndef TESTS_SUPPORT_PERMISSIONS_H_
#define TESTS_SUPPORT_PERMISSIONS_H_

#include <string>

namespace tervalon::testing {

// Takes the right to write a file from everyone. False when this user may still write it, as an
// administrator may on some platforms.
bool MakeReadOnly(const std::string& path);
void MakeWritable(const std::string& path);

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_PERMISSIONS_H_
