// The operation in GEGL's graphs, compared with the engine on the same pixels.
#include <gegl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "gegl/key_pixels.h"

namespace {

using namespace operation;
using keying::Settings;
using Pixels = std::vector<std::uint8_t>;

// How many large allocations succeed before one fails. Negative: none fails.
std::atomic<int> gLargeUntilFailure{-1};

constexpr char kOperation[] = "marble:twin-plate-rig";

struct Property {
    const char* name;
    double Settings::*slider;
    bool Settings::*flag;
};

constexpr Property kProperties[] = {
    {"remove-green", &Settings::removeBackdrop, nullptr},
    {"restore-black", &Settings::restoreDark, nullptr},
    {"alter-green", &Settings::alterGreen, nullptr},
    {"select-transparency", &Settings::selectTransparency, nullptr},
    {"scale-transparency", &Settings::scaleTransparency, nullptr},
    {"background-level", &Settings::backdropLevel, nullptr},
    {"blend", nullptr, &Settings::blendEdges},
    {"show-matte", nullptr, &Settings::showMatte},
    {"blue", nullptr, &Settings::blueBackdrop},
    {"transparent", nullptr, &Settings::outputAlpha},
};

const Babl* Format(int bits) {
    return babl_format(bits == 8 ? "R'G'B'A u8" : "R'G'B'A u16");
}

// A subject of noise, half-transparent in places, before a green backdrop.
Pixels MakePhotograph(const GeglRectangle& box, int bits, unsigned seed) {
    std::mt19937 random(seed);
    Pixels pixels(static_cast<std::size_t>(box.width * box.height * 4 * bits / 8));
    for (std::size_t i = 0; i < pixels.size() / static_cast<std::size_t>(bits / 8); ++i) {
        const bool isBackdrop = (i / 4 * 7919u) % 64 < 40;
        const unsigned backdrop[] = {50, 160, 70, 255};
        unsigned sample = isBackdrop ? backdrop[i % 4] + (i % 4 == 3 ? 0 : random() % 12) : random() % 256;
        if (i % 4 == 3 && random() % 8 != 0) sample = 255;
        if (bits == 8) {
            pixels[i] = static_cast<std::uint8_t>(sample);
        } else {
            const auto wide = static_cast<std::uint16_t>(sample * 257);
            std::memcpy(&pixels[2 * i], &wide, 2);
        }
    }
    return pixels;
}

GeglBuffer* MakeBuffer(const GeglRectangle& box, int bits, const Pixels& pixels) {
    GeglBuffer* buffer = gegl_buffer_new(&box, Format(bits));
    gegl_buffer_set(buffer, &box, 0, Format(bits), pixels.data(), GEGL_AUTO_ROWSTRIDE);
    return buffer;
}

// A graph with a photograph and, unless its box is empty, a background.
struct Graph {
    GeglNode *root = gegl_node_new(), *rig;
    GeglBuffer *photo, *background = nullptr;
    int bits;

    Graph(const GeglRectangle& box, int theBits, unsigned seed, const GeglRectangle& backgroundBox = {})
        : bits(theBits) {
        rig = gegl_node_new_child(root, "operation", kOperation, nullptr);
        photo = MakeBuffer(box, bits, MakePhotograph(box, bits, seed));
        gegl_node_connect_to(Source(photo), "output", rig, "input");
        if (backgroundBox.width == 0) return;
        background = MakeBuffer(backgroundBox, bits, MakePhotograph(backgroundBox, bits, seed + 1));
        gegl_node_connect_to(Source(background), "output", rig, "aux");
    }
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;
    ~Graph() {
        g_object_unref(root);
        g_object_unref(photo);
        if (background != nullptr) g_object_unref(background);
    }

