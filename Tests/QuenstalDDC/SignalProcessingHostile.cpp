#include "QuenstalDDC/SignalProcessingHostile.hpp"

#include "QuenstalDDC/SoftwareVolumeTap.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace quenstal::testing_support {

namespace {

/// Hands out the bytes from the front; zeros when they are used up.
class Script {
public:
    explicit Script(std::span<const std::uint8_t> bytes)
        : bytes_(bytes)
    {
    }

    std::uint8_t byte()
    {
        if (bytes_.empty())
            return 0;
        const std::uint8_t first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }

    std::uint32_t below(std::uint32_t limit) { return byte() % limit; }
    bool oneIn(std::uint32_t count) { return below(count) == 0; }

    float anyFloat()
    {
        std::uint32_t bits = 0;
        for (int i = 0; i < 4; ++i)
            bits = bits << 8 | byte();
        return std::bit_cast<float>(bits);
    }

    /// What is left, over and over.
    void fill(std::span<std::byte> place)
    {
        for (std::size_t i = 0; i < place.size(); ++i)
            place[i] = std::byte{bytes_.empty() ? std::uint8_t{0} : bytes_[i % bytes_.size()]};
    }

private:
    std::span<const std::uint8_t> bytes_;
};

constexpr std::size_t outputSpace = 4096;
constexpr std::uint32_t largestBuffer = 1400;

/// Memory with the buffers of both lists in it. Where they lie is part of the script: apart, on top of one another,
/// the input's upon the output's.
class Memory {
public:
    explicit Memory(Script& script)
        : usualSize_(script.byte() * 4u)
        , bytes_(2 * outputSpace)
    {
        script.fill(bytes_);
        for (auto* list : {&input_, &output_}) {
            const std::uint32_t count = script.below(12);
            for (std::uint32_t i = 0; i < count; ++i)
                list->push_back(describe(script, list == &output_));
        }
    }

    struct Extent {
        AudioBuffer buffer;
        std::size_t offset;
    };

    /// The lists as the procedure takes them, pointing into this memory.
    std::vector<AudioBuffer> inputs() { return located(input_); }
    std::vector<AudioBuffer> outputs() { return located(output_); }

    const std::vector<std::byte>& bytes() const { return bytes_; }
    const std::vector<Extent>& outputExtents() const { return output_; }

    /// Whether the procedure may write there.
    bool isOutput(std::size_t offset) const
    {
        return std::ranges::any_of(output_, [&](const Extent& extent) {
            return extent.buffer.data && offset >= extent.offset && offset < extent.offset + extent.buffer.dataByteSize;
        });
    }

private:
    Extent describe(Script& script, bool isOutput)
    {
        Extent extent{};
        extent.buffer.numberChannels = script.below(65);
        extent.buffer.dataByteSize = sizeFrom(script);
        extent.offset = (script.oneIn(3) ? 0 : script.byte() * 10u) + (isOutput || script.oneIn(4) ? 0 : outputSpace);
        // Any pointer but null stands for memory; it is put in its place later.
        extent.buffer.data = script.oneIn(10) ? nullptr : this;
        return extent;
    }

    /// Half of all buffers are alike, as buffers are; the others are of any size.
    std::uint32_t sizeFrom(Script& script) const
    {
        if (script.oneIn(2))
            return usualSize_;
        return script.oneIn(4) ? script.below(9) : (script.byte() * 6u + script.below(8)) % largestBuffer;
    }

    std::vector<AudioBuffer> located(const std::vector<Extent>& extents)
    {
        std::vector<AudioBuffer> buffers;
        for (const Extent& extent : extents) {
            buffers.push_back(extent.buffer);
            if (extent.buffer.data)
                buffers.back().data = bytes_.data() + extent.offset;
        }
        return buffers;
    }

    std::uint32_t usualSize_;
    std::vector<std::byte> bytes_;
    std::vector<Extent> input_;
    std::vector<Extent> output_;
};

QSSoftwareVolumeSession sessionFrom(Script& script)
{
    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, script.anyFloat());
    if (script.oneIn(2))
        QSSoftwareVolumeSessionSetGain(&session, 0.8f);
    session.sampleFormat = script.below(6);
    session.nonInterleaved = script.oneIn(2);
    session.channelCount = script.below(70);
    QSSoftwareEQProfile profile{
        .enabled = script.oneIn(2), .preampDB = script.anyFloat(), .bandCount = script.below(9)};
    for (QSSoftwareEQBand& band : profile.bands)
        band = {script.oneIn(2) ? script.anyFloat() : 1000.0f, script.oneIn(2) ? script.anyFloat() : 3.0f};
    QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
    if (script.oneIn(4))
        QSSoftwareVolumeSessionSetSampleRate(&session, static_cast<double>(script.anyFloat()));
    return session;
}

