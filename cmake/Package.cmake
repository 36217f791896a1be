# The Debian packages, one for each component; scripts/package.sh makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tervalon)
set(CPACK_PACKAGE_CONTACT "Tervalon maintainers <maintainers@tervalon.example.org>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE tervalon)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The Python package uses the library of its own package. Its files are those of the wheel.
set(python_files ${PROJECT_BINARY_DIR}/python)
add_custom_target(tervalon_python
  COMMAND /usr/bin/python3 ${PROJECT_SOURCE_DIR}/python/install_files.py $<TARGET_FILE:tervalon>
          ${python_files}
  DEPENDS tervalon VERBATIM)
install(DIRECTORY ${python_files}/ DESTINATION lib/python3/dist-packages COMPONENT python
        EXCLUDE_FROM_ALL)

# tervalon_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION DEPENDS)
macro(tervalon_package component name section summary description depends)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
  foreach(file changelog.Debian.gz changelog.gz copyright)
    install(FILES ${PROJECT_BINARY_DIR}/debian/${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
            COMPONENT ${component} EXCLUDE_FROM_ALL)
  endforeach()
endmacro()

set(same_library "libtervalon${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-1)")
tervalon_package(runtime libtervalon${PROJECT_VERSION_MAJOR} libs
  "mass-spectrometry data system (shared library)"
  "Tervalon reads and writes raw data directories of mass spectrometers,
keeps the settings and record databases of the programs of a data
system, and draws chromatograms and spectra."
  "libcairo2") # loaded when something is drawn
tervalon_package(development libtervalon-dev libdevel
  "mass-spectrometry data system (development files)"
  "Headers, the static library, and what CMake and pkg-config need to build
programs with Tervalon."
  "${same_library}")
tervalon_package(tools tervalon science
  "mass-spectrometry data system (program)"
  "A command-line program that shows, plots and simulates raw data
directories, settings and record databases."
  "${same_library}")
# The program loads it by itself: libnetcdf.so.19 of libnetcdf19.
string(REPLACE ".so." "" netcdf_package ${tervalon_netcdf_soname})
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS ${netcdf_package})
tervalon_package(viewer tervalon-view science
  "mass-spectrometry data system (browser for runs)"
  "A program with windows that shows chromatograms, spectra and maps of raw
data directories, also while they are being acquired."
  "${same_library}")
tervalon_package(python python3-tervalon python
  "mass-spectrometry data system (Python package)"
  "Reads and writes raw data directories, record databases and settings of a
mass-spectrometry data system from Python, with numpy's arrays."
  "${same_library}, python3 (>= 3.9), python3-cffi-backend, python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-matplotlib, python3-pandas")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)

string(TIMESTAMP today "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH
configure_file(packaging/debian/changelog.in debian/changelog.Debian @ONLY)
configure_file(packaging/debian/copyright debian/copyright COPYONLY)
configure_file(CHANGELOG.md debian/changelog COPYONLY)
foreach(file changelog.Debian changelog)
  execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/${file} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
include(CPack)
