# The `onf` command. Each sub-command is a source file of its own in tools/onf/ that registers
# itself, so the folder is globbed: a new command needs no change here.
file(GLOB ONF_TOOL_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/*.cpp)
add_executable(onf ${ONF_TOOL_SOURCES})
target_link_libraries(onf PRIVATE BrelonOnfEngine)
# Commands may print what the suite services know beyond their public contracts.
target_include_directories(onf PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/services)
set_target_properties(onf PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(ONF_BUILD_TESTS)
    # End-to-end tests of the command, each a shell script run on the built program.
    add_test(NAME onf_cli COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli.sh
                                  $<TARGET_FILE:onf>)
    add_test(NAME onf_cli_check
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli_check.sh
                     $<TARGET_FILE:onf>)
    add_test(NAME onf_cli_edit
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli_edit.sh
                     $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR}/examples)
    set_tests_properties(onf_cli onf_cli_check onf_cli_edit PROPERTIES LABELS cli)
endif()

if(ONF_BUILD_TESTS)
    # `onf diff`: each option on pairs of files made for it.
    add_test(NAME onf_diff COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_diff.sh
                                   $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR}/examples)
    set_tests_properties(onf_diff PROPERTIES LABELS cli)
endif()
