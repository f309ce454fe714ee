// Converts colours with libvips, which uses Little CMS.
#include <sys/mman.h>
#include <unistd.h>

#include "images/colour_profile.h"
#include "images/vips_library.h"

namespace images {

namespace {

// libvips takes the target profile from a named file only. This one is in memory.
struct MemoryFile {
    int file = memfd_create("profile", MFD_CLOEXEC);

    explicit MemoryFile(const std::vector<std::uint8_t>& bytes) {
        if (write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) Close();
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { Close(); }

    void Close() {
        if (file >= 0) close(file);
        file = -1;
    }
    std::string Name() const { return "/proc/self/fd/" + std::to_string(file); }
};

}  // namespace

bool ConvertToProfile(Picture& picture, const std::vector<std::uint8_t>& to) {
    if (picture.colour.size() != 3 || picture.profile.empty() || to.empty()) return false;
    StartVips();
    const MemoryFile target(to);
    const PlanarSource source{&picture, picture.depth, false, nullptr};
    const VipsImagePtr from = ImageOf(source);
    VipsImage* result = nullptr;
    vips_icc_transform(from.get(), &result, target.Name().c_str(), "embedded", TRUE, "intent",
                       VIPS_INTENT_RELATIVE, "black_point_compensation", TRUE, "depth", picture.depth,
                       nullptr);
    const VipsImagePtr ownsResult(result);
    Picture converted = MakePicture(picture.width, picture.height, picture.depth, 3, false);
    if (result == nullptr || vips_image_get_bands(result) != 3 || !ReadPlanes(result, converted)) {
        vips_error_clear();
        return false;
    }
    picture.colour = std::move(converted.colour);
    picture.profile = to;
    return true;
}

}  // namespace images
