# The language, the warnings and the instrumentation, for every target, in this one place.

set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)

option(QUENSTAL_WERROR "Warnings stop the build" ON)
option(QUENSTAL_COVERAGE "Count executed lines with gcov" OFF)
option(QUENSTAL_FUZZERS "Build the fuzz targets (needs clang)" OFF)
set(QUENSTAL_SANITIZERS "" CACHE STRING "Value of -fsanitize for every target")

add_library(quenstal_options INTERFACE)
target_compile_options(quenstal_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor;-Woverloaded-virtual>
    -Wcast-align -Wnull-dereference -Wformat=2
    # A constructor's parameter may carry the name of the field it sets.
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
    # When g++ optimises, its flow analysis sees overlapping copies, endless reads and null pointers in the libraries'
    # inlined code.
    "$<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-restrict;-Wno-stringop-overread;-Wno-null-dereference>"
    $<$<BOOL:${QUENSTAL_WERROR}>:-Werror>)

# What is installed holds its tables of addresses read-only, and the C library checks lengths that it can know. It
# costs 1 ms at the start. The sanitizers look at the same calls themselves.
if(NOT QUENSTAL_SANITIZERS)
    target_compile_options(quenstal_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    target_link_options(quenstal_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wl,-z,relro,-z,now>)
endif()

if(QUENSTAL_SANITIZERS)
    # The sanitizers' own instrumentation makes the flow analysis of this warning see ghosts.
    target_compile_options(quenstal_options INTERFACE -Wno-null-dereference
        -fsanitize=${QUENSTAL_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(quenstal_options INTERFACE -fsanitize=${QUENSTAL_SANITIZERS})
endif()

if(QUENSTAL_FUZZERS)
    # libFuzzer needs to see the branches of every room, not only of the fuzz target.
    target_compile_options(quenstal_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(QUENSTAL_COVERAGE)
    target_compile_options(quenstal_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(quenstal_options INTERFACE --coverage)
endif()

find_program(QUENSTAL_CCACHE ccache)
if(QUENSTAL_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${QUENSTAL_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${QUENSTAL_CCACHE})
endif()
