# The Debian packages, which script/package makes: a package for each component of the installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ksigil)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ksigil libksigil1 libksigil-dev python3-ksigil)
set(CPACK_PACKAGE_DIRECTORY ${root}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/finish_packages.cmake)
set(CPACK_KSIGIL_DEBIAN_FILES ${CMAKE_CURRENT_SOURCE_DIR}/debian)
set(CPACK_KSIGIL_CHANGES ${root}/CHANGELOG.md)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(KSIGIL_MAINTAINER "kSigil maintainers <maintainers@ksigil.example>"
    CACHE STRING "The maintainer in the Debian packages")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${KSIGIL_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

# debian_package(NAME SECTION DEPENDS SUMMARY TEXT): the package of that component.
function(debian_package name section depends summary text)
  string(TOUPPER ${name} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ${depends} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

set(work "work on security tokens of the kSigil family")
# libarchive is loaded by the commands that need it, which dpkg-shlibdeps cannot see.
debian_package(ksigil utils "libksigil1 (= ${version}), libarchive13t64 | libarchive13" "${work}"
"The console shell QVSh, the program ksigil for single commands, QVPrepare,
and ksigil-token, which looks after the software token that serves where
there is no hardware.")
debian_package(libksigil1 libs "" "${work} - library"
"The shared library through which programs log in to a token, work on its
files, directories and keys, and encrypt. It speaks PC/SC, or to the
software token that is in it.")
debian_package(libksigil-dev libdevel "libksigil1 (= ${version})" "${work} - development"
"The headers for C and C++, what pkg-config and CMake need, the manual page
and examples.")
debian_package(python3-ksigil python "libksigil1 (>= ${PROJECT_VERSION}), python3:any"
"${work} - Python 3"
"The module ksigil, which calls the library libksigil.")

# dpkg-shlibdeps finds the library in the tree, and knows no package that it is from: the dependency on
# it is written above.
foreach(component KSIGIL LIBKSIGIL1)
  set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
endforeach()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBKSIGIL1_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers)
set(CPACK_DEBIAN_KSIGIL_PACKAGE_SUGGESTS pcscd)
set(CPACK_DEBIAN_PYTHON3-KSIGIL_PACKAGE_ARCHITECTURE all)
include(CPack)
