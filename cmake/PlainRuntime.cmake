# tervalon_plain_runtime(TARGET): links a DLL with the compiler's runtime for plain Windows threads.
#
# The one for POSIX threads, which the tests need, leaves handles, memory and a thread-local slot
# behind each time that the DLL is unloaded. The DLL starts no threads and has locks of its own, so
# that its objects go with either.
function(tervalon_plain_runtime target)
  string(REPLACE "-posix" "-win32" compiler "${CMAKE_CXX_COMPILER}")
  execute_process(COMMAND ${compiler} -print-libgcc-file-name
    OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${compiler} is missing (Debian: g++-mingw-w64-i686-win32)")
  endif()
  get_filename_component(folder ${library} DIRECTORY)
  target_link_directories(${target} BEFORE PRIVATE ${folder})
endfunction()
