# 32-bit Windows.
set(windows_processor i686)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
