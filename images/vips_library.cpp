#include "images/vips_library.h"

#include <dlfcn.h>
#include <gmodule.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <type_traits>

#include "images/picture_file.h"

namespace images {

namespace {

std::atomic<bool> gAllowsUntrusted{false};

GLogWriterOutput DropMessage(GLogLevelFlags, const GLogField*, gsize, gpointer) {
    return G_LOG_WRITER_HANDLED;
}

// libvips loads all its modules from the prefix of this program. There are none: with ImageMagick, poppler
// and others the start would take 60 ms instead of 20.
constexpr char kProgramWithoutModules[] = "/nonexistent/bin/frond";

// Loads a module from its folder beside the library. Without it some formats cannot be read.
void LoadModule(const char* name) {
    Dl_info library;
    if (dladdr(reinterpret_cast<void*>(&vips_init), &library) == 0) return;
    const std::string folder =
        "vips-modules-" + std::to_string(vips_version(0)) + "." + std::to_string(vips_version(1));
    const std::filesystem::path path = std::filesystem::path(library.dli_fname).parent_path() / folder / name;
    g_module_open(path.c_str(), G_MODULE_BIND_LAZY);  // for the rest of the process
}

struct Library {
    Library() {
        // Decoders warn on standard error of oddities that are no errors.
        g_log_set_writer_func(DropMessage, nullptr, nullptr);
        if (vips_init(kProgramWithoutModules) != 0) throw PictureError("libvips cannot be started");
        vips_cache_set_max(0);    // no picture is read twice
        vips_concurrency_set(1);  // a batch has its own threads, and one file hardly gains
        if (gAllowsUntrusted) {
            LoadModule("vips-magick.so");
            LoadModule("vips-jxl.so");
        } else {
            vips_block_untrusted_set(TRUE);
        }
    }
    ~Library() { vips_shutdown(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

// Frees what libvips keeps for a thread.
struct ThreadEnd {
    ~ThreadEnd() { vips_thread_shutdown(); }
};

}  // namespace

void AllowUntrustedFormats() {
    gAllowsUntrusted = true;
}

void StartVips() {
    static const Library kLibrary;
    thread_local const ThreadEnd kThreadEnd;
    (void)kThreadEnd;
}

void LoadHeifModule() {
    static const bool kIsLoaded = (LoadModule("vips-heif.so"), true);
    (void)kIsLoaded;
}

void ThrowVipsError(const std::string& line) {
    vips_error_clear();
    throw PictureError(line);
}

namespace {

// Calls run with the number of planes, 1 to 4, as a constant: loops over all bands of a pixel are then twice
// as fast as a loop for each band.
template <typename Run>
void WithPlaneCount(std::size_t count, Run run) {
    switch (count) {
        case 1:
            return run(std::integral_constant<std::size_t, 1>());
        case 2:
            return run(std::integral_constant<std::size_t, 2>());
        case 3:
            return run(std::integral_constant<std::size_t, 3>());
        default:
            return run(std::integral_constant<std::size_t, 4>());
    }
}

template <typename Sample>
void InterleaveRow(const std::vector<const Plane*>& planes, std::size_t first, std::size_t count,
                   bool reduces, Sample* to) {
    WithPlaneCount(planes.size(), [&](auto bands) {
        std::array<const std::uint16_t*, bands> from;
        for (std::size_t band = 0; band < bands; ++band) from[band] = planes[band]->data() + first;
        Sample* sample = to;
        for (std::size_t x = 0; x < count; ++x, sample += bands) {
            for (std::size_t band = 0; band < bands; ++band) {
                const std::uint16_t value = from[band][x];
                sample[band] = static_cast<Sample>(reduces ? (value + 128u) / 257u : value);
            }
        }
    });
}

// Fills a part of an image from the planes. In threads of libvips.
int GenerateRows(VipsRegion* out, void*, void* a, void*, gboolean*) {
    const auto& source = *static_cast<const PlanarSource*>(a);
    const Picture& picture = *source.picture;
    if (source.stop != nullptr && *source.stop) return -1;
    std::vector<const Plane*> planes;
    for (const Plane& plane : picture.colour) planes.push_back(&plane);
    if (source.withAlpha && !picture.alpha.empty()) planes.push_back(&picture.alpha);
    const VipsRect& area = out->valid;
    for (int y = area.top; y < area.top + area.height; ++y) {
        const std::size_t first = static_cast<std::size_t>(y) * picture.width + area.left;
        const auto count = static_cast<std::size_t>(area.width);
        VipsPel* to = VIPS_REGION_ADDR(out, area.left, y);
        if (source.depth == 8) {
            InterleaveRow(planes, first, count, picture.depth == 16, to);
        } else {
            InterleaveRow(planes, first, count, false, reinterpret_cast<std::uint16_t*>(to));
        }
    }
    return 0;
}

}  // namespace

VipsImagePtr ImageOf(const PlanarSource& source) {
    const Picture& picture = *source.picture;
    const bool isGrey = picture.colour.size() == 1;
    const int bands =
        static_cast<int>(picture.colour.size()) + (source.withAlpha && !picture.alpha.empty() ? 1 : 0);
    const VipsInterpretation grey = source.depth == 8 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_GREY16,
                             colour =
                                 source.depth == 8 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_RGB16;
    VipsImagePtr image(vips_image_new());
    vips_image_init_fields(image.get(), picture.width, picture.height, bands,
                           source.depth == 8 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT, VIPS_CODING_NONE,
                           isGrey ? grey : colour, 1, 1);
    if (vips_image_pipelinev(image.get(), VIPS_DEMAND_STYLE_THINSTRIP, nullptr) != 0 ||
        vips_image_generate(image.get(), nullptr, GenerateRows, nullptr, const_cast<PlanarSource*>(&source),
                            nullptr) != 0) {
        throw std::bad_alloc();
    }
    if (!picture.profile.empty()) {
        vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, picture.profile.data(),
                                 picture.profile.size());
    }
    return image;
}

namespace {

template <typename Sample>
void DeinterleaveRow(const Sample* from, std::size_t bands, std::size_t count, std::size_t first,
                     const std::vector<Plane*>& planes) {
    WithPlaneCount(planes.size(), [&](auto taken) {
        std::array<std::uint16_t*, taken> to;
        for (std::size_t band = 0; band < taken; ++band) to[band] = planes[band]->data() + first;
        const Sample* sample = from;
        for (std::size_t x = 0; x < count; ++x, sample += bands) {
            for (std::size_t band = 0; band < taken; ++band) to[band][x] = sample[band];
        }
    });
}

}  // namespace

bool ReadPlanes(VipsImage* image, Picture& picture) {
    constexpr int kRows = 16;  // at a time
    std::vector<Plane*> planes;
    for (Plane& plane : picture.colour) planes.push_back(&plane);
    if (!picture.alpha.empty()) planes.push_back(&picture.alpha);
    const auto bands = static_cast<std::size_t>(vips_image_get_bands(image));
    const auto width = static_cast<std::size_t>(picture.width);
    const std::unique_ptr<VipsRegion, Unreference> region(vips_region_new(image));
    for (int top = 0; top < picture.height; top += kRows) {
        const VipsRect area{0, top, picture.width, std::min(kRows, picture.height - top)};
        if (vips_region_prepare(region.get(), &area) != 0) return false;
        for (int y = top; y < top + area.height; ++y) {
            const VipsPel* from = VIPS_REGION_ADDR(region.get(), 0, y);
            const std::size_t first = y * width;
            if (picture.depth == 8) {
                DeinterleaveRow(from, bands, width, first, planes);
            } else {
                DeinterleaveRow(reinterpret_cast<const std::uint16_t*>(from), bands, width, first, planes);
            }
        }
    }
    return true;
}

}  // namespace images
