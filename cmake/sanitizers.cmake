# QUORVA_SANITIZE is a list for -fsanitize= ("address,undefined" or "thread"), or empty.
set(QUORVA_SANITIZE "" CACHE STRING "Sanitizers for every target of this build")

add_library(quorva_sanitizers INTERFACE)
if(QUORVA_SANITIZE)
    target_compile_options(quorva_sanitizers INTERFACE
        -fsanitize=${QUORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(quorva_sanitizers INTERFACE -fsanitize=${QUORVA_SANITIZE})
endif()
