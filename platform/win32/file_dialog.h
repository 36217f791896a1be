// The platform's open-file dialog.

#ifndef PLATFORM_WIN32_FILE_DIALOG_H_
#define PLATFORM_WIN32_FILE_DIALOG_H_

#include <cstdint>

#include "platform/desktop.h"

namespace tervalon::platform {

// As Desktop::ChooseFile.
FileChoiceResult ShowFileDialog(FileChoice* choice, uint32_t* error);

}  // namespace tervalon::platform

#endif  // PLATFORM_WIN32_FILE_DIALOG_H_
