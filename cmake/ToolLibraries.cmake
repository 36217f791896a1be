# tervalon_tool_libraries: the header-only libraries that the program and the tests may use (the
# library itself uses none). They come from Debian's packages; because /usr/include as a whole must
# stay out of a cross build, only these two folders of it are linked into the build tree.
set(headers ${CMAKE_BINARY_DIR}/host_headers)
file(MAKE_DIRECTORY ${headers})
foreach(folder_and_package CLI:libcli11-dev nlohmann:nlohmann-json3-dev)
  string(REPLACE ":" ";" parts ${folder_and_package})
  list(GET parts 0 folder)
  list(GET parts 1 package)
  if(NOT IS_DIRECTORY /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: install ${package}")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${headers}/${folder} SYMBOLIC)
endforeach()

add_library(tervalon_tool_libraries INTERFACE)
target_include_directories(tervalon_tool_libraries SYSTEM INTERFACE ${headers})

if(NOT WIN32)
  # The program loads it when it needs it, under the name that others are linked with.
  find_library(tervalon_netcdf netcdf REQUIRED)
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${tervalon_netcdf} OUTPUT_VARIABLE dynamic_section
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE ".* SONAME +([^ \n]+).*" "\\1" tervalon_netcdf_soname "${dynamic_section}")
endif()
