// What leaves the program: pictures, tables and mzML of what is shown.

#ifndef VIEWER_CORE_LEAVING_H_
#define VIEWER_CORE_LEAVING_H_

#include <string>

#include "viewer/core/document.h"

namespace tervalon::viewer {

enum class Leaving { kPicture, kTable, kMzml };

// Of the dialog that asks for the file.
const char* TitleOf(Leaving kind);
// What the file could be called: "SAMPLE.png".
std::string UsualName(const Document& document, Leaving kind);

// Throws a Failure, or WrongUsage for a name with an ending that says nothing.
void SaveAs(Document& document, Leaving kind, const std::string& path);

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_LEAVING_H_
