# Installation: shared libraries, public headers, the data folder, the tools, a CMake package
# (find_package(TavrelScope)), a pkg-config file and a Debian package (cpack -G DEB).
include(CMakePackageConfigHelpers)

set(TAVREL_INSTALL_TARGETS corvaneio tavreldriver tavrelcore tavrelpages)
if(TARGET tavrelsim)
  list(APPEND TAVREL_INSTALL_TARGETS tavrelsim)
endif()
install(TARGETS ${TAVREL_INSTALL_TARGETS} EXPORT TavrelScopeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/tavrel)

# The public headers, and beneath include/tavrel the layers' headers they include.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tavrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT Development FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_BINARY_DIR}/include/tavrel/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavrel COMPONENT Development)
foreach(layer base iolib automation hosting ioconfig discovery setups control pages)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/${layer} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavrel
    COMPONENT Development FILES_MATCHING PATTERN "*.h" PATTERN "backends" EXCLUDE)
endforeach()
if(TARGET tavrelsim)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavrel/sim
    COMPONENT Development FILES_MATCHING PATTERN "*.h")
endif()

set(TAVREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TavrelScope)
install(EXPORT TavrelScopeTargets NAMESPACE Tavrel:: DESTINATION ${TAVREL_CMAKE_DIR} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TavrelScopeConfig.cmake.in
  ${CMAKE_BINARY_DIR}/TavrelScopeConfig.cmake INSTALL_DESTINATION ${TAVREL_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/TavrelScopeConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/TavrelScopeConfig.cmake ${CMAKE_BINARY_DIR}/TavrelScopeConfigVersion.cmake
  DESTINATION ${TAVREL_CMAKE_DIR} COMPONENT Development)

# pkg-config: the prefix is found from the file's own place, so a package installed elsewhere works.
file(RELATIVE_PATH TAVREL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/tavrel.pc.in ${CMAKE_BINARY_DIR}/tavrel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tavrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# The Debian package: its Depends come from the binaries (dpkg-shlibdeps), not from a list here.
set(CPACK_PACKAGE_NAME tavrel-scope-control)
set(CPACK_PACKAGE_VENDOR "Tavrel Scope Control")
set(CPACK_PACKAGE_CONTACT "Tavrel Scope Control developers <tavrel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Finds, connects to and drives a Tavrel-series oscilloscope")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON) # debugging information names the build tree
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
include(CPack)
