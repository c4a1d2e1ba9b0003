# A suite is one entry of CTest with one label. Its output ends with a closing line
# "N passed, N failed[, N skipped]", from which ./test makes the sum.

find_package(GTest REQUIRED)

# quenstal_suite(core_models LABEL core SOURCES A.cpp DEPENDS QuenstalCore)
function(quenstal_suite name)
    cmake_parse_arguments(SUITE "" "LABEL;TIMEOUT" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${SUITE_SOURCES} ${PROJECT_SOURCE_DIR}/Tests/Support/SuiteMain.cpp)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
    target_link_libraries(${name} PRIVATE quenstal_options ${SUITE_DEPENDS} GTest::gmock)
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    quenstal_suite_properties(${name} "${SUITE_LABEL}" "${SUITE_TIMEOUT}")
endfunction()

# quenstal_script_suite(ground_includes LABEL core COMMAND python3 tools/check_includes.py)
function(quenstal_script_suite name)
    cmake_parse_arguments(SUITE "" "LABEL;TIMEOUT" "COMMAND" ${ARGN})
    add_test(NAME ${name} COMMAND ${SUITE_COMMAND} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    quenstal_suite_properties(${name} "${SUITE_LABEL}" "${SUITE_TIMEOUT}")
endfunction()

function(quenstal_suite_properties name label timeout)
    if(NOT timeout)
        set(timeout 120)
    endif()
    set_tests_properties(${name} PROPERTIES LABELS "${label}" TIMEOUT ${timeout})
endfunction()
