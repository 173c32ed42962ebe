# Finds minizip, the zip library that comes with zlib: the target Minizip::Minizip.
find_package(ZLIB QUIET)
find_path(Minizip_INCLUDE_DIR unzip.h PATH_SUFFIXES minizip)
find_library(Minizip_LIBRARY minizip)
mark_as_advanced(Minizip_INCLUDE_DIR Minizip_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Minizip REQUIRED_VARS Minizip_LIBRARY Minizip_INCLUDE_DIR ZLIB_FOUND)

if(Minizip_FOUND AND NOT TARGET Minizip::Minizip)
  add_library(Minizip::Minizip UNKNOWN IMPORTED)
  set_target_properties(Minizip::Minizip PROPERTIES
      IMPORTED_LOCATION "${Minizip_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${Minizip_INCLUDE_DIR}"
      INTERFACE_LINK_LIBRARIES ZLIB::ZLIB)
endif()
