// The fourth pass of the analysis.
#pragma once

#include "shell/globals.h"

// Fills gBackdropGrid from the top layer's colours and the three means of Globals.
void BuildBackdropGrid(const Globals* globals);
