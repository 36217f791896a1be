# tervalon_resource(NAME FILE ARG...): compiles a file of Windows resources; the variable NAME is then
# the object to link with. An object of its own, because the resource compiler cannot read the
# compile options of a target.
function(tervalon_resource name file)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${name}.o)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_RC_COMPILER} -I ${PROJECT_SOURCE_DIR} -I ${PROJECT_SOURCE_DIR}/include ${ARGN}
            ${file} ${object}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    DEPENDS ${PROJECT_SOURCE_DIR}/${file} ${PROJECT_SOURCE_DIR}/platform/library_strings.inc
            ${PROJECT_SOURCE_DIR}/include/tervalon/version.h
    VERBATIM)
  add_custom_target(${name} DEPENDS ${object})
  set(${name} ${object} PARENT_SCOPE)
endfunction()
