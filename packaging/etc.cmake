# Run by cpack before it makes the packages: adds what belongs outside of the prefix, where "cmake --install" puts nothing.
set(server "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/server")
if(EXISTS "${server}")
    file(COPY "${CMAKE_CURRENT_LIST_DIR}/logrotate/quorva" DESTINATION "${server}/etc/logrotate.d")
endif()
