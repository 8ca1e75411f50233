# The managed host is built with Mono's C# compiler when it is installed;
# without it the assembly, its tests, example and benchmark are left out.
find_program(ZEL_MCS mcs)
find_program(ZEL_MONO mono)
if(ZEL_MCS AND ZEL_MONO)
    set(ZEL_MANAGED ON)
else()
    set(ZEL_MANAGED OFF)
    message(STATUS "mcs or mono not found: the managed host Tessaly.Corvane.DB.ZEL.dll is skipped")
endif()

# zel_add_csharp(<target> OUTPUT <file> KIND library|exe SOURCES <files...>
#                [REFERENCES <assemblies...>] [DEPENDS <targets...>])
# Compiles C# sources, relative to the current source directory, into one
# assembly in the current binary directory.
function(zel_add_csharp target)
    cmake_parse_arguments(cs "" "OUTPUT;KIND" "SOURCES;REFERENCES;DEPENDS" ${ARGN})
    list(TRANSFORM cs_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/${cs_OUTPUT})
    set(references)
    foreach(reference IN LISTS cs_REFERENCES)
        list(APPEND references -r:${reference})
    endforeach()
    add_custom_command(OUTPUT ${output}
        COMMAND ${ZEL_MCS} -nologo -target:${cs_KIND} -optimize+ -warnaserror+
            -out:${output} ${references} ${cs_SOURCES}
        DEPENDS ${cs_SOURCES} ${cs_REFERENCES} ${cs_DEPENDS}
        COMMENT "Compiling ${cs_OUTPUT}"
        VERBATIM)
    add_custom_target(${target} ALL DEPENDS ${output})
    if(cs_DEPENDS)
        add_dependencies(${target} ${cs_DEPENDS})
    endif()
endfunction()
