// What a contact sheet shows: one cell for each variation of the settings.
#pragma once

#include <string>
#include <vector>

#include "frond/parameters.h"

namespace frond {

// One of the values of a --vary.
struct VariedValue {
    std::string label;        // "remove-green 20"
    ParameterValues start;    // of a starting point; the settings of the command replace them
    ParameterValues changed;  // replaces the settings of the command
};

using Variation = std::vector<VariedValue>;

struct SheetCell {
    std::string label;
    ParameterValues parameters;
    bool isCurrent;  // has the settings of the command
};

// Cells row by row.
struct SheetCells {
    std::size_t columns = 0;
    std::vector<SheetCell> cells;
};

// Reads a NAME=VALUE,VALUE... of --vary. The name is a parameter's short or scripting name, or "start". A
// slider's values are whole numbers of 32 bits, a flag's on and off, a start's the starting points and
// "none". Throws Failure kBadUsage for anything else, and for a value given twice.
Variation ParseVariation(const std::string& text);

// The cells of one variation, in a row, or of two: the first in columns, the second in rows. Throws Failure
// kBadUsage for none, for more, and for two of the same parameter.
SheetCells MakeCells(const std::vector<std::string>& texts, const ParameterValues& current);

}  // namespace frond
