#include "engine/variants.h"

#include <atomic>
#include <cstring>

#include "engine/scalar/variant.h"
#include "engine/simd/variants.h"

namespace keying {

namespace {

// The processor's features count only where the operating system keeps the registers that they need.
bool HasSse2() {
    return __builtin_cpu_supports("sse2");
}

bool HasAvx2() {
    return __builtin_cpu_supports("avx2");
}

bool HasAvx512() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
}

bool Always() {
    return true;
}

struct Candidate {
    const Variant* variant;
    bool (*runsHere)();
};

// Slowest first.
const Candidate kCandidates[] = {{&kScalarVariant, Always},
                                 {&sse2::kVariant, HasSse2},
                                 {&avx2::kVariant, HasAvx2},
                                 {&avx512::kVariant, HasAvx512}};

const Variant* VariantNamed(const char* name) {
    for (const Candidate& candidate : kCandidates) {
        if (std::strcmp(candidate.variant->name, name) == 0)
            return candidate.runsHere() ? candidate.variant : nullptr;
    }
    return nullptr;
}

const Variant* FastestVariant() {
    const Variant* fastest = nullptr;
    for (const Candidate& candidate : kCandidates) {
        if (candidate.runsHere()) fastest = candidate.variant;
    }
    return fastest;
}

// Null until the first use. All threads find the same variant.
std::atomic<const Variant*> gActive;

}  // namespace

const char* const kVariantNames[] = {"scalar", "sse2", "avx2", "avx512", nullptr};

const Variant* ActiveVariant() {
    const Variant* active = gActive.load(std::memory_order_relaxed);
    if (active == nullptr) {
        active = FastestVariant();
        gActive.store(active, std::memory_order_relaxed);
    }
    return active;
}

bool SetActiveVariant(const char* name) {
    const Variant* variant = name == nullptr ? FastestVariant() : VariantNamed(name);
    if (variant == nullptr) return false;
    gActive.store(variant, std::memory_order_relaxed);
    return true;
}

bool VariantRunsHere(const char* name) {
    return VariantNamed(name) != nullptr;
}

}  // namespace keying
