// What picture_read_wic.cpp and picture_write_wic.cpp share.
#pragma once

#include <windows.h>

#include <wincodec.h>

#include <string>

#include "images/picture.h"

namespace images {

// Owns a reference to a COM object.
template <typename Object>
struct ComPtr {
    Object* object = nullptr;

    ComPtr() = default;
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() {
        if (object != nullptr) object->Release();
    }
    Object* operator->() const { return object; }
    Object** operator&() { return &object; }
};

// Throws PictureError with the text and the code when the code is a failure.
void RequireSuccess(HRESULT code, const std::string& error);

// The factory of the calling thread. It is never released: GCC for Windows frees a thread's variables before
// it calls their destructors.
IWICImagingFactory* ImagingFactory();

// The interleaved pixel layouts that are exchanged with WIC.
struct PixelLayout {
    const GUID* format;
    int depth;
    int colours;
    bool hasAlpha;
    bool isBgr;  // blue first
};

constexpr PixelLayout kGrey8{&GUID_WICPixelFormat8bppGray, 8, 1, false, false};
constexpr PixelLayout kGrey16{&GUID_WICPixelFormat16bppGray, 16, 1, false, false};
constexpr PixelLayout kColour8{&GUID_WICPixelFormat24bppBGR, 8, 3, false, true};
constexpr PixelLayout kColour16{&GUID_WICPixelFormat48bppRGB, 16, 3, false, false};
constexpr PixelLayout kAlpha8{&GUID_WICPixelFormat32bppBGRA, 8, 3, true, true};
constexpr PixelLayout kAlpha16{&GUID_WICPixelFormat64bppRGBA, 16, 3, true, false};

int ChannelCount(const PixelLayout& layout);

// The channel of a pixel that stores the colour: 0 red, 1 green, 2 blue.
int ChannelIndex(const PixelLayout& layout, int colour);

}  // namespace images
