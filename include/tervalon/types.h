// Types, calling convention and platform handles shared by every exported header.
//
// All exported headers are plain C (C11) and C++ alike. Conventions that hold for every export:
//
//  - Text is 8-bit and zero-terminated. Paths use "\" between their parts on every platform; "/" is
//    accepted too where the platform is not Windows.
//  - 16-bit and 32-bit integers are signed unless a declaration says otherwise; a flag or boolean
//    is an int32_t that is zero or not.
//  - Scan, point, function and process numbers count from 1; process 0 means acquired data.
//  - A pointer described as optional may be NULL. NULL for any other pointer gives the export's
//    failure value and changes nothing.
//  - Threads: any number may call the library at once, each for raw handles, data handles, types of
//    databases, axes, coordinate systems, device contexts and memory blocks of its own; what all of
//    the process share (the tables behind them, the settings, what is registered) is guarded. One
//    such object is for one thread at a time: it may be handed from one to another, but who closes
//    or deletes it while another thread still works with it takes the ground from under that one's
//    feet. Callbacks run in the thread of the call, several at once if several threads call, and
//    may call the library themselves: it holds no lock meanwhile.
//  - Processes: any number may use the same raw directory, database and settings file at once. What
//    a call has reported as stored stays, also when another program changes the same file or is
//    ended in the middle of a change; what is read is never half of a change. Where two change the
//    same file, one waits for some seconds and then gets the export's own failure.
//  - No C++ exception leaves an export; memory that runs out gives the export's failure value.

#ifndef TERVALON_TYPES_H_
#define TERVALON_TYPES_H_

#include <stdint.h>

#if defined(_WIN32) && !defined(TERVALON_PLAIN_TYPES)
#if defined(__cplusplus) && !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#endif

#if defined(_WIN32)
// Callee-clean, exported under the plain name (the DLL's table has no "@n").
#define TERVALON_CALL __stdcall
// The variable-argument exports, where the caller removes the arguments.
#define TERVALON_VARARGS_CALL __cdecl
#if defined(TERVALON_BUILD)
#define TERVALON_API __declspec(dllexport)
#elif defined(TERVALON_STATIC)
#define TERVALON_API
#else
#define TERVALON_API __declspec(dllimport)
#endif
#else
#define TERVALON_CALL
#define TERVALON_VARARGS_CALL
#define TERVALON_API __attribute__((visibility("default")))
#endif

#if defined(__cplusplus)
#define TERVALON_BEGIN_DECLS extern "C" {
#define TERVALON_END_DECLS }
#else
#define TERVALON_BEGIN_DECLS
#define TERVALON_END_DECLS
#endif

// States the size of a structure that holds pointers in a 32-bit and in a 64-bit process.
#if defined(__cplusplus)
#define TERVALON_ASSERT static_assert
#else
#define TERVALON_ASSERT _Static_assert
#endif
#define TERVALON_STRUCT_SIZE(type, size_32, size_64) \
  TERVALON_ASSERT(sizeof(type) == (sizeof(void*) == 4 ? (size_32) : (size_64)), "size of " #type)

// Room for a path in records and output buffers, terminating zero included.
#define TV_PATH_SIZE 260

// Positions in pixels; on Windows the platform's own POINT, SIZE and RECT, so that a window
// procedure needs no casts (the members of SIZE are cx and cy). A rectangle's right and bottom edge
// are outside it. With TERVALON_PLAIN_TYPES, structures of the same layout whose members have the
// names below on every platform, without the system's header.
#if defined(_WIN32) && !defined(TERVALON_PLAIN_TYPES)
typedef POINT TvPoint;
typedef SIZE TvSize;
typedef RECT TvRect;
#else
typedef struct TvPoint {
  int32_t x;
  int32_t y;
} TvPoint;
typedef struct TvSize {
  int32_t width;
  int32_t height;
} TvSize;
typedef struct TvRect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
} TvRect;
#endif

// A colour, red in the low byte, then green, then blue; on Windows a COLORREF.
typedef uint32_t TvColour;

// Platform handles. On Windows they are the platform's own (HWND, HINSTANCE, HGLOBAL, HDC, HPEN,
// HFONT); elsewhere they are opaque pointers that only this library understands.
#if defined(_WIN32)
typedef struct HWND__* TvWindow;
typedef struct HINSTANCE__* TvInstance;
typedef void* TvMemory;
typedef struct HDC__* TvDC;
typedef struct HPEN__* TvPen;
typedef struct HFONT__* TvFont;
#else
typedef struct TvWindowRecord* TvWindow;
typedef struct TvInstanceRecord* TvInstance;
typedef struct TvMemoryBlock* TvMemory;
typedef struct TvDeviceRecord* TvDC;
typedef struct TvPenRecord* TvPen;
typedef struct TvFontRecord* TvFont;
#endif

// How a document window of a multiple-document frame is created; on Windows laid out like the
// platform's MDICREATESTRUCT. A position or size of INT32_MIN leaves it to the document area.
typedef struct TvDocumentCreate {
  const char* window_class;
  const char* title;
  TvInstance owner;
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
  uint32_t style;
  intptr_t parameter;
} TvDocumentCreate;
TERVALON_STRUCT_SIZE(TvDocumentCreate, 36, 56);

#endif  // TERVALON_TYPES_H_
