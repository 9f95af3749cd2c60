# QUORVA_SANITIZE is a list for -fsanitize= ("address,undefined" or "thread"), or empty.
set(QUORVA_SANITIZE "" CACHE STRING "Sanitizers for every target of this build")

add_library(quorva_sanitizers INTERFACE)
if(QUORVA_SANITIZE)
    target_compile_options(quorva_sanitizers INTERFACE
        -fsanitize=${QUORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    # The vptr check probes memory through a pipe, so it reports false errors when a test has used up all descriptors.
    if(QUORVA_SANITIZE MATCHES "undefined")
        target_compile_options(quorva_sanitizers INTERFACE -fno-sanitize=vptr)
    endif()
    target_link_options(quorva_sanitizers INTERFACE -fsanitize=${QUORVA_SANITIZE})
endif()
