# Finds Berkeley DB's C++ class interface and defines BerkeleyDB::cxx.
find_path(BerkeleyDB_INCLUDE_DIR db_cxx.h)
find_library(BerkeleyDB_LIBRARY NAMES db_cxx-5.3 db_cxx)
mark_as_advanced(BerkeleyDB_INCLUDE_DIR BerkeleyDB_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(BerkeleyDB REQUIRED_VARS BerkeleyDB_LIBRARY BerkeleyDB_INCLUDE_DIR)

if(BerkeleyDB_FOUND AND NOT TARGET BerkeleyDB::cxx)
    add_library(BerkeleyDB::cxx UNKNOWN IMPORTED)
    set_target_properties(BerkeleyDB::cxx PROPERTIES
        IMPORTED_LOCATION "${BerkeleyDB_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${BerkeleyDB_INCLUDE_DIR}")
endif()
