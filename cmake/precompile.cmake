# Ways to speed up a full build, which spends most of its time on the headers of Qt, Berkeley DB, GoogleTest and the
# standard library. The preset dev has neither of the first two: it compiles each source separately, and so detects
# missing includes, and recompiles a single changed source fastest.

# Precompiles these headers once. Only third-party headers are among them, so a change of ours never recompiles them.
#
#   precompile_headers(quorva_headers LIBRARIES Qt6::Core ... HEADERS <string> ...)
#   use_precompiled_headers(target quorva_headers)
#
# A target can use only what was compiled with its own options and definitions, which come from the libraries it links.
option(QUORVA_PRECOMPILE "Precompile the headers that most sources include" OFF)

function(precompile_headers name)
    if(NOT QUORVA_PRECOMPILE)
        return()
    endif()
    cmake_parse_arguments(PRECOMPILE "" "" "LIBRARIES;HEADERS" ${ARGN})
    file(CONFIGURE OUTPUT "${name}.cpp" CONTENT "")
    add_library(${name} OBJECT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    target_link_libraries(${name} PRIVATE ${PRECOMPILE_LIBRARIES})
    target_precompile_headers(${name} PRIVATE ${PRECOMPILE_HEADERS})
endfunction()

function(use_precompiled_headers target name)
    if(QUORVA_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM ${name})
    endif()
endfunction()

# Compiles several sources of a target as one, because the templates and inline functions that they have in common cost
# most of the time. Names in their unnamed namespaces must then differ; list sources with clashes under ALONE. Those
# that include INCLUDING, a header whose inline functions take seconds, are one source by themselves. Not for the layers
# that each request passes through (net, request, records, json): an update takes 1 % more instructions there.
#
#   compile_together(target ALONE one.cpp ... INCLUDING CLI/CLI.hpp)
option(QUORVA_UNITY "Compile several sources of a target as one" OFF)

function(compile_together target)
    cmake_parse_arguments(TOGETHER "" "INCLUDING" "ALONE" ${ARGN})
    if(NOT QUORVA_UNITY)
        return()
    endif()
    if(TOGETHER_ALONE)
        set_source_files_properties(${TOGETHER_ALONE} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
    get_target_property(sources ${target} SOURCES)
    list(TRANSFORM TOGETHER_ALONE PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    set(others "")
    foreach(source ${sources})
        cmake_path(ABSOLUTE_PATH source NORMALIZE)
        set(including "")
        if(TOGETHER_INCLUDING)
            file(STRINGS "${source}" including REGEX "^#include <${TOGETHER_INCLUDING}>")
        endif()
        if(including)
            set_source_files_properties("${source}" PROPERTIES UNITY_GROUP including)
        elseif(NOT source IN_LIST TOGETHER_ALONE)
            list(APPEND others "${source}")
        endif()
    endforeach()

    # In groups of nearly the same size: 40 sources take a gigabyte and a half of memory.
    list(LENGTH others count)
    math(EXPR groups "(${count} + 39) / 40")
    set(index 0)
    foreach(source ${others})
        math(EXPR group "${index} * ${groups} / ${count}")
        math(EXPR index "${index} + 1")
        set_source_files_properties("${source}" PROPERTIES UNITY_GROUP ${group})
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()

# The compiler collects its garbage whenever its memory has doubled since the last time, from 128 MB on. Sources that are
# compiled together reach a gigabyte whether it does or not, and the marking takes up to a seventh of their time.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(--param=ggc-min-heapsize=524288)
endif()
