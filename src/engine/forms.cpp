#include "engine/forms.h"

#include <cstring>

#include "engine/lane_forms.h"
#include "engine/scalar_form.h"

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
    const EngineForm* form;
    bool (*runsHere)();
};

// Slowest first.
const Candidate kCandidates[] = {
    {&kScalarForm, Always}, {&sse2::kForm, HasSse2}, {&avx2::kForm, HasAvx2}, {&avx512::kForm, HasAvx512}};

const EngineForm* FormNamed(const char* name) {
    for (const Candidate& candidate : kCandidates) {
        if (std::strcmp(candidate.form->name, name) == 0)
            return candidate.runsHere() ? candidate.form : nullptr;
    }
    return nullptr;
}

const EngineForm* FastestForm() {
    const EngineForm* fastest = nullptr;
    for (const Candidate& candidate : kCandidates) {
        if (candidate.runsHere()) fastest = candidate.form;
    }
    return fastest;
}

// One thread at a time enters the module. Null until the first use.
const EngineForm* gForm;

}  // namespace

const char* const kFormNames[] = {"scalar", "sse2", "avx2", "avx512", nullptr};

const EngineForm* ActiveForm() {
    if (gForm == nullptr) gForm = FastestForm();
    return gForm;
}

bool SetActiveForm(const char* name) {
    const EngineForm* form = name == nullptr ? FastestForm() : FormNamed(name);
    if (form == nullptr) return false;
    gForm = form;
    return true;
}

bool FormRunsHere(const char* name) {
    return FormNamed(name) != nullptr;
}
