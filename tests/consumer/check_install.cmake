# Installs the build tree into a scratch prefix, then configures, builds and
# runs the consumer project against it.
set(scratch "${WORK_DIR}/consumer-check")
file(REMOVE_RECURSE "${scratch}")
function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGV}")
    endif()
endfunction()
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${scratch}/prefix")
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${scratch}/build"
    -DCMAKE_PREFIX_PATH=${scratch}/prefix -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build "${scratch}/build")
run("${scratch}/build/zel_consumer" "${scratch}/value.zel")
