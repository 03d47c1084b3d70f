# Compressed inputs (gzip, zstd, xz, made by the command-line tools) through the real vexil binary.
add_executable(compressed_input_tests ${CMAKE_CURRENT_LIST_DIR}/compressed_input_test.cpp)
target_link_libraries(compressed_input_tests PRIVATE standard_settings GTest::gtest_main)
target_compile_definitions(compressed_input_tests PRIVATE VEXIL_BINARY="$<TARGET_FILE:vexil>"
  EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples/logs")
add_dependencies(compressed_input_tests vexil)
gtest_discover_tests(compressed_input_tests DISCOVERY_TIMEOUT 30 PROPERTIES TIMEOUT 60)
