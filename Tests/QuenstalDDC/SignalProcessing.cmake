quenstal_suite(dsp_settings LABEL dsp SOURCES SignalProcessingSettingsTests.cpp DEPENDS QuenstalDDC)
    quenstal_suite(dsp_procedure LABEL dsp SOURCES SignalProcessingProcedureTests.cpp DEPENDS QuenstalDDC)
        quenstal_suite(dsp_kernels LABEL dsp SOURCES SignalProcessingKernelTests.cpp DEPENDS QuenstalDDC)
