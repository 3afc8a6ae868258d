# find_package(Pellucid) gives Pellucid::sdk: the umbrella header <pellucid/pellucid.h> and the
# SDK library. Paths are taken from this file's place, so the installed tree can move.
get_filename_component(_pellucid_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
if(NOT TARGET Pellucid::sdk)
  add_library(Pellucid::sdk SHARED IMPORTED)
  set_target_properties(Pellucid::sdk PROPERTIES
    IMPORTED_LOCATION "${_pellucid_prefix}/lib/libfglib5.so"
    IMPORTED_SONAME "libfglib5.so"
    INTERFACE_INCLUDE_DIRECTORIES "${_pellucid_prefix}/include")
endif()
# Pellucid::genicam: the GenICam port library, when it was built (it needs Aravis).
if(NOT TARGET Pellucid::genicam AND EXISTS "${_pellucid_prefix}/lib/libpellucid-genicam.so")
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(PELLUCID_ARAVIS REQUIRED IMPORTED_TARGET aravis-0.8)
  add_library(Pellucid::genicam SHARED IMPORTED)
  set_target_properties(Pellucid::genicam PROPERTIES
    IMPORTED_LOCATION "${_pellucid_prefix}/lib/libpellucid-genicam.so"
    IMPORTED_SONAME "libpellucid-genicam.so"
    INTERFACE_LINK_LIBRARIES "Pellucid::sdk;PkgConfig::PELLUCID_ARAVIS")
endif()
set(Pellucid_INCLUDE_DIR "${_pellucid_prefix}/include")
set(Pellucid_PREFIX "${_pellucid_prefix}")
unset(_pellucid_prefix)
