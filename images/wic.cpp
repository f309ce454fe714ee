#include "images/wic.h"

#include <cstdio>

namespace images {

namespace {

std::string CodeText(HRESULT code) {
    char text[32];
    std::snprintf(text, sizeof text, "error 0x%08lx", static_cast<unsigned long>(code));
    return text;
}

}  // namespace

void Require(HRESULT code, const std::string& complaint) {
    if (FAILED(code)) throw PictureError(complaint + ": " + CodeText(code));
}

IWICImagingFactory* ImagingFactory() {
    static IWICImagingFactory* const factory = [] {
        IWICImagingFactory* made = nullptr;
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Require(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_IWICImagingFactory, reinterpret_cast<void**>(&made)),
                "the system's imaging component is missing");
        return made;
    }();
    return factory;
}

int ChannelsOf(const PixelLayout& layout) {
    return layout.colours + (layout.hasAlpha ? 1 : 0);
}

int PlaceOf(const PixelLayout& layout, int colour) {
    return layout.isBgr ? 2 - colour : colour;
}

}  // namespace images
