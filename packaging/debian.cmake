# SPDX-License-Identifier: MIT
# The Debian packages, made by `cpack` in the build folder: libztbcpp31-31 with the library, its
# module and its home, libztbcpp31-dev, and ztbcpp31-tools.
set(ZTB_PACKAGE_MAINTAINER "ztbcpp31 maintainers <maintainers@ztbcpp31.example>"
  CACHE STRING "Name and address of who answers for the packages")
set(RUNTIME libztbcpp31-${PROJECT_VERSION_MAJOR})
set(DEVELOPMENT libztbcpp31-dev)
set(TOOLS ztbcpp31-tools)

ztb_install(lib/${CMAKE_LIBRARY_ARCHITECTURE} share/doc/${DEVELOPMENT} debian_ EXCLUDE_FROM_ALL)

# In a folder that the loader knows, nothing needs a path to its library.
function(ztb_remove_rpath file component)
  install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${file}\")"
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()
ztb_remove_rpath(bin/ztb debian_tools)
ztb_remove_rpath(lib/${CMAKE_LIBRARY_ARCHITECTURE}/ztbcpp31/ztbdeps31.so debian_runtime)

# Manual pages come compressed; -n keeps the time of the build out.
find_program(GZIP gzip REQUIRED)
install(CODE "
  file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/man/man1/*.1\")
  execute_process(COMMAND ${GZIP} -9n \${pages} COMMAND_ERROR_IS_FATAL ANY)"
  COMPONENT debian_tools EXCLUDE_FROM_ALL)

set(CHANGELOG ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz)
add_custom_command(OUTPUT ${CHANGELOG}
  COMMAND ${GZIP} -9nc ${CMAKE_CURRENT_SOURCE_DIR}/changelog > ${CHANGELOG}
  DEPENDS changelog COMMENT "Compressing the changelog of the packages" VERBATIM)
add_custom_target(ztb_changelog ALL DEPENDS ${CHANGELOG})
foreach(component RUNTIME DEVELOPMENT TOOLS)
  string(TOLOWER debian_${component} name)
  install(FILES copyright ${CHANGELOG} DESTINATION share/doc/${${component}}
    COMPONENT ${name} EXCLUDE_FROM_ALL)
  list(APPEND CPACK_COMPONENTS_ALL ${name})
  set(CPACK_DEBIAN_DEBIAN_${component}_PACKAGE_NAME ${${component}})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ztbcpp31)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${ZTB_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE ztbcpp31)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Of the library itself the dependencies below tell more than its file does.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEBIAN_DEVELOPMENT_DEPENDS debian_runtime)
set(CPACK_COMPONENT_DEBIAN_TOOLS_DEPENDS debian_runtime)

set(about "ztbcpp31 gives every process of a data-management suite its common
footing: strings, exact decimals, dates and variants, layered
configuration, messages and logging, text files, URIs, templates,
programs and mail, and shared row buffers.")
set(CPACK_DEBIAN_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEBIAN_RUNTIME_DESCRIPTION "base library of a data-management suite
${about}

This package has the shared library, the module that start-up loads, and
a small home.")
set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "pkg-config, cmake, ztbcpp31-tools")
set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_DESCRIPTION "base library of a data-management suite - development files
${about}

This package has the headers, what CMake and pkg-config need, the
documentation, and examples.")
set(CPACK_DEBIAN_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DEBIAN_TOOLS_DESCRIPTION "base library of a data-management suite - command-line tool
${about}

This package has ztb, which shows and edits what applications see
through the library.")

configure_file(shlibs.in shlibs @ONLY)
set(CPACK_DEBIAN_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_BINARY_DIR}/shlibs ${CMAKE_CURRENT_SOURCE_DIR}/triggers)
include(CPack)
