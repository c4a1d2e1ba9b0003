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
quenstal_suite(dsp_threads
    LABEL dsp
    SOURCES SignalProcessingThreadsTests.cpp
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
    set(fused SignalProcessingFused.cpp)
    set_source_files_properties(${fused} PROPERTIES
        COMPILE_OPTIONS "-O3;-mavx2;-mfma;-ffp-contract=fast;-Wno-psabi")
else()
    set(fused SignalProcessingNotFused.cpp)
endif()
quenstal_suite(dsp_kernels
    LABEL dsp
    SOURCES SignalProcessingKernelTests.cpp SignalProcessingComparison.cpp ${fused}
    DEPENDS QuenstalDDC)

# The same kernels on an emulated Arm processor, built by the cross compiler in a tree of its own.
quenstal_script_suite(dsp_aarch64 LABEL dsp TIMEOUT 300
    COMMAND python3 Tests/QuenstalDDC/Aarch64/run.py --tree ${PROJECT_BINARY_DIR}/aarch64)
