# The `onf` command. Each sub-command is a source file of its own in tools/onf/ that registers
# itself, so the folder is globbed: a new command needs no change here.
file(GLOB ONF_TOOL_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/*.cpp)
add_executable(onf ${ONF_TOOL_SOURCES})

# Each command's help is a text file of its own (tools/onf/help/NAME.txt), written as it prints, so
# that it is read and edited as prose; the build makes it the constant kNameHelp of a generated
# header (`onf_tool_help.h`), a raw string literal of the file's bytes.
file(GLOB ONF_HELP_TEXTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/help/*.txt)
set(ONF_HELP_HEADER "// Made by the build from tools/onf/help/*.txt.\n#pragma once\n\nnamespace onf_tool {\n")
foreach(text_file IN LISTS ONF_HELP_TEXTS)
    get_filename_component(command ${text_file} NAME_WE)
    string(SUBSTRING ${command} 0 1 first)
    string(TOUPPER ${first} first)
    string(SUBSTRING ${command} 1 -1 rest)
    file(READ ${text_file} text)
    if(text MATCHES "\\)onfhelp\"")
        message(FATAL_ERROR "${text_file} holds the end of its own literal")
    endif()
    string(APPEND ONF_HELP_HEADER "constexpr const char k${first}${rest}Help[] = R\"onfhelp(${text})onfhelp\";\n")
endforeach()
string(APPEND ONF_HELP_HEADER "} // namespace onf_tool\n")
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/onf_tool_help.h CONTENT "${ONF_HELP_HEADER}" @ONLY)
target_include_directories(onf PRIVATE ${CMAKE_BINARY_DIR}/generated)
target_link_libraries(onf PRIVATE BrelonOnfEngine)
target_compile_definitions(onf PRIVATE ONF_TOOL_VERSION="${PROJECT_VERSION}")
# Commands may print what the suite services know beyond their public contracts.
target_include_directories(onf PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/services)
# The element kinds as cells, which the Python package reads too.
target_include_directories(onf PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/tools/cells)
set_target_properties(onf PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

# The manual page is printed by the command from its own help texts (`onf help --man`), so that
# page and help never disagree; the bash completion reads commands and options from the help too.
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/onf.1
                   COMMAND $<TARGET_FILE:onf> help --man > ${CMAKE_BINARY_DIR}/onf.1
                   DEPENDS onf
                   COMMENT "Writing the manual page of onf")
add_custom_target(onf_manual_page ALL DEPENDS ${CMAKE_BINARY_DIR}/onf.1)

if(ONF_BUILD_TESTS)
    # End-to-end tests of the command, each a shell script run on the built program.
    add_test(NAME onf_cli COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli.sh
                                  $<TARGET_FILE:onf> ${CMAKE_BINARY_DIR})
    add_test(NAME onf_cli_check
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli_check.sh
                     $<TARGET_FILE:onf>)
    add_test(NAME onf_cli_edit
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli_edit.sh
                     $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR}/examples)
    # The outputs under faults (full and read-only file systems, devices, signals) need a mount
    # namespace of their own; the test says why it skips where none can be made.
    add_test(NAME onf_cli_output
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_cli_output.sh
                     $<TARGET_FILE:onf>)
    set_tests_properties(onf_cli onf_cli_check onf_cli_edit onf_cli_output PROPERTIES LABELS cli)
    set_tests_properties(onf_cli_output PROPERTIES SKIP_RETURN_CODE 77)
endif()

if(ONF_BUILD_TESTS)
    # `onf diff`: each option on pairs of files made for it.
    add_test(NAME onf_diff COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_onf_diff.sh
                                   $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR}/examples)
    set_tests_properties(onf_diff PROPERTIES LABELS cli)
endif()

# The parts of the command that find places in a file's text and tell what they found, tested on
# their own against the engine's reading.
onf_add_test(test_onf_tool tests/test_onf_tool.cpp ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/tool_locate.cpp
             ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/tool_report.cpp)
if(TARGET test_onf_tool)
    target_include_directories(test_onf_tool PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf)
endif()
