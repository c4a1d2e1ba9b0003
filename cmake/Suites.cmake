# A suite is one entry of CTest with one label or more. Its output ends with a closing line "N passed, N failed[,
# N skipped]", from which ./test makes the sum. The target suites_LABEL builds what the suites with that label need. A
# tree for fuzzing has no suites but the fuzz targets.

if(NOT QUENSTAL_FUZZERS)
    find_package(GTest REQUIRED)
    add_library(quenstal_suite_main STATIC ${PROJECT_SOURCE_DIR}/Tests/Support/SuiteMain.cpp)
    target_link_libraries(quenstal_suite_main PUBLIC GTest::gmock PRIVATE quenstal_options)
endif()

# quenstal_suite(core_models LABEL core SOURCES A.cpp DEPENDS QuenstalCore DEFINITIONS NAME=value)
function(quenstal_suite name)
    cmake_parse_arguments(SUITE "" "TIMEOUT" "LABEL;SOURCES;DEPENDS;DEFINITIONS" ${ARGN})
    if(QUENSTAL_FUZZERS)
        return()
    endif()
    add_executable(${name} ${SUITE_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
    target_compile_definitions(${name} PRIVATE ${SUITE_DEFINITIONS})
    target_link_libraries(${name} PRIVATE quenstal_options ${SUITE_DEPENDS} quenstal_suite_main)
    quenstal_label_target("${SUITE_LABEL}" ${name})
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    quenstal_suite_properties(${name} "${SUITE_LABEL}" "${SUITE_TIMEOUT}")
endfunction()

# quenstal_script_suite(ground_includes LABEL core COMMAND python3 tools/check_includes.py DEPENDS target)
#
# DEPENDS names the targets that must be built before the script can run. ALONE keeps other suites from running beside
# one that looks at times.
function(quenstal_script_suite name)
    cmake_parse_arguments(SUITE "ALONE" "TIMEOUT" "LABEL;COMMAND;DEPENDS" ${ARGN})
    if(QUENSTAL_FUZZERS)
        return()
    endif()
    quenstal_label_target("${SUITE_LABEL}" ${SUITE_DEPENDS})
    add_test(NAME ${name} COMMAND ${SUITE_COMMAND} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_tests_properties(${name} PROPERTIES RUN_SERIAL ${SUITE_ALONE})
    quenstal_suite_properties(${name} "${SUITE_LABEL}" "${SUITE_TIMEOUT}")
endfunction()

function(quenstal_suite_properties name labels timeout)
    if(NOT timeout)
        set(timeout 120)
    endif()
    set_tests_properties(${name} PROPERTIES LABELS "${labels}" TIMEOUT ${timeout})
endfunction()

# Makes suites_LABEL, for each of the labels, build the targets too.
function(quenstal_label_target labels)
    foreach(label IN LISTS labels)
        if(NOT TARGET suites_${label})
            add_custom_target(suites_${label})
        endif()
        if(ARGN)
            add_dependencies(suites_${label} ${ARGN})
        endif()
    endforeach()
endfunction()
