# The libraries zel builds on, each as an imported target. All come from the
# distribution's packages; the Makefile installs them when they are missing.
# This file is installed beside zelConfig.cmake, so a project that uses the
# installed library finds them the same way.
include_guard(GLOBAL)

find_package(Boost 1.74 REQUIRED)
find_package(ZLIB REQUIRED)
# Large payloads are deflated on several threads.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Header-only or plain libraries without a CMake package of their own.
function(zel_dependency_headers target header)
    if(NOT TARGET ${target})
        string(MAKE_C_IDENTIFIER "ZEL_${target}_INCLUDE_DIR" variable)
        find_path(${variable} ${header} REQUIRED)
        add_library(${target} INTERFACE IMPORTED)
        set_target_properties(${target} PROPERTIES
            INTERFACE_INCLUDE_DIRECTORIES "${${variable}}"
            INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${${variable}}")
    endif()
endfunction()

function(zel_dependency_library target header library)
    if(NOT TARGET ${target})
        string(MAKE_C_IDENTIFIER "ZEL_${target}" variable)
        find_path(${variable}_INCLUDE_DIR ${header} REQUIRED)
        find_library(${variable}_LIBRARY ${library} REQUIRED)
        add_library(${target} UNKNOWN IMPORTED)
        set_target_properties(${target} PROPERTIES
            IMPORTED_LOCATION "${${variable}_LIBRARY}"
            INTERFACE_INCLUDE_DIRECTORIES "${${variable}_INCLUDE_DIR}")
    endif()
endfunction()

zel_dependency_headers(zel_deps::rapidxml rapidxml/rapidxml.hpp)
zel_dependency_headers(zel_deps::sparsehash google/dense_hash_map)
zel_dependency_library(zel_deps::md md5.h md)
# Inflates a stream of known size in one call, its trailer checked.
zel_dependency_library(zel_deps::libdeflate libdeflate.h deflate)
