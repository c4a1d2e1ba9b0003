# Benchmarks are built with everything else, so that they cannot rot, and run by ./bench only.

find_package(benchmark REQUIRED)
add_custom_target(benchmarks)

# quenstal_benchmark(core_benchmark SOURCES Controller.cpp DEPENDS QuenstalCore)
#
# The program lands in benchmarks/ of the build tree. Its main is Google Benchmark's unless a source brings one.
function(quenstal_benchmark name)
    cmake_parse_arguments(BENCHMARK "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${BENCHMARK_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/benchmarks)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
    target_link_libraries(${name} PRIVATE quenstal_options ${BENCHMARK_DEPENDS} benchmark::benchmark_main)
    add_dependencies(benchmarks ${name})
endfunction()

# quenstal_script_benchmark(audio COMMAND python3 path.py DEPENDS target...)
#
# For what no program measures from within. ./bench finds it under the same name at the same place.
function(quenstal_script_benchmark name)
    cmake_parse_arguments(BENCHMARK "" "" "COMMAND;DEPENDS" ${ARGN})
    add_custom_target(${name} DEPENDS ${BENCHMARK_DEPENDS})
    list(JOIN BENCHMARK_COMMAND "' '" command)
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/benchmarks/${name}
        CONTENT "#!/bin/sh\nexec '${command}' \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    add_dependencies(benchmarks ${name})
endfunction()

# The names that ./bench may run, one a line.
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/benchmarks.txt
    CONTENT "$<JOIN:$<TARGET_PROPERTY:benchmarks,MANUALLY_ADDED_DEPENDENCIES>,\n>\n")
