# The part of the signal processing that differs between processors.

if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    set(machine X86)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(machine Aarch64)
else()
    message(FATAL_ERROR "No signal processing for ${CMAKE_SYSTEM_PROCESSOR}")
endif()

target_sources(QuenstalDDC PRIVATE
    SoftwareVolumeTap/${machine}/FloatingPointMode.cpp
    SoftwareVolumeTap/${machine}/Kernels.cpp)

# Every kernel gives the bits of the reference, and those depend on each product being rounded: no fused
# multiply-add. Optimised in a debug build too, whose tests push millions of samples.
set(bit_exact
    SoftwareVolumeTap/Reference.cpp
    SoftwareVolumeTap/Settings.cpp)
set_source_files_properties(${bit_exact} PROPERTIES COMPILE_OPTIONS "-O2;-ffp-contract=off")
