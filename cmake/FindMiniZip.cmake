# SPDX-License-Identifier: MIT
# Finds minizip, which has no CMake package of its own: MiniZip::MiniZip, with headers as <minizip/unzip.h>.
include(CMakeFindDependencyMacro)
find_dependency(ZLIB)
find_path(MiniZip_INCLUDE_DIR minizip/unzip.h)
find_library(MiniZip_LIBRARY minizip)
mark_as_advanced(MiniZip_INCLUDE_DIR MiniZip_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MiniZip REQUIRED_VARS MiniZip_LIBRARY MiniZip_INCLUDE_DIR)

if(MiniZip_FOUND AND NOT TARGET MiniZip::MiniZip)
    add_library(MiniZip::MiniZip UNKNOWN IMPORTED)
    set_target_properties(MiniZip::MiniZip PROPERTIES
        IMPORTED_LOCATION "${MiniZip_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${MiniZip_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES ZLIB::ZLIB)
endif()
