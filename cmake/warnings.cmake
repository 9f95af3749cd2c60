# Warnings for our own targets only; the headers of our dependencies are system headers.
add_library(quorva_warnings INTERFACE)
# Sources that are compiled together (see precompile.cmake) are not headers, and see each other's names.
target_compile_options(quorva_warnings INTERFACE
    -Wall -Wextra -Wconversion
    $<IF:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>,-Wno-subobject-linkage,-Wshadow>
    -Wnon-virtual-dtor -Wold-style-cast)

option(QUORVA_WERROR "Treat warnings of our own targets as errors" OFF)
if(QUORVA_WERROR)
    target_compile_options(quorva_warnings INTERFACE -Werror)
endif()
