# How everything of ours is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
# Installed programs and libraries find each other wherever the tree is put.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}:$ORIGIN")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug or Release" FORCE)
endif()

find_program(QPD_CCACHE ccache)
if(QPD_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QPD_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${QPD_CCACHE})
endif()

# Linked by our own targets only: other people's headers are not ours to mend.
add_library(qpd_warnings INTERFACE)
target_compile_options(qpd_warnings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                              -Wsign-conversion -Wnon-virtual-dtor -Werror>)

# For sources that search ordered containers: at its usual limits g++ calls some of the comparisons that clang++ and the
# reader of the code take for inlined.
set(QPD_INLINE_SEARCHES "$<$<CXX_COMPILER_ID:GNU>:--param=inline-unit-growth=400;--param=large-function-growth=400>")

# No path of the building machine enters what is built. What coverage is counted in must be found again.
if(NOT QPD_COVERAGE)
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endif()

if(QPD_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(QPD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(QPD_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