    GeglNode* Source(GeglBuffer* buffer) {
        return gegl_node_new_child(root, "operation", "gegl:buffer-source", "buffer", buffer, nullptr);
    }
    void Set(const Settings& settings) {
        for (const Property& p : kProperties) {
            if (p.slider != nullptr) {
                gegl_node_set(rig, p.name, static_cast<int>(settings.*p.slider), nullptr);
            } else {
                gegl_node_set(rig, p.name, static_cast<gboolean>(settings.*p.flag), nullptr);
            }
        }
    }
    Pixels Render(const GeglRectangle& box, double scale = 1) {
        Pixels pixels(static_cast<std::size_t>(box.width * box.height * 4 * bits / 8));
        gegl_node_blit(rig, scale, &box, Format(bits), pixels.data(), GEGL_AUTO_ROWSTRIDE, GEGL_BLIT_DEFAULT);
        return pixels;
    }
    // What the engine makes of the two buffers.
    Pixels Expected(Settings settings) const {
        const GeglRectangle box = *gegl_buffer_get_extent(photo);
        Pixels pixels(static_cast<std::size_t>(box.width * box.height * 4 * bits / 8));
        KeyingPlanes planes;
        Resize(planes, box.width, box.height, bits);
        gegl_buffer_get(photo, &box, 1, Format(bits), pixels.data(), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
        StorePhotograph(planes, 0, box.height, pixels.data());
        if (background != nullptr) {
            gegl_buffer_get(background, &box, 1, Format(bits), pixels.data(), GEGL_AUTO_ROWSTRIDE,
                            GEGL_ABYSS_NONE);
            StoreBackground(planes, 0, box.height, pixels.data());
        }
        settings.outputAlpha = settings.outputAlpha || background == nullptr;
        KeyPhotograph(planes, settings, background != nullptr);
        LoadResult(planes, settings.outputAlpha, 0, box.height, pixels.data());
        return pixels;
    }
};

Settings RandomSettings(std::mt19937& random) {
    Settings settings;
    for (const Property& p : kProperties) {
        if (p.slider != nullptr) {
            settings.*p.slider = random() % 201;
        } else {
            settings.*p.flag = random() % 2 != 0;
        }
    }
    return settings;
}

// The pixels of `part` in a picture of `box`.
Pixels Cut(const Pixels& pixels, const GeglRectangle& box, const GeglRectangle& part, int bits) {
    const std::size_t pixel = static_cast<std::size_t>(4 * bits / 8);
    Pixels cut;
    for (int y = part.y; y < part.y + part.height; ++y) {
        const auto row =
            pixels.begin() + static_cast<std::ptrdiff_t>(
                                 (static_cast<std::size_t>(y - box.y) * box.width + part.x - box.x) * pixel);
        cut.insert(cut.end(), row, row + static_cast<std::ptrdiff_t>(part.width * pixel));
    }
    return cut;
}

TEST(Gegl, HasTheEnginesDefaults) {
    Graph graph({0, 0, 60, 50}, 8, 1, {0, 0, 60, 50});
    EXPECT_EQ(graph.Render({0, 0, 60, 50}), graph.Expected({}));
}

TEST(Gegl, FollowsItsPropertiesAndInputs) {
    const GeglRectangle box{-7, 13, 90, 70}, smaller{20, 0, 40, 60};
    for (const int bits : {8, 16}) {
        for (const GeglRectangle& background : {box, smaller, GeglRectangle{}}) {
            Graph graph(box, bits, 2, background);
            std::mt19937 random(3);
            for (int run = 0; run < 100; ++run) {
                const Settings settings = RandomSettings(random);
                graph.Set(settings);
                if (run % 10 == 5) {  // the photograph changes too
                    const GeglRectangle part{0, 20, 30, 30};
                    const Pixels pixels = MakePhotograph(part, bits, static_cast<unsigned>(run));
                    gegl_buffer_set(graph.photo, &part, 0, Format(bits), pixels.data(), GEGL_AUTO_ROWSTRIDE);
                }
                ASSERT_EQ(graph.Render(box), graph.Expected(settings)) << bits << " bits, run " << run;
            }
        }
    }
}

TEST(Gegl, GivesTheSamePixelsInPiecesAndAtScales) {
    const GeglRectangle box{0, 0, 301, 203};
    const Pixels whole = Graph(box, 8, 4, box).Render(box);
    Graph pieces(box, 8, 4, box);
    for (const GeglRectangle& piece :
         {GeglRectangle{200, 150, 64, 33}, GeglRectangle{0, 0, 1, 1}, GeglRectangle{17, 5, 150, 190}})
        EXPECT_EQ(pieces.Render(piece), Cut(whole, box, piece, 8));
    GeglBuffer* buffer = MakeBuffer(box, 8, whole);
    for (const double scale : {0.5, 0.3}) {
        const GeglRectangle view{0, 0, 80, 60};
        Pixels expected(80 * 60 * 4);
        gegl_buffer_get(buffer, &view, scale, Format(8), expected.data(), GEGL_AUTO_ROWSTRIDE,
                        GEGL_ABYSS_NONE);
        EXPECT_EQ(Graph(box, 8, 4, box).Render(view, scale), expected) << scale;
    }
    g_object_unref(buffer);
}

// With this setting GEGL renders no more than a reduced view needs, and the inputs have no other level.
TEST(Gegl, KeysReducedPhotographsWhereGeglRendersThem) {
    const GeglRectangle box{0, 0, 256, 128}, half{0, 0, 128, 64};  // whole tiles
    Graph graph(box, 8, 5), expected(half, 8, 5);
    GeglNode* source = gegl_node_get_producer(graph.rig, "input", nullptr);
    GeglNode* inverse = gegl_node_new_child(graph.root, "operation", "gegl:invert-gamma", nullptr);
    GeglNode* twice = gegl_node_new_child(graph.root, "operation", "gegl:invert-gamma", nullptr);
    gegl_node_link_many(source, inverse, twice, graph.rig, nullptr);
    Pixels pixels(128 * 64 * 4);
    gegl_buffer_get(graph.photo, &half, 0.5, Format(8), pixels.data(), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
    gegl_buffer_set(expected.photo, &half, 0, Format(8), pixels.data(), GEGL_AUTO_ROWSTRIDE);
    g_object_set(gegl_config(), "mipmap-rendering", TRUE, nullptr);
    EXPECT_EQ(graph.Render(half, 0.5), expected.Expected({}));
    g_object_set(gegl_config(), "mipmap-rendering", FALSE, nullptr);
}

// A photograph without an end passes unchanged, and an empty one gives an empty result.
TEST(Gegl, TakesPicturesOfEverySize) {
    const GeglRectangle pixel{5, 5, 1, 1};
    Graph tiny(pixel, 16, 6, pixel);
    EXPECT_EQ(tiny.Render(pixel), tiny.Expected({}));

    GeglNode* root = gegl_node_new();
    GeglNode* rig = gegl_node_new_child(root, "operation", kOperation, nullptr);
    EXPECT_EQ(gegl_node_get_bounding_box(rig).width, 0);
    GeglNode* endless = gegl_node_new_child(root, "operation", "gegl:checkerboard", nullptr);
    gegl_node_connect_to(endless, "output", rig, "input");
    const GeglRectangle view{-10, -10, 40, 30};
    Pixels seen(40 * 30 * 4), expected(40 * 30 * 4);
    gegl_node_blit(rig, 1, &view, Format(8), seen.data(), GEGL_AUTO_ROWSTRIDE, GEGL_BLIT_DEFAULT);
    gegl_node_blit(endless, 1, &view, Format(8), expected.data(), GEGL_AUTO_ROWSTRIDE, GEGL_BLIT_DEFAULT);
    EXPECT_EQ(seen, expected);
    g_object_unref(root);
}

TEST(Gegl, GoesOnAfterACancelledRender) {
    const GeglRectangle box{0, 0, 400, 300};
    Graph graph(box, 8, 7, box);
    for (int steps = 0; steps < 4; ++steps) {
        GeglProcessor* processor = gegl_node_new_processor(graph.rig, &box);
        double progress = 0;
        for (int step = 0; step < steps && gegl_processor_work(processor, &progress); ++step) continue;
        g_object_unref(processor);
        Settings settings;
        settings.removeBackdrop = 10 * steps;
        graph.Set(settings);
    }
    Settings last;
    last.removeBackdrop = 30;
    EXPECT_EQ(graph.Render(box), graph.Expected(last));
}

// Each large allocation of a run fails in turn, with another photograph each time. The next run must not use
// what was measured before. GEGL keeps what a failed run gave until a property changes.
TEST(Gegl, GoesOnAfterARunWithoutMemory) {
    const GeglRectangle box{0, 0, 90, 70};
    Graph graph(box, 16, 10, box);
    Settings settings;
    Pixels ignored = graph.Render(box);
    bool hasFailed = true;
    for (int n = 0; hasFailed; ++n) {
        Pixels photo = MakePhotograph(box, 16, 11);
        if (n % 2 == 0)
            std::transform(photo.begin(), photo.end(), photo.begin(), [](int s) { return s / 2; });
        gegl_buffer_set(graph.photo, &box, 0, Format(16), photo.data(), GEGL_AUTO_ROWSTRIDE);
        gLargeUntilFailure = n;
        gegl_node_blit(graph.rig, 1, &box, Format(16), ignored.data(), GEGL_AUTO_ROWSTRIDE,
                       GEGL_BLIT_DEFAULT);
        hasFailed = gLargeUntilFailure.exchange(-1) < 0;
        settings.removeBackdrop = 40 + n % 3;
        graph.Set(settings);
        ASSERT_EQ(graph.Render(box), graph.Expected(settings)) << "allocation " << n;
    }
}

TEST(Gegl, RendersGraphsSideBySide) {
    const GeglRectangle box{0, 0, 200, 150};
    const auto run = [&](unsigned seed, bool* isRight) {
        Graph graph(box, 8, seed, box);
        std::mt19937 random(seed);
        for (int i = 0; i < 20 && *isRight; ++i) {
            const Settings settings = RandomSettings(random);
            graph.Set(settings);
            *isRight = graph.Render(box) == graph.Expected(settings);
        }
    };
    bool first = true, second = true;
    std::thread other(run, 8, &second);
    run(9, &first);
    other.join();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
}

}  // namespace

// The operation's allocations come here too.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
    constexpr std::size_t kLarge = 4096;
    const bool fails = bytes >= kLarge && gLargeUntilFailure >= 0 && gLargeUntilFailure-- == 0;
    void* block = fails ? nullptr : std::malloc(bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    gegl_init(nullptr, nullptr);
    const int result = RUN_ALL_TESTS();
    gegl_exit();
    return result;
}
