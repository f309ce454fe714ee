// Reads picture files with the Windows Imaging Component (WIC): PNG, JPEG, TIFF and all other formats it
// decodes.
#include <algorithm>
#include <cstring>

#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/picture_validation.h"
#include "images/psd_file.h"
#include "images/text.h"
#include "images/wic.h"

namespace images {

namespace {

bool IsOneOf(const GUID& format, std::initializer_list<const GUID*> formats) {
    return std::any_of(formats.begin(), formats.end(),
                       [&format](const GUID* other) { return IsEqualGUID(format, *other) != 0; });
}

bool PaletteHasAlpha(IWICBitmapSource* source) {
    ComPtr<IWICPalette> palette;
    WINBOOL hasAlpha = FALSE;
    return SUCCEEDED(ImagingFactory()->CreatePalette(&palette)) &&
           SUCCEEDED(source->CopyPalette(palette.object)) && SUCCEEDED(palette->HasAlpha(&hasAlpha)) &&
           hasAlpha;
}

// The layout that reads pixels of `format` without loss.
PixelLayout LayoutFor(const GUID& format, IWICBitmapSource* source, const std::string& name) {
    if (IsOneOf(format, {&GUID_WICPixelFormat32bppCMYK, &GUID_WICPixelFormat64bppCMYK,
                         &GUID_WICPixelFormat40bppCMYKAlpha, &GUID_WICPixelFormat80bppCMYKAlpha})) {
        throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
    }
    if (IsOneOf(format, {&GUID_WICPixelFormatBlackWhite, &GUID_WICPixelFormat2bppGray,
                         &GUID_WICPixelFormat4bppGray, &GUID_WICPixelFormat8bppGray})) {
        return kGrey8;
    }
    if (IsOneOf(format, {&GUID_WICPixelFormat16bppGray})) return kGrey16;
    if (IsOneOf(format, {&GUID_WICPixelFormat48bppRGB, &GUID_WICPixelFormat48bppBGR,
                         &GUID_WICPixelFormat96bppRGBFixedPoint, &GUID_WICPixelFormat128bppRGBFloat})) {
        return kColour16;
    }
    if (IsOneOf(format,
                {&GUID_WICPixelFormat64bppRGBA, &GUID_WICPixelFormat64bppBGRA, &GUID_WICPixelFormat64bppPRGBA,
                 &GUID_WICPixelFormat64bppPBGRA, &GUID_WICPixelFormat128bppRGBAFloat})) {
        return kAlpha16;
    }
    if (IsOneOf(format, {&GUID_WICPixelFormat32bppBGRA, &GUID_WICPixelFormat32bppPBGRA,
                         &GUID_WICPixelFormat32bppRGBA, &GUID_WICPixelFormat32bppPRGBA})) {
        return kAlpha8;
    }
    const bool isIndexed =
        IsOneOf(format, {&GUID_WICPixelFormat1bppIndexed, &GUID_WICPixelFormat2bppIndexed,
                         &GUID_WICPixelFormat4bppIndexed, &GUID_WICPixelFormat8bppIndexed});
    return isIndexed && PaletteHasAlpha(source) ? kAlpha8 : kColour8;
}

template <typename Sample>
void Deinterleave(const std::vector<std::uint8_t>& bytes, const PixelLayout& layout, Picture& picture) {
    const int channels = ChannelCount(layout);
    const auto at = [&bytes, channels](std::size_t pixel, int channel) {
        Sample sample;
        std::memcpy(&sample, &bytes[(pixel * channels + channel) * sizeof sample], sizeof sample);
        return sample;
    };
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        for (int c = 0; c < layout.colours; ++c) picture.colour[c][i] = at(i, ChannelIndex(layout, c));
        if (layout.hasAlpha) picture.alpha[i] = at(i, layout.colours);
    }
}

void ReadProfile(IWICBitmapFrameDecode* frame, Picture& picture) {
    ComPtr<IWICColorContext> context;
    UINT count = 0;
    if (FAILED(ImagingFactory()->CreateColorContext(&context))) return;
    if (FAILED(frame->GetColorContexts(1, &context.object, &count)) || count == 0) return;
    WICColorContextType type = WICColorContextUninitialized;
    UINT size = 0;
    if (FAILED(context->GetType(&type)) || type != WICColorContextProfile) return;
    if (FAILED(context->GetProfileBytes(0, nullptr, &size)) || size == 0) return;
    picture.profile.resize(size);
    if (FAILED(context->GetProfileBytes(size, picture.profile.data(), &size))) picture.profile.clear();
}

int ReadOrientation(IWICBitmapFrameDecode* frame) {
    ComPtr<IWICMetadataQueryReader> reader;
    if (FAILED(frame->GetMetadataQueryReader(&reader))) return 1;
    for (const wchar_t* place :
         {L"/app1/ifd/{ushort=274}", L"/ifd/{ushort=274}", L"System.Photo.Orientation"}) {
        PROPVARIANT value;
        PropVariantInit(&value);
        const bool isFound = SUCCEEDED(reader->GetMetadataByName(place, &value)) && value.vt == VT_UI2;
        const int orientation = isFound ? value.uiVal : 0;
        PropVariantClear(&value);
        if (orientation != 0) return orientation;
    }
    return 1;
}

Picture ReadFrame(IWICBitmapFrameDecode* frame, const std::string& name) {
    UINT width = 0, height = 0;
    WICPixelFormatGUID format;
    RequireSuccess(frame->GetSize(&width, &height), name + ": is damaged");
    RequireSuccess(frame->GetPixelFormat(&format), name + ": is damaged");
    if (width == 0 || height == 0) throw PictureError(name + ": holds no pixels");
    const PixelLayout layout = LayoutFor(format, frame, name);
    ComPtr<IWICFormatConverter> converter;
    IWICBitmapSource* source = frame;
    if (!IsEqualGUID(format, *layout.format)) {
        RequireSuccess(ImagingFactory()->CreateFormatConverter(&converter), name + ": cannot be read");
        RequireSuccess(converter->Initialize(frame, *layout.format, WICBitmapDitherTypeNone, nullptr, 0,
                                             WICBitmapPaletteTypeCustom),
                       name + ": holds pixels of an unknown kind");
        source = converter.object;
    }
    Picture picture = MakePicture(static_cast<int>(width), static_cast<int>(height), layout.depth,
                                  layout.colours, layout.hasAlpha);
    const UINT rowBytes = width * static_cast<UINT>(ChannelCount(layout) * layout.depth / 8);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(rowBytes) * height);
    // At most 512 MB at a time, since WIC counts bytes in 32 bits.
    const UINT rowsAtOnce = std::max(1u, (512u << 20) / rowBytes);
    for (UINT row = 0; row < height; row += rowsAtOnce) {
        const UINT rows = std::min(rowsAtOnce, height - row);
        const WICRect part{0, static_cast<INT>(row), static_cast<INT>(width), static_cast<INT>(rows)};
        RequireSuccess(source->CopyPixels(&part, rowBytes, rowBytes * rows,
                                          &bytes[static_cast<std::size_t>(row) * rowBytes]),
                       name + ": is damaged or cut short");
    }
    if (layout.depth == 8) {
        Deinterleave<std::uint8_t>(bytes, layout, picture);
    } else {
        Deinterleave<std::uint16_t>(bytes, layout, picture);
    }
    return picture;
}

