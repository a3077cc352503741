# Installs the component into a scratch prefix, builds examples/host, examples/driver and examples/form against it
# in separate CMake runs, and runs them on the simulated bench.
#   cmake -DBINARY_DIR=<build> -DSOURCE_DIR=<source> -DWORK_DIR=<scratch> -DVERSION=<x.y.z>
#         -DGENERATOR=<generator> -P BuildExamples.cmake
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix}
  OUTPUT_QUIET RESULT_VARIABLE result ERROR_VARIABLE output)
if(result)
  message(FATAL_ERROR "install failed:\n${output}")
endif()

function(run expectedResult expectedOutput)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=TAVREL_DATA_DIR TAVREL_IO=sim ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT 60)
  if(NOT result STREQUAL expectedResult OR NOT "${output}${errors}" MATCHES "${expectedOutput}")
    message(FATAL_ERROR "${ARGN}: exit ${result} (wanted ${expectedResult}), output:\n${output}${errors}\n"
      "wanted it to match: ${expectedOutput}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

foreach(example host driver form)
  run(0 "" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/${example} -B ${WORK_DIR}/${example} -G ${GENERATOR}
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${prefix})
  run(0 "" ${CMAKE_COMMAND} --build ${WORK_DIR}/${example})
endforeach()

set(number "[0-9.]+(e[-+][0-9]+)?")
run(0 "identity: CORVANE TECHNOLOGIES,TV[0-9]+[A-Z]" ${WORK_DIR}/host/tavrel-host-example ${SOURCE_DIR}/samples/host-document.json)
foreach(line "address: GPIB0::7::INSTR" "channel 1 peak-to-peak: ${number} V" "version: ${VERSION}\n"
    "data folder: ${prefix}/share/tavrel\n")
  if(NOT output MATCHES "${line}")
    message(FATAL_ERROR "host example: no line matching \"${line}\" in:\n${output}")
  endif()
endforeach()
run(2 "usage" ${WORK_DIR}/host/tavrel-host-example)
run(1 "error" ${WORK_DIR}/host/tavrel-host-example ${WORK_DIR}/no-such-document.json)

run(0 "channel 1 frequency: ${number} Hz" ${WORK_DIR}/driver/tavrel-driver-example GPIB0::7::INSTR)
run(1 "I/O error: .*GPIB0::40::INSTR" ${WORK_DIR}/driver/tavrel-driver-example GPIB0::40::INSTR)
run(0 "Peak to peak: ${number} V" ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen
  ${WORK_DIR}/form/tavrel-form-example --measure)
file(REMOVE_RECURSE ${WORK_DIR})
