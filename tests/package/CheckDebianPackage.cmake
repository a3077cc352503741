# Makes the Debian package with cpack and checks what it holds and what it depends on.
#   cmake -DBINARY_DIR=<build> -DWORK_DIR=<scratch> -DVERSION=<x.y.z> -DQT_PLUGINS=<Qt's plugin folder under
#         its prefix> -P CheckDebianPackage.cmake
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(COMMAND ${CMAKE_CPACK_COMMAND} --config ${BINARY_DIR}/CPackConfig.cmake -G DEB -B ${WORK_DIR}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(result)
  message(FATAL_ERROR "cpack failed:\n${output}")
endif()
file(GLOB debs ${WORK_DIR}/*.deb)
list(LENGTH debs count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one .deb in ${WORK_DIR}, found: ${debs}")
endif()

execute_process(COMMAND dpkg-deb --contents ${debs} OUTPUT_VARIABLE contents COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND dpkg-deb --field ${debs} Depends OUTPUT_VARIABLE depends COMMAND_ERROR_IS_FATAL ANY)

set(failures "")
foreach(path
    usr/bin/tavrel usr/bin/tavrel-sim usr/bin/tavrel-view
    usr/${QT_PLUGINS}/designer/libtavrel-designer.so usr/lib/libtavrel-pages.so.${VERSION}
    usr/include/tavrel/Widgets.h usr/include/tavrel/pages/TavrelScopeWidget.h
    usr/lib/libtavrel-control.so.${VERSION} usr/lib/libtavrel-control.so.0 usr/lib/libtavrel-control.so
    usr/lib/libtavrel-driver.so.${VERSION} usr/lib/libtavrel-io.so.${VERSION} usr/lib/libtavrel-simbench.so.${VERSION}
    usr/include/tavrel/TavrelScope.h usr/include/tavrel/Driver.h usr/include/tavrel/Version.h
    usr/include/tavrel/control/TavrelScope.h usr/include/tavrel/base/TavrelError.h
    usr/lib/cmake/TavrelScope/TavrelScopeConfig.cmake usr/lib/cmake/TavrelScope/TavrelScopeConfigVersion.cmake
    usr/lib/cmake/TavrelScope/TavrelScopeTargets.cmake usr/lib/pkgconfig/tavrel.pc
    usr/share/tavrel/Help/)
  string(REGEX REPLACE "([.+])" "\\\\\\1" pattern "${path}")
  if(NOT contents MATCHES "\\./${pattern}[ \n]")
    string(APPEND failures "missing: ${path}\n")
  endif()
endforeach()
# What stays in the build tree: test doubles, the bus backends' private headers, build paths.
foreach(pattern "gpib_double" "include/tavrel/iolib/backends" "test_" "bench_")
  if(contents MATCHES "${pattern}")
    string(APPEND failures "should not be packaged: ${pattern}\n")
  endif()
endforeach()

# Depends is computed from the binaries: the Qt libraries they link, the C library, nothing empty.
foreach(package libc6 libstdc\\+\\+6 libqt6core6 libqt6gui6 libqt6network6 libqt6serialport6)
  if(NOT depends MATCHES "(^|, )${package} \\(>= ")
    string(APPEND failures "Depends lacks ${package} with a version: ${depends}\n")
  endif()
endforeach()

# No installed file carries the build tree's path (the data folder is found relative to the library).
execute_process(COMMAND dpkg-deb --extract ${debs} ${WORK_DIR}/root COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND grep -rl --fixed-strings ${BINARY_DIR} ${WORK_DIR}/root OUTPUT_VARIABLE baked)
if(baked)
  string(APPEND failures "files naming the build tree:\n${baked}")
endif()

if(failures)
  message(FATAL_ERROR "${failures}\ncontents:\n${contents}")
endif()
message(STATUS "package ${debs}: Depends ${depends}")
