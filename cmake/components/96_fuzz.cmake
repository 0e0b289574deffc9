# Fuzz targets, one per entry point that a file reaches, each in fuzz/fuzz_<name>.cpp.
#
# Every build (GCC too) links each target with a replay main and runs it under CTest, label
# `unit`, over its seed corpus fuzz/corpus/<name>/ and its regression inputs
# fuzz/regressions/<name>/ (every input that ever failed). With -DONF_BUILD_FUZZ=ON (clang only)
# the targets are built as libFuzzer programs fuzz_<name>, the library is instrumented for
# coverage, and CTest label `fuzz` runs each for ONF_FUZZ_SECONDS with bounded memory and time per
# input; any crash, leak, timeout, out-of-memory or sanitizer report fails the test. Build them
# all with the target `fuzz_all`.
set(ONF_FUZZ_TARGETS reader database lists stream result_read model groups init temporary modif
                     requests)
set(ONF_FUZZ_DIR ${CMAKE_CURRENT_SOURCE_DIR}/fuzz)
set(ONF_FUZZ_SECONDS 30 CACHE STRING "Seconds each fuzz target runs under CTest label fuzz")

function(onf_fuzz_setup_target target)
    target_link_libraries(${target} PRIVATE BrelonOnfEngine)
    target_include_directories(${target} PRIVATE ${ONF_FUZZ_DIR}
                                                 ${CMAKE_CURRENT_SOURCE_DIR}/services)
endfunction()

# Faults of the world around a file and hostile file contents.
onf_add_test(test_robustness tests/test_robustness.cpp)
# The Nth allocation and the Nth write failing, N = 1, 2, ...: a program of its own, as it
# replaces the global allocator.
onf_add_test(test_fault_injection tests/test_fault_injection.cpp)
# Operations that number new records, driven to the largest 32-bit id. The process-wide counters
# of load items are reached through the model's private header.
onf_add_test(test_id_limits tests/test_id_limits.cpp)
if(ONF_BUILD_TESTS)
    target_include_directories(test_id_limits PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src)
endif()

if(ONF_BUILD_TESTS)
    foreach(name ${ONF_FUZZ_TARGETS})
        add_executable(fuzz_replay_${name} fuzz/fuzz_${name}.cpp fuzz/FuzzCommon.cpp
                                           fuzz/FuzzReplayMain.cpp)
        onf_fuzz_setup_target(fuzz_replay_${name})
        add_test(NAME fuzz_replay_${name}
                 COMMAND fuzz_replay_${name} ${ONF_FUZZ_DIR}/corpus/${name}
                         ${ONF_FUZZ_DIR}/regressions/${name})
        set_tests_properties(fuzz_replay_${name} PROPERTIES LABELS unit TIMEOUT 300)
    endforeach()
endif()

if(NOT ONF_BUILD_FUZZ)
    return()
endif()
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "ONF_BUILD_FUZZ needs clang (libFuzzer): configure with CXX=clang++")
endif()

# Coverage instrumentation for the library; the sanitizers too unless ONF_SANITIZE gave them.
target_compile_options(BrelonOnfEngine PRIVATE -fsanitize=fuzzer-no-link)
set(ONF_FUZZ_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
if(NOT ONF_SANITIZE)
    target_compile_options(BrelonOnfEngine PRIVATE ${ONF_FUZZ_SANITIZERS})
    target_link_options(BrelonOnfEngine PRIVATE -fsanitize=address,undefined)
endif()

enable_testing()
add_custom_target(fuzz_all)
foreach(name ${ONF_FUZZ_TARGETS})
    add_executable(fuzz_${name} fuzz/fuzz_${name}.cpp fuzz/FuzzCommon.cpp)
    onf_fuzz_setup_target(fuzz_${name})
    target_compile_options(fuzz_${name} PRIVATE -fsanitize=fuzzer ${ONF_FUZZ_SANITIZERS})
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer,address,undefined)
    add_dependencies(fuzz_all fuzz_${name})
    add_test(NAME fuzz_${name}
             COMMAND bash ${ONF_FUZZ_DIR}/run_fuzz.sh $<TARGET_FILE:fuzz_${name}> ${name}
                     ${ONF_FUZZ_DIR} ${CMAKE_CURRENT_BINARY_DIR}/fuzz-work ${ONF_FUZZ_SECONDS})
    math(EXPR timeout "${ONF_FUZZ_SECONDS} + 180")
    set_tests_properties(fuzz_${name} PROPERTIES LABELS fuzz TIMEOUT ${timeout})
endforeach()