// The index of the frame to read: the largest of an icon, which has one picture in several sizes; else the
// first.
UINT LargestFrame(IWICBitmapDecoder* decoder) {
    GUID container;
    UINT count = 0, best = 0;
    if (FAILED(decoder->GetContainerFormat(&container)) || FAILED(decoder->GetFrameCount(&count))) return 0;
    if (!IsEqualGUID(container, GUID_ContainerFormatIco)) return 0;
    std::uint64_t most = 0;
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IWICBitmapFrameDecode> frame;
        UINT width = 0, height = 0;
        if (FAILED(decoder->GetFrame(i, &frame)) || FAILED(frame->GetSize(&width, &height))) continue;
        if (std::uint64_t{width} * height <= most) continue;
        most = std::uint64_t{width} * height;
        best = i;
    }
    return best;
}

Picture Decode(std::vector<std::uint8_t>& file, const std::string& name) {
    ValidatePictureBytes(file, name);
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    RequireSuccess(ImagingFactory()->CreateStream(&stream), name + ": cannot be read");
    RequireSuccess(stream->InitializeFromMemory(file.data(), static_cast<DWORD>(file.size())),
                   name + ": cannot be read");
    RequireSuccess(ImagingFactory()->CreateDecoderFromStream(stream.object, nullptr,
                                                             WICDecodeMetadataCacheOnDemand, &decoder),
                   name + ": cannot be read as a picture");
    RequireSuccess(decoder->GetFrame(LargestFrame(decoder.object), &frame),
                   name + ": is damaged or cut short");
    Picture picture = ReadFrame(frame.object, name);
    ReadProfile(frame.object, picture);
    double x = 0, y = 0;
    if (SUCCEEDED(frame->GetResolution(&x, &y)) && x >= 1 && y >= 1) {
        picture.resolutionX = RoundResolution(x);
        picture.resolutionY = RoundResolution(y);
        picture.resolutionUnit = ResolutionUnit::kInch;
    }
    return ApplyOrientation(std::move(picture), ReadOrientation(frame.object));
}

LayeredPicture ReadFile(const std::filesystem::path& path, PsdLayers layers) {
    const std::string name = InputName(path);
    std::vector<std::uint8_t> file = ReadFileBytes(path);
    const bool isPsd = file.size() >= 4 && std::memcmp(file.data(), "8BPS", 4) == 0;
    if (isPsd) return ReadPsd(file, name, layers);
    return {Decode(file, name), {}};
}

}  // namespace

Picture ReadPicture(const std::filesystem::path& path) {
    return ReadFile(path, PsdLayers::kSkip).merged;
}

LayeredPicture ReadLayeredPicture(const std::filesystem::path& path) {
    return ReadFile(path, PsdLayers::kRead);
}

void AllowUntrustedFormats() {}

}  // namespace images
