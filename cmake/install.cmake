# What "cmake --install" installs, in three components that are also the packages (packages.cmake).
#
#   server        the programs, their manual pages, units for systemd, documentation
#   library       libquorva-client
#   development   its headers, its CMake package, an example
include(CMakePackageConfigHelpers)
set(docs "${PROJECT_SOURCE_DIR}/docs")

set(programs quorva quorvactl quorva-http)
install(TARGETS ${programs} RUNTIME COMPONENT server)

# Debian compresses manual pages and change logs: creates `page` from `source`.
find_program(GZIP_PROGRAM gzip REQUIRED)
function(compress source page)
    cmake_path(GET page PARENT_PATH directory)
    add_custom_command(OUTPUT "${page}" DEPENDS "${source}" VERBATIM
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${directory}"
        COMMAND sh -c "\"$1\" -9nc \"$2\" >\"$3\"" sh "${GZIP_PROGRAM}" "${source}" "${page}")
endfunction()

set(pages "")
foreach(program ${programs})
    set(page "${PROJECT_BINARY_DIR}/man/${program}.1.gz")
    compress("${PROJECT_SOURCE_DIR}/man/${program}.1" "${page}")
    list(APPEND pages "${page}")
    if(EXISTS "${PROJECT_SOURCE_DIR}/packaging/systemd/${program}.service")
        install(FILES "${PROJECT_SOURCE_DIR}/packaging/systemd/${program}.service"
            DESTINATION lib/systemd/system COMPONENT server)
    endif()
endforeach()
install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT server)
install(FILES
    packaging/systemd/quorva-backup.service
    packaging/systemd/quorva-backup.timer
    packaging/systemd/quorva-backup-resume.service
    DESTINATION lib/systemd/system COMPONENT server)

set(changes "${PROJECT_BINARY_DIR}/packaging/changelog.gz")
compress("${PROJECT_SOURCE_DIR}/packaging/debian/changelog" "${changes}")
set(libraryDocs "${CMAKE_INSTALL_DATADIR}/doc/libquorva-dev")
install(FILES "${changes}" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT server)
install(FILES "${changes}" DESTINATION "${libraryDocs}" COMPONENT development)
install(FILES "${changes}" COMPONENT library
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libquorva-client${PROJECT_VERSION_MAJOR}")

# Header-only libraries become part of the binaries, whose packages must contain their notices.
function(install_notices component directory)
    set(text "The binaries of this package contain code of these libraries, under the terms given with each.\n")
    foreach(library ${ARGN})
        set(notice "/usr/share/doc/${library}/copyright")
        if(EXISTS "${notice}")
            file(READ "${notice}" terms)
            string(APPEND text "\n\n${library}\n\n${terms}")
        endif()
    endforeach()
    set(file "${PROJECT_BINARY_DIR}/packaging/${component}/copyright")
    file(WRITE "${file}" "${text}")
    install(FILES "${file}" DESTINATION "${directory}" COMPONENT ${component})
endfunction()
install_notices(server "${CMAKE_INSTALL_DOCDIR}" rapidjson-dev libcli11-dev)
install_notices(library "${CMAKE_INSTALL_DATADIR}/doc/libquorva-client${PROJECT_VERSION_MAJOR}" rapidjson-dev)

add_custom_target(compressed ALL DEPENDS ${pages} "${changes}")
add_custom_target(package-contents)
add_dependencies(package-contents ${programs} compressed quorva_library)
install(FILES "${PROJECT_SOURCE_DIR}/src/tools/completion/quorvactl.bash" RENAME quorvactl
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT server)
install(FILES "${PROJECT_SOURCE_DIR}/src/tools/completion/_quorvactl"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" COMPONENT server)
install(FILES "${PROJECT_SOURCE_DIR}/src/tools/completion/quorvactl.fish"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT server)
install(DIRECTORY "${docs}/" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT server
    PATTERN client-library.md EXCLUDE)

install(TARGETS quorva_library EXPORT QuorvaTargets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(FILES
    src/library/connection.h
    src/library/export.h
    src/library/itemrange.h
    src/library/requests.h
    src/library/result.h
    src/library/values.h
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quorva" COMPONENT development)
set(package "${CMAKE_INSTALL_LIBDIR}/cmake/Quorva")
install(EXPORT QuorvaTargets NAMESPACE Quorva:: DESTINATION "${package}" COMPONENT development)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/QuorvaConfig.cmake.in" QuorvaConfig.cmake
    INSTALL_DESTINATION "${package}")
write_basic_package_version_file(QuorvaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/QuorvaConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/QuorvaConfigVersion.cmake"
    DESTINATION "${package}" COMPONENT development)
install(FILES "${docs}/client-library.md" DESTINATION "${libraryDocs}" COMPONENT development)
install(DIRECTORY examples DESTINATION "${libraryDocs}" COMPONENT development)
