// The time that a user waits in the dialog: from a control's message to the picture that the host gets for
// painting, in the built module and a real window. Prints the median and the worst time in milliseconds.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/support/dialog_driver.h"
#include "ui/dialog_ids.h"

namespace {

using namespace test_support;

using Clock = std::chrono::steady_clock;

Document Plate(int width, int height) {
    Document document = MakeDocument(width, height, 8);
    document.layers = {MakeLayer(document, "background", 120), MakeLayer(document, "photo", 45)};
    document.targetLayer = 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = (x + 0.5) / width - 0.45, dy = (y + 0.5) / height - 0.5;
            const bool subject = dx * dx + dy * dy < 0.08;
            const int wobble = (x / 16 * 7 + y / 16 * 13) % 23;
            SetSample(document, document.layers[1].colour[0], x, y,
                      static_cast<std::uint16_t>((subject ? 170 : 35) + wobble));
            SetSample(document, document.layers[1].colour[1], x, y,
                      static_cast<std::uint16_t>((subject ? 110 : 170) + wobble));
        }
    }
    return document;
}

template <typename Action>
void Measure(DialogRun& run, const char* name, Action action) {
    std::vector<double> times;
    for (int step = 1; step <= 41; ++step) {
        const auto begin = Clock::now();
        run.PaintedAfter([&] { action(step); });
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    std::sort(times.begin(), times.end());
    std::printf("%-24s median %6.1f  worst %6.1f\n", name, times[times.size() / 2], times.back());
}

}  // namespace

int main() {
    for (const int width : {1732, 8485}) {
        const int height = width * 2 / 3;
        std::printf("document of %.0f megapixels\n", width * 1e-6 * height);
        DialogRun run(Plate(width, height));
        Measure(run, "slider", [&](int step) { run.SetSlider(kIdRemoveGreen, 20 + step); });
        Measure(run, "zoom", [&](int step) { run.SetSlider(kIdZoom, step); });
        Measure(run, "scroll", [&](int step) { run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, step); });
        run.Click(kIdCancel);
    }
    return 0;
}
