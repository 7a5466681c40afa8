# kestrava_add_gtest(<target> SOURCES <files...> LIBS <libs...> [LABELS <labels...>] [TIMEOUT <s>])
# One GoogleTest executable; each TEST becomes its own ctest entry so ctest -j spreads them.
# The test environment (offscreen platform, CLI path, camera samples) is set by the shared
# test main, not by ctest, so a test binary run by hand behaves the same.
include(GoogleTest)
find_package(GTest REQUIRED)

function(kestrava_add_gtest target)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE ${ARG_LIBS} kestrava_testsupport GTest::gtest GTest::gmock)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  gtest_discover_tests(${target}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES
      TIMEOUT ${ARG_TIMEOUT}
      LABELS "${ARG_LABELS}")
endfunction()
