find_package(GTest REQUIRED)
include(GoogleTest)

# websec_add_test(FOLDER SOURCE...): one test program for the folder of that name; each of its cases is
# run by CTest as unit.FOLDER.Suite.Case.
function(websec_add_test folder)
  set(program ${folder}_tests)
  add_executable(${program} ${ARGN})
  target_link_libraries(${program} PRIVATE websec_core GTest::gmock GTest::gtest_main)
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
