#include "platform/window_manager.h"

#include "platform/headless/window_records.h"

namespace tervalon::platform {

TERVALON_DEFINE_SERVICE(WindowManager, WindowRecords)

}  // namespace tervalon::platform
