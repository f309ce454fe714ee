#include "support/lazy_suite.h"

#include "support/module_state.h"

namespace filter {

const void* AcquireLazySuite(LazySuite* lazy) {
    if (lazy->suite != nullptr) return lazy->suite;
    if (gSPBasicSuite == nullptr) throw SuiteFailure{kNoBrokerSuiteError};

    const void* suite = nullptr;
    lazy->lastError = gSPBasicSuite->AcquireSuite(lazy->name, lazy->version, &suite);
    if (lazy->lastError != 0) throw SuiteFailure{lazy->lastError};
    lazy->suite = suite;
    return suite;
}

void ReleaseLazySuite(LazySuite* lazy) noexcept {
    if (lazy->suite == nullptr || gSPBasicSuite == nullptr) return;
    gSPBasicSuite->ReleaseSuite(lazy->name, lazy->version);
    lazy->suite = nullptr;
}

}  // namespace filter
