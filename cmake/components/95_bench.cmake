# Benchmarks: the model generator and one Google Benchmark program holding the baselines (and,
# as they come, the engine's benchmarks of the same tasks, named "Engine/<Task>").

# The loader's quick number paths against the general ones: part of every test build, since it
# guards the hot path that the benchmarks measure.
onf_add_test(test_bench_numbers tests/test_bench_numbers.cpp)

if(NOT ONF_BUILD_BENCH)
    return()
endif()
find_package(benchmark REQUIRED)

# The model, its best-case writer and parser: shared by the generator and the benchmarks.
add_library(onf_bench_model STATIC bench/bench_model.cpp)
target_link_libraries(onf_bench_model PUBLIC BrelonOnfEngine)
target_include_directories(onf_bench_model PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/bench)

add_executable(onf_generate_model bench/generate_model.cpp)
target_link_libraries(onf_generate_model PRIVATE onf_bench_model)

# The bare parser as a program, timed from outside next to `onf` (bench/README.md).
add_executable(onf_bare_parse bench/bare_parse.cpp)
target_link_libraries(onf_bare_parse PRIVATE onf_bench_model)

# Engine benchmarks join by adding their source here.
add_executable(onf_benchmarks bench/bench_common.cpp bench/baselines.cpp bench/engine.cpp
                              bench/limits.cpp)
target_link_libraries(onf_benchmarks PRIVATE onf_bench_model benchmark::benchmark)

# The yardsticks' own test: writer and parser must agree with each other and with the grammar.
onf_add_test(test_bench_model tests/test_bench_model.cpp)
if(TARGET test_bench_model)
    target_link_libraries(test_bench_model PRIVATE onf_bench_model)
endif()
