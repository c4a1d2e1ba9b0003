# Fuzz targets exist in the preset `fuzz` only (clang, libFuzzer, address and undefined behaviour sanitizers).
# As suites they make a short run that is the same every time; tools/run_fuzzer.py also runs them for longer.

quenstal_label_target(fuzz)

if(QUENSTAL_FUZZERS)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_FLAGS -fsanitize=fuzzer)
    check_cxx_source_compiles(
        "#include <cstddef>\n#include <cstdint>
        extern \"C\" int LLVMFuzzerTestOneInput(const std::uint8_t*, std::size_t) { return 0; }"
        QUENSTAL_FUZZER_RUNTIME)
    unset(CMAKE_REQUIRED_FLAGS)
endif()

# quenstal_fuzzer(fuzz_models LABEL fuzz SOURCES Models.cpp DEPENDS QuenstalCore CORPUS Corpus/Models RUNS 20000)
#
# The corpus, a folder beside the caller, is only read. RUNS bounds the suite's run.
function(quenstal_fuzzer name)
    cmake_parse_arguments(FUZZER "" "LABEL;CORPUS;RUNS" "SOURCES;DEPENDS" ${ARGN})
    if(NOT QUENSTAL_FUZZERS)
        return()
    endif()
    if(NOT FUZZER_RUNS)
        set(FUZZER_RUNS 20000)
    endif()
    set(command python3 ${PROJECT_SOURCE_DIR}/tools/run_fuzzer.py --runs ${FUZZER_RUNS})
    if(FUZZER_CORPUS)
        list(APPEND command --corpus ${CMAKE_CURRENT_SOURCE_DIR}/${FUZZER_CORPUS})
    endif()
    if(QUENSTAL_FUZZER_RUNTIME)
        add_executable(${name} ${FUZZER_SOURCES})
        target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
        target_link_libraries(${name} PRIVATE quenstal_options ${FUZZER_DEPENDS})
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        quenstal_label_target("${FUZZER_LABEL}" ${name})
        add_test(NAME ${name} COMMAND ${command} $<TARGET_FILE:${name}>)
    else()
        quenstal_label_target("${FUZZER_LABEL}")
        add_test(NAME ${name} COMMAND ${command} --skip "clang's fuzzer runtime is missing (libclang-rt-14-dev)")
    endif()
    quenstal_suite_properties(${name} "${FUZZER_LABEL}" "")
endfunction()
