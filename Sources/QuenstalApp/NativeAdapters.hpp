#pragma once

// The core's ports over the platform's calls.

#include "QuenstalApp/NativeAdapters/CoreAudioDeviceProvider.hpp"
#include "QuenstalApp/NativeAdapters/CoreAudioSoftwareVolumeSession.hpp"
#include "QuenstalApp/NativeAdapters/CoreAudioSystemVolumeController.hpp"
#include "QuenstalApp/NativeAdapters/CoreAudioTapSoftwareVolumeController.hpp"
#include "QuenstalApp/NativeAdapters/DisplayAdapters.hpp"
#include "QuenstalApp/NativeAdapters/Problems.hpp"
#include "QuenstalApp/NativeAdapters/SettingsAdapters.hpp"
