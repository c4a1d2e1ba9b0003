#include "QuenstalDDC/SoftwareVolumeTap/Session.hpp"

#include "QuenstalDDC/SoftwareVolumeTap/RandomUUID.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SignalProcessing.hpp"

#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

namespace quenstal {

namespace {

/// Where the message of a failing step goes; every failure is false.
struct ErrorText {
    ErrorText(char* buffer, std::size_t size)
        : buffer(buffer)
        , size(size)
    {
    }
    char* const buffer;
    const std::size_t size;

    bool is(const char* message) const
    {
        QSSetError(buffer, size, message);
        return false;
    }
    bool is(const char* stage, PlatformStatus status) const
    {
        QSSetStatusError(buffer, size, stage, status);
        return false;
    }
};

ProcessTapDescription tapDescription(const AudioTaps& taps, const char* deviceUID)
{
    ProcessTapDescription description{
        .excludedProcesses = {},
        .deviceUID = deviceUID,
        .stream = 0,
        .name = softwareVolumeName,
        .isPrivate = true,
        .muteBehavior = TapMuteBehavior::mutedWhenTapped,
        .mixdown = false,
        .mono = false,
    };
    AudioObjectID ownProcess = 0;
    if (taps.translateProcessID(getpid(), ownProcess) == 0 && ownProcess != 0)
        description.excludedProcesses.push_back(ownProcess);
    return description;
}

AggregateDeviceDescription aggregateDescription(const std::string& deviceUID, const std::string& tapUID)
{
    using Key = AggregateDeviceKey;
    return {
        {Key::name, std::string(softwareVolumeName)},
        {Key::uid, "app.quenstal.software." + randomUUID()},
        {Key::isPrivate, true},
        {Key::isStacked, false},
        {Key::subdevices, std::vector<AggregateMember>{{{Key::memberUID, deviceUID}}}},
        {Key::main, deviceUID},
        {Key::clock, deviceUID},
        {Key::taps, std::vector<AggregateMember>{{{Key::memberUID, tapUID}, {Key::driftCompensation, true}}}},
        {Key::tapAutoStart, true},
    };
}

bool createTap(AudioTaps& taps, QSSoftwareVolumeSession& session, const char* deviceUID, const ErrorText& error)
{
    const PlatformStatus status = taps.createProcessTap(tapDescription(taps, deviceUID), session.tapID);
    if (status == 0)
        return true;
    session.tapID = 0;
    const std::string message = "Core Audio process tap creation failed with status " + std::to_string(status)
        + ". Grant system audio recording access to Quenstal in System Settings, then relaunch.";
    return error.is(message.c_str());
}

bool readTapUID(
    const AudioTaps& taps, const QSSoftwareVolumeSession& session, std::string& tapUID, const ErrorText& error)
{
    std::optional<std::string> uid;
    const PlatformStatus status = taps.tapUID(session.tapID, uid);
    if (status != 0 || !uid)
        return error.is("Core Audio string property read", status);
    tapUID = *uid;
    return true;
}

bool takeTapFormat(const AudioTaps& taps, QSSoftwareVolumeSession& session, const ErrorText& error)
{
    AudioStreamBasicDescription format;
    const PlatformStatus status = taps.tapFormat(session.tapID, format);
    if (status != 0)
        return error.is("Core Audio stream format read", status);
    if (!QSResolveSampleFormat(format, &session.sampleFormat, error.buffer, error.size))
        return false;
    session.channelCount = format.channelsPerFrame == 0 ? 2 : format.channelsPerFrame;
    session.nonInterleaved = (format.formatFlags & AudioFormatFlag::isNonInterleaved) != 0;
    QSSoftwareVolumeSessionSetSampleRate(&session, format.sampleRate);
    return true;
}

bool createAggregateDevice(AudioTaps& taps, QSSoftwareVolumeSession& session, const std::string& deviceUID,
    const std::string& tapUID, const ErrorText& error)
{
    const PlatformStatus status
        = taps.createAggregateDevice(aggregateDescription(deviceUID, tapUID), session.aggregateDeviceID);
    if (status == 0)
        return true;
    session.aggregateDeviceID = 0;
    return error.is("Core Audio aggregate device creation", status);
}

bool createIOProc(AudioTaps& taps, QSSoftwareVolumeSession& session, const ErrorText& error)
{
    const PlatformStatus status
        = taps.createIOProcID(session.aggregateDeviceID, QSSoftwareVolumeIOProc, &session, session.ioProcID);
    if (status == 0 && session.ioProcID != nullptr)
        return true;
    session.ioProcID = nullptr;
    return error.is("Core Audio IO callback creation", status);
}

bool start(AudioTaps& taps, const QSSoftwareVolumeSession& session, const ErrorText& error)
{
    const PlatformStatus status = taps.startDevice(session.aggregateDeviceID, session.ioProcID);
    return status == 0 || error.is("Core Audio software volume start", status);
}

bool build(AudioTaps& taps, QSSoftwareVolumeSession& session, const char* deviceUID, const ErrorText& error)
{
    std::string tapUID;
    return createTap(taps, session, deviceUID, error) && readTapUID(taps, session, tapUID, error)
        && takeTapFormat(taps, session, error) && createAggregateDevice(taps, session, deviceUID, tapUID, error)
        && createIOProc(taps, session, error) && start(taps, session, error);
}

} // namespace

bool QSSoftwareVolumeSessionCreate(AudioTaps& taps, const char* deviceUID, QSSoftwareVolumeSession** session,
    char* errorBuffer, std::size_t errorBufferSize, float initialGain)
{
    const ErrorText error(errorBuffer, errorBufferSize);
    if (session == nullptr)
        return error.is("No software volume session output pointer was supplied.");
    *session = nullptr;
    if (deviceUID == nullptr || *deviceUID == '\0')
        return error.is("Core Audio device UID is missing.");
    auto* const created = new (std::nothrow) QSSoftwareVolumeSession();
    if (created == nullptr)
        return error.is("Could not allocate a software volume session.");

    QSSoftwareVolumeSessionPrepare(*created, initialGain);
    if (!build(taps, *created, deviceUID, error)) {
        QSSoftwareVolumeSessionDestroy(taps, created);
        return false;
    }
    *session = created;
    return true;
}

void QSSoftwareVolumeSessionDestroy(AudioTaps& taps, QSSoftwareVolumeSession* session)
{
    if (session == nullptr)
        return;
    if (session->ioProcID != nullptr && session->aggregateDeviceID != 0) {
        taps.stopDevice(session->aggregateDeviceID, session->ioProcID);
        taps.destroyIOProcID(session->aggregateDeviceID, session->ioProcID);
    }
    if (session->aggregateDeviceID != 0)
        taps.destroyAggregateDevice(session->aggregateDeviceID);
    if (session->tapID != 0)
        taps.destroyProcessTap(session->tapID);
    delete session;
}

void QSSoftwareVolumeSessionUpdateFormat(AudioTaps& taps, QSSoftwareVolumeSession* session)
{
    AudioStreamBasicDescription format;
    if (session != nullptr && taps.tapFormat(session->tapID, format) == 0)
        QSSoftwareVolumeSessionSetSampleRate(session, format.sampleRate);
}

void QSSetError(char* errorBuffer, std::size_t errorBufferSize, const char* message)
{
    if (errorBuffer != nullptr && errorBufferSize > 0)
        std::snprintf(errorBuffer, errorBufferSize, "%s", message);
}

void QSSetStatusError(char* errorBuffer, std::size_t errorBufferSize, const char* stage, PlatformStatus status)
{
    if (errorBuffer != nullptr && errorBufferSize > 0)
        std::snprintf(errorBuffer, errorBufferSize, "%s failed with status %d.", stage, status);
}

bool QSResolveSampleFormat(const AudioStreamBasicDescription& format, std::uint32_t* sampleFormat, char* errorBuffer,
    std::size_t errorBufferSize)
{
    const ErrorText error(errorBuffer, errorBufferSize);
    if (format.formatID != audioFormatLinearPCM)
        return error.is("Software volume only supports linear PCM audio taps.");
    const auto resolved = [&]() -> std::optional<QSSampleFormat> {
        const bool isFloat = (format.formatFlags & AudioFormatFlag::isFloat) != 0;
        const bool isSigned = (format.formatFlags & AudioFormatFlag::isSignedInteger) != 0;
        if (isFloat && format.bitsPerChannel == 32)
            return QSSampleFormat::float32;
        if (isFloat && format.bitsPerChannel == 64)
            return QSSampleFormat::float64;
        if (isSigned && format.bitsPerChannel == 16)
            return QSSampleFormat::int16;
        if (isSigned && format.bitsPerChannel == 32)
            return QSSampleFormat::int32;
        return std::nullopt;
    }();
    if (!resolved)
        return error.is("Software volume does not support this tap sample format.");
    *sampleFormat = static_cast<std::uint32_t>(*resolved);
    return true;
}

} // namespace quenstal
