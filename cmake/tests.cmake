# One line per test program.

find_package(GTest REQUIRED)
find_package(rapidcheck REQUIRED)
include(GoogleTest)

# Tests are compiled without optimisation, whatever the preset: what they test is optimised, and they are many.
set(QPD_TEST_OPTIONS $<$<NOT:$<BOOL:${QPD_COVERAGE}>>:-O0>)

# qpd_add_test(name SOURCES ... [LIBRARIES ...] [DEFINITIONS ...]): a GoogleTest program whose tests ctest lists one by
# one, under "name.suite.test".
function(qpd_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;DEFINITIONS")
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE ${QPD_TEST_OPTIONS})
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock_main qpd_warnings)
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60)
endfunction()

# qpd_add_store_test(name ...): the same tests, compiled once and linked twice: name.objects with the object files,
# which show the library's inside, and name.shared with the built library, which shows what others see.
function(qpd_add_store_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;DEFINITIONS")
  add_library(${name}.tests OBJECT ${arg_SOURCES})
  target_include_directories(${name}.tests PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${name}.tests PRIVATE ${QPD_TEST_OPTIONS})
  target_compile_definitions(${name}.tests PRIVATE ${arg_DEFINITIONS})
  target_link_libraries(${name}.tests PRIVATE qProdData3D::qProdData3D ${arg_LIBRARIES} GTest::gmock qpd_warnings)
  qpd_add_test(${name}.objects SOURCES $<TARGET_OBJECTS:${name}.tests>
               LIBRARIES qProdData3D_objects ${arg_LIBRARIES})
  qpd_add_test(${name}.shared SOURCES $<TARGET_OBJECTS:${name}.tests>
               LIBRARIES qProdData3D::qProdData3D ${arg_LIBRARIES})
endfunction()
