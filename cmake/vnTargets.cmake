# SPDX-License-Identifier: MIT
# What every target of ours is compiled with. Only our own targets link these: neither is exported.

find_program(VN_CCACHE ccache)
mark_as_advanced(VN_CCACHE)
if(VN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${VN_CCACHE})
endif()

add_library(vn_warnings INTERFACE)
target_compile_options(vn_warnings INTERFACE -Wall -Wextra -Wshadow $<$<BOOL:${VN_WERROR}>:-Werror>)

add_library(vn_options INTERFACE)
target_compile_features(vn_options INTERFACE cxx_std_17)
# No fused multiply-add: computed values are the same on every machine and at every level of optimisation.
target_compile_options(vn_options INTERFACE -ffp-contract=off)
# Messages that name a source file name it as it stands in the project, wherever the project lies.
target_compile_options(vn_options INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(VN_SANITIZE)
    target_compile_options(vn_options INTERFACE -fsanitize=${VN_SANITIZE} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
    # isValidMemory() is asked of objects that may have ended, which g++ takes for a wrong type.
    if(VN_SANITIZE MATCHES undefined AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        target_compile_options(vn_options INTERFACE -fno-sanitize=vptr)
    endif()
    target_link_options(vn_options INTERFACE -fsanitize=${VN_SANITIZE})
endif()
if(VN_FUZZ)
    target_compile_options(vn_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VN_COVERAGE)
    target_compile_options(vn_options INTERFACE --coverage)
    target_link_options(vn_options INTERFACE --coverage)
endif()

# The settings of one of our targets.
function(vn_own_target target)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_STANDARD_REQUIRED ON)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vn_warnings> $<BUILD_INTERFACE:vn_options>)
endfunction()
