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

# A managed host compiled against the installed assembly: run from the
# installed tree it finds libzel_host.so through the dllmap beside the
# assembly, with no environment variable; with the assembly copied beside it,
# through LD_LIBRARY_PATH.
if(MCS AND MONO)
    set(cli "${scratch}/prefix/${LIBDIR}/cli/zel")
    set(assembly "${cli}/Tessaly.Corvane.DB.ZEL.dll")
    set(bare ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH --unset=MONO_PATH)
    run(${MCS} -nologo -r:${assembly} -out:${cli}/PageAddIn.exe ${PAGE_SOURCE})
    run(${bare} ${MONO} ${cli}/PageAddIn.exe "${scratch}/installed.zel" "${scratch}/no-content")
    set(beside "${scratch}/host")
    file(MAKE_DIRECTORY "${beside}")
    file(COPY "${assembly}" "${cli}/PageAddIn.exe" DESTINATION "${beside}")
    run(${bare} LD_LIBRARY_PATH=${scratch}/prefix/${LIBDIR} ${MONO} ${beside}/PageAddIn.exe
        "${scratch}/beside.zel" "${scratch}/no-content")
endif()

# The Python package, imported from the installed tree alone: a package
# written and read back.
if(PYTHON)
    run(${CMAKE_COMMAND} -E env PYTHONPATH=${scratch}/prefix/lib/python3/dist-packages
        ${PYTHON} -c "import sys, zel; zel.Writer(sys.argv[1]).close(); zel.open(sys.argv[1]).scene()"
        "${scratch}/python.zel")
endif()
