#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "images/text_label.h"

namespace images {

namespace {

struct DeleteDevice {
    void operator()(HDC device) const { DeleteDC(device); }
};
struct DeleteGdiObject {
    void operator()(void* object) const { DeleteObject(object); }
};
using Device = std::unique_ptr<std::remove_pointer_t<HDC>, DeleteDevice>;
using GdiObject = std::unique_ptr<void, DeleteGdiObject>;

// No '&' underlines the next letter, and a long word breaks as in an edit control.
constexpr UINT kFormat = DT_LEFT | DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX;

GdiObject MakeFont(int size) {
    LOGFONTW font{};
    font.lfHeight = size;  // of the cell; a negative one would be without its inner leading
    font.lfQuality = ANTIALIASED_QUALITY;
    font.lfPitchAndFamily = VARIABLE_PITCH | FF_SWISS;
    const wchar_t name[] = L"Segoe UI";
    std::copy(std::begin(name), std::end(name), font.lfFaceName);
    return GdiObject(CreateFontIndirectW(&font));
}

}  // namespace

Picture RenderText(const std::string& text, int size, int width) {
    if (text.find_first_not_of(" \n") == std::string::npos) return MakePicture(1, 1, 8, 1, false);
    const std::wstring wide = std::filesystem::u8path(text).wstring();
    const int length = static_cast<int>(wide.size());
    // The bitmap must outlive the device in which it is selected.
    GdiObject bitmap;
    const GdiObject font = MakeFont(size);
    const Device device(CreateCompatibleDC(nullptr));
    if (!font || !device) throw PictureError("the text of a label cannot be rendered");
    SelectObject(device.get(), font.get());
    RECT area{0, 0, width, 0};
    DrawTextW(device.get(), wide.c_str(), length, &area, kFormat | DT_CALCRECT);
    Picture picture = MakePicture(std::clamp(static_cast<int>(area.right), 1, width),
                                  std::max(1, static_cast<int>(area.bottom)), 8, 1, false);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = picture.width;
    info.bmiHeader.biHeight = -picture.height;  // the first row is the topmost
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    bitmap.reset(CreateDIBSection(device.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!bitmap) throw PictureError("the text of a label cannot be rendered");
    SelectObject(device.get(), bitmap.get());
    SetTextColor(device.get(), RGB(255, 255, 255));
    SetBkColor(device.get(), RGB(0, 0, 0));
    area = {0, 0, picture.width, picture.height};
    DrawTextW(device.get(), wide.c_str(), length, &area, kFormat);
    GdiFlush();
    const auto* pixels = static_cast<const std::uint8_t*>(bits);
    for (std::size_t i = 0; i < PixelCount(picture); ++i) picture.colour[0][i] = pixels[4 * i + 1];
    return picture;
}

}  // namespace images
