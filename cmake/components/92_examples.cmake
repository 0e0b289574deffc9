# The generator of the example files in examples/ (scripts/make_examples.sh runs it), and a
# test that the committed examples are what it makes, each one checked clean by `onf check`.
add_executable(onf_make_examples ${CMAKE_CURRENT_SOURCE_DIR}/examples/generator/bridge.cpp
                                 ${CMAKE_CURRENT_SOURCE_DIR}/examples/generator/make_examples.cpp)
target_link_libraries(onf_make_examples PRIVATE BrelonOnfEngine)
set_target_properties(onf_make_examples PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(ONF_BUILD_TESTS)
    add_test(NAME examples_current
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_examples.sh $<TARGET_FILE:onf>
                     $<TARGET_FILE:onf_make_examples> ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(examples_current PROPERTIES LABELS cli)
endif()
