// A suite of the host that is acquired at its first use and released when the module is unloaded.
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

// What a failed acquisition raises: the host's code, or kNoBrokerForSuite.
struct SuiteFailure {
    std::int32_t code;
};

constexpr std::int32_t kNoBrokerForSuite = FourCC("Parm");

// The suite, owned by the host. Raises SuiteFailure.
const void* AcquireLazySuite(LazySuite* handle);

// Gives the suite back if it was acquired and the broker is known.
void ReleaseLazySuite(LazySuite* handle) noexcept;

}  // namespace filter
