#include "images/picture_file.h"

#include <algorithm>
#include <cctype>

#include "images/atomic_file.h"
#include "images/text.h"

namespace images {

PictureFormat FormatOf(const std::filesystem::path& path) {
    std::string extension = path.extension().u8string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".png") return {"PNG", true, true};
    if (extension == ".tif" || extension == ".tiff") return {"TIFF", true, true};
    if (extension == ".jpg" || extension == ".jpeg") return {"JPEG", false, false};
#ifdef _WIN32
    constexpr char kExtensions[] = ".png, .tif, .tiff, .jpg or .jpeg";
#else
    constexpr char kExtensions[] = ".png, .tif, .tiff, .jpg, .jpeg or .webp";
    if (extension == ".webp") return {"WebP", false, true};
#endif
    if (extension.empty() && IsSpecialFile(path)) return {"PNG", true, true};
    throw PictureError(DisplayName(path) +
                       (extension.empty()
                            ? ": has no extension"
                            : ": " + EscapeUnprintable(extension) + " files cannot be written") +
                       "; use " + kExtensions);
}

void WritePicture(const std::filesystem::path& path, const Picture& picture, const std::atomic<bool>* stop,
                  const WriteOptions& options) {
    const std::vector<std::uint8_t> bytes = EncodePicture(path, picture, options, stop);
    WriteFileAtomically(path, bytes.data(), bytes.size(), stop);
}

}  // namespace images
