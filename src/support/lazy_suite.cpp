#include "support/lazy_suite.h"

#include "support/checked_heap.h"

namespace filter {

const void* AcquireLazySuite(LazySuite* handle) {
    if (handle->suite != nullptr) return handle->suite;
    if (gSPBasicSuite == nullptr) throw SuiteFailure{kNoBrokerForSuite};

    const void* suite = nullptr;
    handle->lastError = gSPBasicSuite->AcquireSuite(handle->name, handle->version, &suite);
    if (handle->lastError != 0) throw SuiteFailure{handle->lastError};
    handle->suite = suite;
    return suite;
}

void ReleaseLazySuite(LazySuite* handle) noexcept {
    if (handle->suite == nullptr || gSPBasicSuite == nullptr) return;
    gSPBasicSuite->ReleaseSuite(handle->name, handle->version);
    handle->suite = nullptr;
}

}  // namespace filter
