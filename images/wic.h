// What reading and writing pictures through Windows' own imaging component share. For picture_read_wic.cpp
// and picture_write_wic.cpp alone.
#pragma once

#include <windows.h>

#include <wincodec.h>

#include <string>

#include "images/picture.h"

namespace images {

// A reference to an object of the component, given back at the end.
template <typename Object>
struct Com {
    Object* object = nullptr;

    Com() = default;
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;
    ~Com() {
        if (object != nullptr) object->Release();
    }
    Object* operator->() const { return object; }
    Object** operator&() { return &object; }
};

// Throws PictureError, the complaint with the code in words, for a code that tells of a failure.
void Require(HRESULT code, const std::string& complaint);

// One for the life of the process, on the thread that reads and writes pictures.
IWICImagingFactory* ImagingFactory();

// How the pixels of a picture lie in memory on their way from and to the component.
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

int ChannelsOf(const PixelLayout& layout);

// Which channel of a pixel holds the given colour.
int PlaceOf(const PixelLayout& layout, int colour);

// A picture file in memory, its place at the first byte; `name` is for complaints. Gives the orientation tag
// too; the picture lies as it is stored.
Picture DecodePicture(IStream* memory, const std::string& name, int& orientation);

}  // namespace images
