quenstal_suite(dsp_settings
    LABEL dsp
    SOURCES SignalProcessingSettingsTests.cpp
    DEPENDS QuenstalDDC)
quenstal_suite(dsp_procedure
    LABEL dsp
    SOURCES SignalProcessingProcedureTests.cpp
    DEPENDS QuenstalDDC)
quenstal_suite(dsp_floating_point
    LABEL dsp
    SOURCES SignalProcessingFloatingPointTests.cpp
    DEPENDS QuenstalDDC)
quenstal_suite(dsp_response
    LABEL dsp
    SOURCES SignalProcessingResponseTests.cpp SignalProcessingResponse.cpp
    DEPENDS QuenstalDDC)
quenstal_suite(dsp_threads
    LABEL dsp
    SOURCES SignalProcessingThreadsTests.cpp
    DEPENDS QuenstalDDC)
quenstal_suite(dsp_hostile_input
    LABEL dsp
    SOURCES SignalProcessingHostileTests.cpp SignalProcessingHostile.cpp
    DEPENDS QuenstalDDC)
quenstal_fuzzer(fuzz_signal_processing
    LABEL fuzz
    SOURCES SignalProcessingFuzzer.cpp SignalProcessingHostile.cpp
    DEPENDS QuenstalDDC)

# Sanitizers allocate, call and fault on their own account.
if(NOT QUENSTAL_SANITIZERS)
    quenstal_suite(dsp_real_time
        LABEL dsp
        SOURCES SignalProcessingRealTimeTests.cpp
        DEPENDS QuenstalDDC)
endif()

# One source is compiled as the kernels must not be, to see that the comparison finds it.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_library(dsp_fused OBJECT SignalProcessingFused.cpp)
    target_compile_options(dsp_fused PRIVATE -O3 -mavx2 -mfma -ffp-contract=fast -Wno-psabi)
    set(must_be_fused --fused $<TARGET_OBJECTS:dsp_fused>)
else()
    add_library(dsp_fused OBJECT SignalProcessingNotFused.cpp)
endif()
target_include_directories(dsp_fused PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
target_link_libraries(dsp_fused PRIVATE quenstal_options QuenstalDDC)
quenstal_suite(dsp_kernels
    LABEL dsp
    TIMEOUT 600
    SOURCES SignalProcessingKernelTests.cpp SignalProcessingComparison.cpp
    DEPENDS QuenstalDDC dsp_fused)
quenstal_script_suite(dsp_no_fma LABEL dsp DEPENDS QuenstalDDC dsp_fused
    COMMAND python3 tools/check_no_fma.py ${must_be_fused} $<TARGET_FILE:QuenstalDDC>)

# The same kernels on an emulated Arm processor, built by the cross compiler in a tree of its own.
quenstal_script_suite(dsp_aarch64 LABEL dsp TIMEOUT 300
    COMMAND python3 Tests/QuenstalDDC/Aarch64/run.py --tree ${PROJECT_BINARY_DIR}/aarch64)
