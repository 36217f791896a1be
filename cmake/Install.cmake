# What `cmake --install` puts where, in the components runtime, tools, viewer and development.
include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tervalon)

install(TARGETS tervalon EXPORT TervalonTargets
  RUNTIME COMPONENT runtime
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
# In a file of its own: who links with the shared library needs nothing of what the archive needs.
install(TARGETS tervalon_static EXPORT TervalonStaticTargets ARCHIVE COMPONENT development)
foreach(targets TervalonTargets TervalonStaticTargets)
  install(EXPORT ${targets} NAMESPACE Tervalon:: DESTINATION ${package_folder}
          COMPONENT development)
endforeach()
install(DIRECTORY include/tervalon TYPE INCLUDE COMPONENT development)
if(WIN32)
  install(FILES ${tervalon_strings} $<TARGET_LINKER_FILE_DIR:tervalon>/tervalon.def
          DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  set(pc_private "-lgdi32 -lcomdlg32 -lwinspool -lole32 -lstdc++")
else()
  set(pc_private "-lstdc++ -lm")
endif()

configure_package_config_file(packaging/TervalonConfig.cmake.in TervalonConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(TervalonConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TervalonConfig.cmake
              ${PROJECT_BINARY_DIR}/TervalonConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT development)

# Found from where the file itself is, so that the tree can be moved.
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
configure_file(packaging/tervalon.pc.in tervalon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tervalon.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

file(RELATIVE_PATH to_library /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
macro(install_program target component)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH $ORIGIN/${to_library})
  # Where both trees are alike, as it will be installed: else an empty part is added to the path, and
  # every library is looked for in the working directory, too.
  if(to_library STREQUAL ../lib)
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS ${target} RUNTIME COMPONENT ${component})
endmacro()

if(TERVALON_TOOLS)
  install_program(tervalon_tool tools)
  if(NOT CMAKE_CROSSCOMPILING) # which makes no manual
    set(manual ${PROJECT_BINARY_DIR}/manual)
    install(DIRECTORY ${manual}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools
            OPTIONAL FILES_MATCHING PATTERN *.gz)
    install(FILES ${manual}/bash/tervalon COMPONENT tools OPTIONAL
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${manual}/zsh/_tervalon COMPONENT tools OPTIONAL
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
    install(FILES ${manual}/fish/tervalon.fish COMPONENT tools OPTIONAL
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
endif()
if(TARGET tervalon_viewer)
  install_program(tervalon_viewer viewer)
  if(NOT WIN32)
    configure_file(viewer/tervalon-view.1 tervalon-view.1 COPYONLY)
    execute_process(COMMAND gzip -9nf tervalon-view.1 WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
                    COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${PROJECT_BINARY_DIR}/tervalon-view.1.gz COMPONENT viewer
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES viewer/tervalon-view.desktop COMPONENT viewer
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES viewer/tervalon-view.svg COMPONENT viewer
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
  endif()
endif()
