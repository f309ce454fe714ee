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

void RequireSuccess(HRESULT code, const std::string& error) {
    if (FAILED(code)) throw PictureError(error + ": " + CodeText(code));
}

IWICImagingFactory* ImagingFactory() {
    thread_local IWICImagingFactory* factory = nullptr;
    if (factory == nullptr) {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        RequireSuccess(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IWICImagingFactory, reinterpret_cast<void**>(&factory)),
                       "the Windows Imaging Component is missing");
    }
    return factory;
}

int ChannelCount(const PixelLayout& layout) {
    return layout.colours + (layout.hasAlpha ? 1 : 0);
}

int ChannelIndex(const PixelLayout& layout, int colour) {
    return layout.isBgr ? 2 - colour : colour;
}

}  // namespace images
