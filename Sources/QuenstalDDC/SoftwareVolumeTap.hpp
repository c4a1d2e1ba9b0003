#pragma once

// The software volume path: the session's record, its settings and meters, and the procedure on the audio thread.

#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SignalProcessing.hpp"
