#pragma once

// The software volume path: a session from its creation to its end, its record, its settings and meters, and the
// procedure on the audio thread.

#include "QuenstalDDC/SoftwareVolumeTap/Session.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SignalProcessing.hpp"
