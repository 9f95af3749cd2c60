# Warnings for our own targets only; the headers of our dependencies are system headers.
add_library(quorva_warnings INTERFACE)
target_compile_options(quorva_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wnon-virtual-dtor -Wold-style-cast
    # Of sources that are compiled together (see precompile.cmake), one would complain of the other's names.
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>)

option(QUORVA_WERROR "Treat warnings of our own targets as errors" OFF)
if(QUORVA_WERROR)
    target_compile_options(quorva_warnings INTERFACE -Werror)
endif()
