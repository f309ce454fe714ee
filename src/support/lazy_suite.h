// A suite of the host that is acquired at first use and released when the module is unloaded.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct LazySuite {
    const void* suite;  // null until the first use
    std::int32_t version;
    const char* name;
    SPErr lastError;  // of the last acquisition
};

// Exception for a failed acquisition: the host's code, or kNoBrokerSuiteError.
struct SuiteFailure {
    std::int32_t code;
};

constexpr std::int32_t kNoBrokerSuiteError = FourCC("Parm");

// Opens web pages for the About box.
inline LazySuite gGetFileListSuite = {nullptr, kPSGetFileListSuiteVersion, kPSGetFileListSuite, 0};

// Returns the suite, which the host owns. Throws SuiteFailure.
const void* AcquireLazySuite(LazySuite* lazy);

// Releases the suite if it was acquired and the broker is known.
void ReleaseLazySuite(LazySuite* lazy) noexcept;

}  // namespace filter
