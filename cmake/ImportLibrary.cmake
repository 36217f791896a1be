# tervalon_import_library(TARGET OBJECTS): the import library of a DLL with undecorated export names.
#
# Callers compile calls to "_Name@8", while the DLL exports "Name". --kill-at drops the "@8" from the
# export table, but the linker then drops it from its import library as well, and nothing links with
# that. dlltool keeps the symbol and drops it only from the name looked up at run time. The same
# exports, without the numbers that nobody may link by, are in lib/TARGET.def.
function(tervalon_import_library target objects)
  target_link_options(${target} PRIVATE -Wl,--kill-at)
  set(definitions $<TARGET_LINKER_FILE_DIR:${target}>/${target}.def)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_DLLTOOL} --kill-at --dllname $<TARGET_FILE_NAME:${target}>
            --output-lib $<TARGET_LINKER_FILE:${target}> $<TARGET_OBJECTS:${objects}>
    COMMAND ${CMAKE_DLLTOOL} --output-def ${definitions} $<TARGET_OBJECTS:${objects}>
    COMMAND sed -i -e "1s/.*/LIBRARY ${target}.dll/" -e "s/ @ [0-9]*$//" ${definitions}
    COMMAND_EXPAND_LISTS VERBATIM)
endfunction()
