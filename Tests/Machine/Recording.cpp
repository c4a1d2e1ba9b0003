#include "Machine/Recording.hpp"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace quenstal {
namespace {

constexpr std::streamoff headerBytes = 44;
/// Of both channels, at 48 kHz.
constexpr int stretch = 4800;

} // namespace

Recording::Recording(Emulator& emulator, const std::string& backEnd)
    : emulator_(emulator)
    , file_("/out/" + backEnd + ".wav")
    , heard_(headerBytes)
{
    emulator_.record(backEnd, backEnd + ".wav");
}

Recording::~Recording()
{
    emulator_.stopRecording();
}

bool Recording::isHeard(int size)
{
    if (size != std::exchange(expected_, size))
        length_ = 0;
    std::ifstream file(file_, std::ios::binary);
    file.seekg(heard_);
    for (std::int16_t sample = 0; file.read(reinterpret_cast<char*>(&sample), sizeof sample);) {
        heard_ += std::streamoff(sizeof sample);
        length_ = std::abs(std::abs(int(sample)) - size) <= 1 ? length_ + 1 : 0;
        if (length_ >= stretch)
            return true;
    }
    return false;
}

} // namespace quenstal
