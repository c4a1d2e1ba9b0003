#pragma once

// The steps of a DDC/CI scan, for this room and its tests.

#include "QuenstalDDC/DDC.hpp"

namespace quenstal {

/// What is done with one open bus; true ends the scan.
using QSDDCBusOperation = bool (*)(DisplayBuses& buses, I2CConnection connection, void* context);

/// Runs the operation on every bus of every framebuffer until one returns true. Everything that was obtained on the
/// way is given back, on every path.
bool QSDDCWithEachBus(DisplayBuses& buses, QSDDCBusOperation operation, void* context);

/// Asks for the volume. The bus is asked even when the record is null, which fails.
bool QSDDCReadOnBus(DisplayBuses& buses, I2CConnection connection, QSDDCVolume* volume);

/// Reads, limits the value to the maximum read, writes.
bool QSDDCSetOnBus(DisplayBuses& buses, I2CConnection connection, std::uint32_t value);

/// One transfer; `reply` is null when no reply is wanted. True when the request was carried and succeeded.
bool QSDDCSendRequest(DisplayBuses& buses, I2CConnection connection, const std::uint8_t* send, std::uint32_t sendLength,
    std::uint8_t* reply, std::uint32_t replyLength);

} // namespace quenstal
