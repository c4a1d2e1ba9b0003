#pragma once

// What the procedure asks of a kernel. Every kernel gives the same bits as the scalar reference: output, filter
// state, meters, clip flag. Audio thread.

#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

#include <cstddef>

#include <span>

namespace quenstal {

/// The settings that hold for a whole cycle, and what the cycle has measured so far.
struct QSCycle {
    float gain = 0;
    bool eqEnabled = false;
    float preampGain = 0;

    float peakL = 0;
    float peakR = 0;
    bool clipped = false;
};

/// The samples of one buffer, in one of the four formats.
struct QSSampleRun {
    /// Holds `count` samples. Either the same memory as `output` or apart from it.
    const std::byte* input = nullptr;
    std::byte* output = nullptr;
    std::size_t count = 0;
    QSSampleFormat format = QSSampleFormat::float32;
    /// Sample j belongs to channel `firstChannel + j % channels`.
    std::uint32_t channels = 1;
    std::uint32_t firstChannel = 0;
};

struct QSSignalKernels {
    const char* name;
    void (*process)(QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run);
    /// Two neighbouring channels, each in a buffer of its own and apart from the other's: both below channel 8, of one
    /// length and format.
    void (*processPair)(
        QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& left, const QSSampleRun& right);
};

/// The scalar form.
extern const QSSignalKernels referenceKernels;

/// Every set that this machine can run, slowest first; the reference leads.
std::span<const QSSignalKernels* const> availableKernels();

/// The last of them.
const QSSignalKernels& fastestKernels();

} // namespace quenstal
