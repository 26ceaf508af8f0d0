find_package(GTest REQUIRED)
include(GoogleTest)

# The test framework's headers take longer to read than most tests: they are compiled once for all programs.
# An executable, since what uses them must be compiled with the same options.
add_executable(test_headers ${CMAKE_SOURCE_DIR}/cmake/test_headers.cpp)
target_link_libraries(test_headers PRIVATE websec_core GTest::gmock)
target_compile_options(test_headers PRIVATE -O0)
target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <string> <vector>)

# websec_add_test(FOLDER SOURCE...): one test program for the folder of that name; each of its cases is
# run by CTest as unit.FOLDER.Suite.Case.
function(websec_add_test folder)
  set(program ${folder}_tests)
  add_executable(${program} ${ARGN})
  target_link_libraries(${program} PRIVATE websec_core GTest::gmock GTest::gtest_main)
  target_compile_options(${program} PRIVATE -O0)
  target_precompile_headers(${program} REUSE_FROM test_headers)
  set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  gtest_discover_tests(${program} TEST_PREFIX unit.${folder}. DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()

# websec_add_fuzzer(NAME SOURCE...): the source defines LLVMFuzzerTestOneInput. With WEBSEC_FUZZ it becomes
# a libFuzzer program; in every build its corpus (tests/fuzz/corpus/NAME) is replayed by CTest as fuzz.NAME.
function(websec_add_fuzzer name)
  set(program fuzz_${name})
  add_executable(${program} ${ARGN})
  target_link_libraries(${program} PRIVATE websec_core)
  set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  if(WEBSEC_FUZZ)
    target_link_options(${program} PRIVATE -fsanitize=fuzzer)
    add_test(NAME fuzz.${name} COMMAND ${program} -runs=0 ${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${name})
  else()
    target_sources(${program} PRIVATE ${CMAKE_SOURCE_DIR}/tests/fuzz/replay_main.cpp)
    add_test(NAME fuzz.${name} COMMAND ${program} ${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${name})
  endif()
endfunction()
