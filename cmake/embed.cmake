# Embeds text files in a program: generates a source file of constants, again whenever one of them changes.
#
#   embed_console(FOLDER src/console FILES index.html ... OUTPUT variable)
if(CMAKE_SCRIPT_MODE_FILE)
    set(table "")
    string(REPLACE "," ";" names "${NAMES}")
    file(WRITE "${OUTPUT}" "#include \"http/consolefiles.h\"\n\n#include <array>\n\nnamespace Http {\n\nnamespace {\n\n"
        "constexpr std::array Files{\n")
    foreach(name ${names})
        file(READ "${FOLDER}/${name}" text)
        file(APPEND "${OUTPUT}" "    ConsoleFile{\"${name}\", R\"console-file(${text})console-file\"},\n")
    endforeach()
    file(APPEND "${OUTPUT}" "};\n\n} // namespace\n\n"
        "std::span<const ConsoleFile> consoleFiles()\n{\n    return Files;\n}\n\n} // namespace Http\n")
    return()
endif()

set(embed_script "${CMAKE_CURRENT_LIST_FILE}")
function(embed_console)
    cmake_parse_arguments(EMBED "" "FOLDER;OUTPUT" "FILES" ${ARGN})
    set(source "${CMAKE_CURRENT_BINARY_DIR}/consoletexts.cpp")
    list(JOIN EMBED_FILES "," names)
    list(TRANSFORM EMBED_FILES PREPEND "${EMBED_FOLDER}/" OUTPUT_VARIABLE paths)
    add_custom_command(OUTPUT "${source}" DEPENDS ${paths} "${embed_script}" VERBATIM
        COMMAND "${CMAKE_COMMAND}" -D "OUTPUT=${source}" -D "FOLDER=${EMBED_FOLDER}" -D "NAMES=${names}" -P "${embed_script}"
        COMMENT "Embedding the console's files")
    set(${EMBED_OUTPUT} "${source}" PARENT_SCOPE)
endfunction()
