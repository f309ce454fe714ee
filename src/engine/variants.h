// The variants of the engine: the scalar reference, which defines every result, and vector variants, which
// give the same bits.
//
// A variant is one table of function pointers. The engine uses the fastest that the processor and the
// operating system offer; tests and benchmarks choose by SetActiveVariant. No other code tests for an
// instruction set.
#pragma once

#include "engine/passes.h"

namespace keying {

// The variant that runs: the fastest that the machine has, unless SetActiveVariant has chosen another. Never
// null.
const Variant* ActiveVariant();

// Makes a variant the active one, by its name; null for the machine's fastest. False, and nothing changes,
// when the name is unknown or the machine lacks what the variant needs.
bool SetActiveVariant(const char* name);

// Names of all variants that this build holds, slowest first, ending in null; whether the machine can run
// one.
extern const char* const kVariantNames[];
bool VariantRunsHere(const char* name);

}  // namespace keying
