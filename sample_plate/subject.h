// The figure as it looks: materials, light and transparency at one place of the plate.
#pragma once

#include "sample_plate/figure.h"
#include "sample_plate/strands.h"

namespace sample_plate {

struct Subject {
    FigureMaps maps;
    HairBuffer hairBehind, hairInFront;
    int width, height;  // of the picture in pixels
};

Subject PrepareSubject(int width, int height);

// Light that comes from the figure itself, and what it hides of what lies behind it.
struct Seen {
    Vec3 light{};     // linear, already weighted by alpha
    float spill = 0;  // how much of the backdrop's light is thrown back, weighted likewise
    float alpha = 0;
};

Seen SubjectAt(const Subject& subject, int column, int row);

}  // namespace sample_plate
