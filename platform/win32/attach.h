// The library as a module of its process.

#ifndef PLATFORM_WIN32_ATTACH_H_
#define PLATFORM_WIN32_ATTACH_H_

#include "tervalon/types.h"

namespace tervalon::platform {

// The module that holds this code: recorded when the DLL is loaded; the program where the library
// is linked into it.
TvInstance LibraryInstance();

}  // namespace tervalon::platform

#endif  // PLATFORM_WIN32_ATTACH_H_
