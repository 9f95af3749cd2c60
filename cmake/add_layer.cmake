# One static library per folder of src/, with the dependency direction enforced by the compiler.
#
#   add_layer(storage FOLDER storage SOURCES bdbenv.cpp ... USES log [USES_PRIVATE ...])
#
# A shared include root would let any file include any header, whatever it links. So each layer exports its own
# directory, which contains only a link to the layer's folder: "net/x.h" is found only by targets that link net.
# USES is for layers whose types our headers show, USES_PRIVATE for those that only our sources need.
function(add_layer name)
    cmake_parse_arguments(LAYER "" "FOLDER" "SOURCES;USES;USES_PRIVATE;LIBRARIES;LIBRARIES_PRIVATE" ${ARGN})
    set(folder "${PROJECT_SOURCE_DIR}/src/${LAYER_FOLDER}")
    set(root "${PROJECT_BINARY_DIR}/layers/${name}")
    file(MAKE_DIRECTORY "${root}")
    file(CREATE_LINK "${folder}" "${root}/${name}" SYMBOLIC)

    list(TRANSFORM LAYER_SOURCES PREPEND "${folder}/")
    list(TRANSFORM LAYER_USES PREPEND "quorva_")
    list(TRANSFORM LAYER_USES_PRIVATE PREPEND "quorva_")
    add_library(quorva_${name} STATIC ${LAYER_SOURCES})
    target_include_directories(quorva_${name} PUBLIC "${root}")
    target_link_libraries(quorva_${name}
        PUBLIC ${LAYER_USES} ${LAYER_LIBRARIES} quorva_sanitizers
        PRIVATE ${LAYER_USES_PRIVATE} ${LAYER_LIBRARIES_PRIVATE} quorva_warnings)

    # The precompiled headers contain Qt, so they are of no use to layers without it.
    set(qt FALSE)
    if(Qt6::Core IN_LIST LAYER_LIBRARIES)
        set(qt TRUE)
    endif()
    foreach(used ${LAYER_USES} ${LAYER_USES_PRIVATE})
        get_target_property(used_qt ${used} QUORVA_QT)
        if(used_qt)
            set(qt TRUE)
        endif()
    endforeach()
    set_target_properties(quorva_${name} PROPERTIES QUORVA_QT ${qt})
    if(qt)
        use_precompiled_headers(quorva_${name} quorva_headers)
    endif()
endfunction()
