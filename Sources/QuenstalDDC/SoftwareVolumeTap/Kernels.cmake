# The part of the signal processing that differs between processors.

if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    set(machine X86)
    set(instruction_sets Sse2 Avx2 Avx512)
    set(Avx2_flags -mavx2)
    set(Avx512_flags -mavx512f -mavx512vl -mavx512dq -mavx512bw)
    # These processors put instructions in order by themselves, as their operands come; g++'s order, made for none in
    # particular, costs one to four per cent. And the vectors are made by hand: where g++ gathers neighbouring fields
    # into one load right after each was stored, the load waits for the stores to be done, a short block's twentieth.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set(as_written -fno-schedule-insns2 -fno-tree-slp-vectorize)
    endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(machine Aarch64)
    set(instruction_sets Neon)
else()
    message(FATAL_ERROR "No signal processing for ${CMAKE_SYSTEM_PROCESSOR}")
endif()

# Every kernel gives the bits of the reference, and those depend on each product being rounded: no fused
# multiply-add. Optimised in a debug build too, whose tests push millions of samples.
set(bit_exact -ffp-contract=off -O3)
# Vectors wider than a register are passed between inlined functions only; how they would be passed else is no matter.
set(vectors -Wno-psabi)

# An audio thread's stack may be small. Sanitizers and builds that are not optimised need more.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT QUENSTAL_SANITIZERS)
    set(stack_limit -Wstack-usage=12288)
endif()

target_sources(QuenstalDDC PRIVATE
    SoftwareVolumeTap/PackedCoefficients.cpp
    SoftwareVolumeTap/${machine}/FloatingPointMode.cpp
    SoftwareVolumeTap/${machine}/Kernels.cpp)
set_source_files_properties(SoftwareVolumeTap/PackedCoefficients.cpp SoftwareVolumeTap/Procedure.cpp
    PROPERTIES COMPILE_OPTIONS "-O2;${stack_limit}")
set_source_files_properties(SoftwareVolumeTap/Reference.cpp SoftwareVolumeTap/Settings.cpp
    PROPERTIES COMPILE_OPTIONS "-ffp-contract=off;-O2;${stack_limit}")

foreach(set IN LISTS instruction_sets)
    target_sources(QuenstalDDC PRIVATE SoftwareVolumeTap/${machine}/${set}.cpp)
    set_source_files_properties(SoftwareVolumeTap/${machine}/${set}.cpp
        PROPERTIES COMPILE_OPTIONS "${bit_exact};${as_written};${vectors};${stack_limit};${${set}_flags}")
endforeach()
