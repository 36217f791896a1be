// The system's declarations, in front of all that need them. What versions before 10 do not have is
// looked for at run time.

#ifndef VIEWER_WIN32_SYSTEM_H_
#define VIEWER_WIN32_SYSTEM_H_

#undef _WIN32_WINNT
#undef WINVER
#undef NTDDI_VERSION
#define _WIN32_WINNT 0x0A00
#include <windows.h>
// Need the one above.
#include <objbase.h>
#include <shellapi.h>

#endif  // VIEWER_WIN32_SYSTEM_H_