template <class Format>
bool allWithinOne(const AudioBuffer& buffer)
{
    using Sample = typename Format::Sample;
    const auto* bytes = static_cast<const std::byte*>(buffer.data);
    for (std::size_t i = 0; i < buffer.dataByteSize / sizeof(Sample); ++i) {
        // The one integer below −1 is the lowest; decoding it is what tells it apart.
        if (!(std::fabs(decodeAt<Format>(bytes, i)) <= 1))
            return false;
    }
    return true;
}

bool isLevel(float value)
{
    return value >= 0 && value <= 1;
}

/// Outputs that overlap were processed more than once, as samples of different places: their bytes are anything.
bool overlapsAnother(const Memory& memory, std::size_t index)
{
    const auto& extents = memory.outputExtents();
    for (std::size_t i = 0; i < extents.size(); ++i) {
        const bool apart = extents[i].offset + extents[i].buffer.dataByteSize <= extents[index].offset
            || extents[index].offset + extents[index].buffer.dataByteSize <= extents[i].offset;
        if (i != index && !apart)
            return true;
    }
    return false;
}

std::string faultOfOutputs(const QSSoftwareVolumeSession& session, Memory& memory, std::size_t inputs)
{
    const std::vector<AudioBuffer> outputs = memory.outputs();
    const std::vector<AudioBuffer> sources = memory.inputs();
    for (std::size_t i = 0; i < std::min(outputs.size(), inputs); ++i) {
        const bool skipped = !outputs[i].data || !sources[i].data || sources[i].dataByteSize == 0;
        if (skipped || overlapsAnother(memory, i))
            continue;
        bool within = true;
        if (session.sampleFormat >= 1 && session.sampleFormat <= 4) {
            withFormat(static_cast<QSSampleFormat>(session.sampleFormat),
                [&](auto format) { within = allWithinOne<decltype(format)>(outputs[i]); });
        }
        if (!within)
            return "a sample of output " + std::to_string(i) + " is outside [-1, 1]";
    }
    if (!isLevel(session.levelL) || !isLevel(session.levelR) || !isLevel(session.peakL) || !isLevel(session.peakR))
        return "a meter is outside [0, 1]";
    return session.clipHoldFrames < 0 ? "the clip hold is negative" : "";
}

std::string faultOfCycles(QSSoftwareVolumeSession& session, Memory& memory)
{
    constexpr int cycles = 3;
    const std::vector<std::byte> before = memory.bytes();
    std::vector<AudioBuffer> inputs = memory.inputs();
    std::vector<AudioBuffer> outputs = memory.outputs();
    const AudioBufferList input{static_cast<std::uint32_t>(inputs.size()), inputs.data()};
    AudioBufferList output{static_cast<std::uint32_t>(outputs.size()), outputs.data()};
    for (int i = 0; i < cycles; ++i)
        QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (memory.bytes()[i] != before[i] && !memory.isOutput(i))
            return "a byte outside the outputs was written";
    }
    return faultOfOutputs(session, memory, inputs.size());
}

} // namespace

std::string faultOfCycles(std::span<const std::uint8_t> bytes)
{
    Script script(bytes);
    const QSSoftwareVolumeSession session = sessionFrom(script);
    const Memory memory(script);
    std::vector<std::byte> expected;
    for (const QSSignalKernels* kernels : availableKernels()) {
        QSSoftwareVolumeSession own = session;
        own.kernels = kernels;
        Memory ownMemory = memory;
        if (const std::string fault = faultOfCycles(own, ownMemory); !fault.empty())
            return std::string(kernels->name) + ": " + fault;
        if (expected.empty())
            expected = ownMemory.bytes();
        if (ownMemory.bytes() != expected)
            return std::string(kernels->name) + ": not the reference's output";
    }
    return {};
}

} // namespace quenstal::testing_support
