# QUORVA_SANITIZE is a list for -fsanitize= ("address,undefined" or "thread"), or empty.
set(QUORVA_SANITIZE "" CACHE STRING "Sanitizers for every target of this build")

add_library(quorva_sanitizers INTERFACE)
if(QUORVA_SANITIZE)
    target_compile_options(quorva_sanitizers INTERFACE
        -fsanitize=${QUORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    # The check of vptrs probes the memory through a pipe of its own, so it reports errors where there are none when a
    # test has used all descriptors up.
    if(QUORVA_SANITIZE MATCHES "undefined")
        target_compile_options(quorva_sanitizers INTERFACE -fno-sanitize=vptr)
    endif()
    target_link_options(quorva_sanitizers INTERFACE -fsanitize=${QUORVA_SANITIZE})
endif()
