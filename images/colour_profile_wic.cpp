// Converts colours with the colour management of Windows.
#include <windows.h>

#include <icm.h>

#include "images/colour_profile.h"

namespace images {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Converts colours of three 16-bit samples, red first, in place.
struct Conversion {
    Conversion(const Bytes& from, const Bytes& to);
    ~Conversion();
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    bool IsValid() const { return transform != nullptr; }
    bool Convert(std::uint16_t* colours, int count);

    HTRANSFORM transform = nullptr;
    std::vector<COLOR> buffer;
};

HPROFILE OpenProfile(const Bytes& bytes) {
    PROFILE profile{PROFILE_MEMBUFFER, const_cast<std::uint8_t*>(bytes.data()),
                    static_cast<DWORD>(bytes.size())};
    return OpenColorProfileW(&profile, PROFILE_READ, FILE_SHARE_READ, OPEN_EXISTING);
}

Conversion::Conversion(const Bytes& from, const Bytes& to) {
    HPROFILE profiles[] = {OpenProfile(from), OpenProfile(to)};
    DWORD intent = INTENT_RELATIVE_COLORIMETRIC;
    if (profiles[0] != nullptr && profiles[1] != nullptr) {
        transform = CreateMultiProfileTransform(profiles, 2, &intent, 1, BEST_MODE, INDEX_DONT_CARE);
    }
    for (HPROFILE profile : profiles) {
        if (profile != nullptr) CloseColorProfile(profile);
    }
}

Conversion::~Conversion() {
    if (transform != nullptr) DeleteColorTransform(transform);
}

bool Conversion::Convert(std::uint16_t* colours, int count) {
    buffer.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        buffer[i].rgb = {colours[3 * i], colours[3 * i + 1], colours[3 * i + 2]};
    }
    if (!TranslateColors(transform, buffer.data(), static_cast<DWORD>(count), COLOR_RGB, buffer.data(),
                         COLOR_RGB)) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        colours[3 * i] = buffer[i].rgb.red;
        colours[3 * i + 1] = buffer[i].rgb.green;
        colours[3 * i + 2] = buffer[i].rgb.blue;
    }
    return true;
}

}  // namespace

bool ConvertToProfile(Picture& picture, const Bytes& to) {
    if (picture.colour.size() != 3 || picture.profile.empty() || to.empty()) return false;
    Conversion conversion(picture.profile, to);
    if (!conversion.IsValid()) return false;
    Picture converted = picture;
    const std::uint32_t unit = picture.depth == 8 ? 257 : 1;
    std::vector<std::uint16_t> row(static_cast<std::size_t>(picture.width) * 3);
    for (int y = 0; y < picture.height; ++y) {
        const std::size_t start = static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width);
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = static_cast<std::uint16_t>(picture.colour[i % 3][start + i / 3] * unit);
        }
        if (!conversion.Convert(row.data(), picture.width)) return false;
        for (std::size_t i = 0; i < row.size(); ++i) {
            converted.colour[i % 3][start + i / 3] = static_cast<std::uint16_t>((row[i] + unit / 2) / unit);
        }
    }
    converted.profile = to;
    picture = std::move(converted);
    return true;
}

}  // namespace images
