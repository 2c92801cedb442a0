# SPDX-License-Identifier: MIT
# Target header_check: every public header compiles alone, as its users see it.
file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/include/vnBase/*.h)
foreach(header IN LISTS headers)
    get_filename_component(name ${header} NAME_WE)
    set(unit ${PROJECT_BINARY_DIR}/header_check/${name}.cpp)
    # Twice, so that a header that lacks its guard shows.
    file(CONFIGURE OUTPUT ${unit} CONTENT "#include <${header}>\n#include <${header}>\n")
    list(APPEND units ${unit})
endforeach()
add_library(header_check OBJECT EXCLUDE_FROM_ALL ${units})
vn_own_target(header_check)
target_link_libraries(header_check PRIVATE vnBase::vnBase)

# vnBase.h includes every other one.
file(STRINGS ${PROJECT_SOURCE_DIR}/include/vnBase/vnBase.h included REGEX "^#include")
foreach(header IN LISTS headers)
    if(NOT header STREQUAL "vnBase/vnBase.h" AND NOT "#include <${header}>" IN_LIST included)
        message(SEND_ERROR "include/vnBase/vnBase.h lacks ${header}")
    endif()
endforeach()
