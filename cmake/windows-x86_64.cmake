# 64-bit Windows.
set(windows_processor x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
