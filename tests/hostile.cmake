# Hostile inputs through the real vexil binary: huge lines and headers, NUL bytes, CRLF, binary
# junk, directories and unreadable files.
add_executable(hostile_input_tests ${CMAKE_CURRENT_LIST_DIR}/hostile_input_test.cpp)
target_link_libraries(hostile_input_tests PRIVATE standard_settings GTest::gtest_main)
target_compile_definitions(hostile_input_tests PRIVATE VEXIL_BINARY="$<TARGET_FILE:vexil>")
add_dependencies(hostile_input_tests vexil)
gtest_discover_tests(hostile_input_tests DISCOVERY_TIMEOUT 30)
