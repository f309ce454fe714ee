// How soon a moved slider shows in a program that uses GEGL: the sample plate of 12 MP with a background. The
// whole picture is keyed for every move.
//
//   view     the picture at a quarter of its scale, as an editor shows it
//   whole    every pixel
//   engine   the keying alone, in the operation's planes
//   over     GEGL's own operation `gegl:over` on the same buffers, every pixel: what GEGL takes without us
//
// Times are by the clock. GEGL_PATH has the operation's folder and GEGL's own.
#include <benchmark/benchmark.h>
#include <gegl.h>

#include <cstring>
#include <string>

#include "bench/pictures.h"
#include "gegl/key_pixels.h"

namespace {

constexpr int kMegapixels = 12;
constexpr double kViewScale = 0.25;

using Pixels = std::vector<std::uint8_t>;

// Opaque R'G'B'A at full range.
Pixels Interleave(const std::vector<std::uint8_t> (&planes)[3], int depth) {
    const std::size_t count = planes[0].size() / static_cast<std::size_t>(depth / 8);
    Pixels pixels(count * 4 * static_cast<std::size_t>(depth / 8), 0xff);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            if (depth == 8) {
                pixels[4 * i + c] = planes[c][i];
            } else {
                std::uint16_t sample;  // 0 to 32768
                std::memcpy(&sample, &planes[c][2 * i], 2);
                sample = static_cast<std::uint16_t>(sample < 32768 ? 2 * sample : 65535);
                std::memcpy(&pixels[2 * (4 * i + c)], &sample, 2);
            }
        }
    }
    return pixels;
}

const Babl* Format(int depth) {
    return babl_format(depth == 8 ? "R'G'B'A u8" : "R'G'B'A u16");
}

struct Plate {
    GeglRectangle box;
    Pixels photo, background;
};

const Plate& PlateAt(int depth) {
    static Plate plates[2];
    Plate& plate = plates[depth / 8 - 1];
    if (plate.photo.empty()) {
        const bench::Layers layers = bench::MakeLayers({"plate", kMegapixels, depth});
        plate = {{0, 0, layers.width, layers.height},
                 Interleave(layers.photo, depth),
                 Interleave(layers.background, depth)};
    }
    return plate;
}

GeglNode* Source(GeglNode* graph, const GeglRectangle& box, int depth, const Pixels& pixels) {
    GeglBuffer* buffer = gegl_buffer_new(&box, Format(depth));
    gegl_buffer_set(buffer, &box, 0, Format(depth), pixels.data(), GEGL_AUTO_ROWSTRIDE);
    GeglNode* node = gegl_node_new_child(graph, "operation", "gegl:buffer-source", "buffer", buffer, nullptr);
    g_object_unref(buffer);
    return node;
}

// Each round changes `property` of `operation` to one of two values and renders the picture at `scale`.
void Render(benchmark::State& state, const char* operation, const char* property, double scale) {
    const int depth = static_cast<int>(state.range(0));
    const Plate& plate = PlateAt(depth);
    GeglNode* graph = gegl_node_new();
    GeglNode* node = gegl_node_new_child(graph, "operation", operation, nullptr);
    gegl_node_connect_to(Source(graph, plate.box, depth, plate.photo), "output", node, "input");
    gegl_node_connect_to(Source(graph, plate.box, depth, plate.background), "output", node, "aux");
    const GeglRectangle shown = {0, 0, static_cast<int>(plate.box.width * scale),
                                 static_cast<int>(plate.box.height * scale)};
    Pixels pixels(static_cast<std::size_t>(shown.width) * static_cast<std::size_t>(shown.height) * 4 *
                  static_cast<std::size_t>(depth / 8));
    const auto render = [&] {
        gegl_node_blit(node, scale, &shown, Format(depth), pixels.data(), GEGL_AUTO_ROWSTRIDE,
                       GEGL_BLIT_DEFAULT);
    };
    render();  // measures the backdrop
    int move = 0;
    for (auto _ : state) {
        gegl_node_set(node, property, move++ % 2, nullptr);
        render();
    }
    g_object_unref(graph);
}

void Key(benchmark::State& state) {
    const int depth = static_cast<int>(state.range(0));
    const Plate& plate = PlateAt(depth);
    operation::KeyingPlanes planes;
    operation::Resize(planes, plate.box.width, plate.box.height, depth);
    operation::StorePhotograph(planes, 0, plate.box.height, plate.photo.data());
    operation::StoreBackground(planes, 0, plate.box.height, plate.background.data());
    keying::Settings settings;
    operation::KeyPhotograph(planes, settings, true);
    for (auto _ : state) {
        settings.restoreDark = settings.restoreDark == 0 ? 1 : 0;
        if (!operation::KeyPhotograph(planes, settings, true)) state.SkipWithError("no memory");
    }
}

void Register(const char* name, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, run)->Arg(8)->Arg(16)->UseRealTime()->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    gegl_init(&count, &arguments);
    if (!gegl_has_operation("marble:twin-plate-rig")) {
        g_printerr("gegl_bench: GEGL_PATH does not lead to the operation\n");
        return 1;
    }
    Register("view",
             [](benchmark::State& s) { Render(s, "marble:twin-plate-rig", "restore-black", kViewScale); });
    Register("whole", [](benchmark::State& s) { Render(s, "marble:twin-plate-rig", "restore-black", 1); });
    Register("engine", Key);
    Register("over", [](benchmark::State& s) { Render(s, "gegl:over", "srgb", 1); });
    benchmark::RunSpecifiedBenchmarks();
    gegl_exit();
    return 0;
}
