# Windows on the given windows_processor, cross-built with MinGW-w64; tests run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${windows_processor})
set(windows_tools ${windows_processor}-w64-mingw32)
# The compilers with std::thread and std::mutex, which GoogleTest needs. -static leaves no trace of
# their thread library at run time.
set(CMAKE_C_COMPILER ${windows_tools}-gcc-posix)
set(CMAKE_CXX_COMPILER ${windows_tools}-g++-posix)
set(CMAKE_RC_COMPILER ${windows_tools}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${windows_tools})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/run-windows.sh)
