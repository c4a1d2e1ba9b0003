#pragma once

// The values that every other part exchanges: plain, copyable, compared field by field.
// Their JSON forms are in QuenstalCore/Models/Json.hpp.

#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Models/Diagnostics.hpp"
#include "QuenstalCore/Models/EQProfile.hpp"
#include "QuenstalCore/Models/Enumeration.hpp"
#include "QuenstalCore/Models/State.hpp"
#include "QuenstalCore/Models/Volume.hpp"
