#include "AudioSessionTest.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <unistd.h>

namespace quenstal {

namespace {

constexpr const char* outputs[]
    = {"monitor", "monitor2", "socket", "surround", "usb", "builtin", "theatre", "talkative", "endless"};

} // namespace

void AudioSessionTest::SetUp()
{
    if (!std::getenv("QUENSTAL_AUDIO_SESSION"))
        GTEST_SKIP() << "no private audio session";
    parts = std::make_unique<Parts>(loop);
}

void AudioSessionTest::TearDown()
{
    parts.reset();
    if (!std::getenv("QUENSTAL_AUDIO_SESSION"))
        return;
    for (const char* const output : outputs)
        session(std::string("unplug ") + output);
}

std::string AudioSessionTest::outputOf(const std::string& command)
{
    constexpr auto limit = std::chrono::seconds(60);
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    bool hasEnded = false;
    const auto watch = loop.watchReadable(fileno(pipe), [&] {
        std::array<char, 4096> piece{};
        const auto bytes = read(fileno(pipe), piece.data(), piece.size());
        hasEnded = bytes <= 0;
        text.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)));
    });
    EXPECT_TRUE(loop.runUntil([&] { return hasEnded; }, limit)) << command;
    EXPECT_EQ(pclose(pipe), 0) << command;
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

void AudioSessionTest::session(const std::string& command)
{
    outputOf(std::string(AUDIO_SESSION_SCRIPT) + ' ' + command);
}

AudioOutputDevice AudioSessionTest::plugInDefault(const std::string& name, const std::string& uid)
{
    session("plug " + name);
    EXPECT_TRUE(waitForDefault(uid));
    return defaultOutput().value_or(AudioOutputDevice{});
}

bool AudioSessionTest::waitForDefault(const std::string& uid)
{
    return loop.runUntil([&] {
        const auto device = defaultOutput();
        return device && device->coreAudioUID == uid;
    });
}

bool AudioSessionTest::waitForCycles()
{
    const auto before = parts->taps.cycles();
    return loop.runUntil([&] { return parts->taps.cycles() > before + 1; });
}

bool AudioSessionTest::waitForSound(ProbeRecorder& recorder, float gain)
{
    return recorder.waitFor([gain](float sample) { return sample != 0 && countOf(sample / gain).has_value(); });
}

bool AudioSessionTest::waitForSilence(ProbeRecorder& recorder)
{
    return loop.runUntil([&] {
        const auto heard = recorder.take(4000);
        return !heard[0].empty() && std::ranges::all_of(heard[0], [](float sample) { return sample == 0; });
    });
}

pid_t AudioSessionTest::startHolder(const char* level, const char* uid)
{
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl(AUDIO_SESSION_HOLDER, AUDIO_SESSION_HOLDER, uid, level, nullptr);
        _exit(127);
    }
    close(ends[1]);
    ssize_t bytes = -1;
    std::string text(7, '\0');
    auto watch = loop.watchReadable(ends[0], [&] { bytes = read(ends[0], text.data(), text.size()); });
    EXPECT_TRUE(loop.runUntil([&] { return bytes >= 0; }));
    EXPECT_EQ(text, "running");
    watch.reset();
    close(ends[0]);
    return child;
}

pid_t AudioSessionTest::processOf(const char* part)
{
    std::ifstream file(std::string(std::getenv("QUENSTAL_AUDIO_SESSION")) + "/" + part + ".pid");
    pid_t process = -1;
    file >> process;
    return file ? process : -1;
}

std::string AudioSessionTest::errorOf(const std::function<void()>& command)
{
    try {
        command();
        return {};
    } catch (const QuenstalError& error) {
        return error.what();
    }
}

} // namespace quenstal
