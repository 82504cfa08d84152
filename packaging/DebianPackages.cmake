# Three packages, one for each install component: runtime, dev and tools. What a
# component holds is the business of the install rules all over the tree; here
# stands only what Debian wants to know on top.

set(debianFiles ${CMAKE_CURRENT_SOURCE_DIR}/debian)
set(debianBuild ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${debianBuild})

# ---- Version -----------------------------------------------------------------

# The changelog's first line has the version of the packages: "zinlogger (1.2.3-4) ..."
file(STRINGS ${debianFiles}/changelog firstLine LIMIT_COUNT 1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${debianFiles}/changelog)
if(NOT firstLine MATCHES "^zinlogger \\(([0-9.]+)-([0-9]+)\\) ")
  message(FATAL_ERROR "packaging/debian/changelog does not begin with a version: ${firstLine}")
endif()
set(debianRevision ${CMAKE_MATCH_2})
if(NOT CMAKE_MATCH_1 VERSION_EQUAL PROJECT_VERSION)
  message(FATAL_ERROR "packaging/debian/changelog begins with version ${CMAKE_MATCH_1}, "
                      "but this is version ${PROJECT_VERSION}")
endif()
set(exactVersion "(= ${PROJECT_VERSION}-${debianRevision})")

# ---- What the packages hold beside the library's own files -----------------------

install(FILES debian/sysusers.conf DESTINATION lib/sysusers.d RENAME libzinlogger1.conf
        COMPONENT runtime)
install(FILES debian/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME libzinlogger1.conf
        COMPONENT runtime)
# As in the source tree, so that the guides' links to one another hold.
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION share/doc/libzinlogger-dev COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION share/doc/libzinlogger-dev COMPONENT dev
        FILES_MATCHING PATTERN *.md PATTERN *.svg
        PATTERN man EXCLUDE PATTERN reference EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/service
        DESTINATION share/doc/libzinlogger-dev/examples COMPONENT dev)

# -n: no time of compression, so that the same sources give the same bytes.
add_custom_command(
  OUTPUT ${debianBuild}/changelog.Debian.gz
  COMMAND sh -c "gzip -9n <'${debianFiles}/changelog' >'${debianBuild}/changelog.Debian.gz'"
  DEPENDS ${debianFiles}/changelog
  VERBATIM)
# Which version of the library a program needs that uses this symbol or that.
add_custom_command(
  OUTPUT ${debianBuild}/symbols
  COMMAND dpkg-gensymbols -plibzinlogger1 -v${PROJECT_VERSION} -e$<TARGET_FILE:ZinLogger>
          -I${debianFiles}/symbols -O${debianBuild}/symbols -c4 -q
  DEPENDS ${debianFiles}/symbols ZinLogger
  VERBATIM)
add_custom_target(ZinDebianFiles ALL DEPENDS ${debianBuild}/changelog.Debian.gz
                                          ${debianBuild}/symbols)

# ---- The packages ----------------------------------------------------------------

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zinlogger)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libZinLogger maintainers <maintainers@zinlogger.example>")
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/FinishPackageTree.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${debianRevision})
set(CPACK_DEBIAN_PACKAGE_SOURCE zinlogger)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/BaseAPI/ZinLogger)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Each package says its own summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(summary "rotating log and metrics files for services")
set(aboutTheLibrary
    "libZinLogger writes the log lines and metrics records of a long-running service
from a background thread, rotates the files by size and keeps their directory
within limits of number and size. A log call never waits for the disk.
")

# Names the package of a component, and installs what each package needs.
function(zin_debian_package component name section description)
  string(TOUPPER ${component} upper)
  install(FILES ${debianFiles}/copyright ${debianBuild}/changelog.Debian.gz
          DESTINATION share/doc/${name} COMPONENT ${component})
  configure_file(${debianFiles}/lintian-overrides.in ${debianBuild}/${name}.overrides @ONLY)
  install(FILES ${debianBuild}/${name}.overrides DESTINATION share/lintian/overrides
          RENAME ${name} COMPONENT ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
endfunction()

zin_debian_package(
  runtime libzinlogger1 libs
  "${summary} - shared library
${aboutTheLibrary}
This package holds the shared library. It makes the account qorsrvr, to which
log files are handed, and the directory /var/log/qorlog, where it is possible.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS
    "systemd-standalone-sysusers | systemd-sysusers"
    "systemd-standalone-tmpfiles | systemd-tmpfiles")
list(JOIN CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS ", " CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${debianFiles}/postinst ${debianFiles}/postrm ${debianFiles}/triggers ${debianBuild}/symbols)

zin_debian_package(
  dev libzinlogger-dev libdevel
  "${summary} - development files
${aboutTheLibrary}
This package holds the headers, the files for CMake and pkg-config, the manual
page zinlogger(3), the guides, and an example service.")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libzinlogger1 ${exactVersion}")

zin_debian_package(
  tools zinlogger-tools utils
  "${summary} - tools
${aboutTheLibrary}
This package holds tools for the shell that write and read such files.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzinlogger1 ${exactVersion}")

include(CPack)
