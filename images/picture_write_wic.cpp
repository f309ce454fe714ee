// Writes PNG, JPEG and TIFF files with the Windows Imaging Component (WIC).
#include <algorithm>
#include <cstring>

#include "images/picture_file.h"
#include "images/text.h"
#include "images/wic.h"

namespace images {

namespace {

PixelLayout LayoutOf(const Picture& picture) {
    if (!picture.alpha.empty()) return picture.depth == 8 ? kAlpha8 : kAlpha16;
    if (picture.colour.size() == 1) return picture.depth == 8 ? kGrey8 : kGrey16;
    return picture.depth == 8 ? kColour8 : kColour16;
}

template <typename Sample>
std::vector<std::uint8_t> Interleave(const Picture& picture, const PixelLayout& layout) {
    const int channels = ChannelCount(layout);
    std::vector<std::uint8_t> bytes(PixelCount(picture) * channels * sizeof(Sample));
    const auto put = [&bytes, channels](std::size_t pixel, int channel, std::uint16_t value) {
        const auto sample = static_cast<Sample>(value);
        std::memcpy(&bytes[(pixel * channels + channel) * sizeof sample], &sample, sizeof sample);
    };
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        for (int c = 0; c < layout.colours; ++c) put(i, ChannelIndex(layout, c), picture.colour[c][i]);
        if (layout.hasAlpha) put(i, layout.colours, picture.alpha[i]);
    }
    return bytes;
}

void SetOption(IPropertyBag2* options, const wchar_t* name, VARTYPE type, double value) {
    PROPBAG2 option{};
    option.pstrName = const_cast<wchar_t*>(name);
    VARIANT variant;
    VariantInit(&variant);
    variant.vt = type;
    if (type == VT_R4) {
        variant.fltVal = static_cast<float>(value);
    } else {
        variant.bVal = static_cast<BYTE>(value);
    }
    options->Write(1, &option, &variant);  // ignored by an encoder without this option
}

void SetEncoderOptions(IPropertyBag2* bag, const PictureFormat& format, const WriteOptions& options) {
    const std::string name = format.name;
    if (name == "JPEG") {
        SetOption(bag, L"ImageQuality", VT_R4, options.quality / 100.0);
        SetOption(bag, L"JpegYCrCbSubsampling", VT_UI1,
                  options.subsamples ? WICJpegYCrCbSubsampling420 : WICJpegYCrCbSubsampling444);
    } else if (name == "TIFF") {
        SetOption(bag, L"TiffCompressionMethod", VT_UI1,
                  options.compression == 0 ? WICTiffCompressionNone : WICTiffCompressionZIP);
    }
}

void WriteProfile(IWICBitmapFrameEncode* frame, const Picture& picture) {
    ComPtr<IWICColorContext> context;
    const auto size = static_cast<UINT>(picture.profile.size());
    if (picture.profile.empty() || FAILED(ImagingFactory()->CreateColorContext(&context))) return;
    if (FAILED(context->InitializeFromMemory(picture.profile.data(), size))) return;
    frame->SetColorContexts(1, &context.object);
}

void WriteFrame(IWICBitmapFrameEncode* frame, const Picture& picture, const PixelLayout& layout,
                const std::string& error) {
    RequireSuccess(frame->SetSize(static_cast<UINT>(picture.width), static_cast<UINT>(picture.height)),
                   error);
    if (picture.resolutionX > 0 && picture.resolutionUnit != ResolutionUnit::kNone) {
        const double perInch = picture.resolutionUnit == ResolutionUnit::kInch ? 1 : 2.54;
        frame->SetResolution(picture.resolutionX * perInch, picture.resolutionY * perInch);
    }
    WICPixelFormatGUID format = *layout.format;
    RequireSuccess(frame->SetPixelFormat(&format), error);
    if (!IsEqualGUID(format, *layout.format)) {
        throw PictureError(error + ": the system's encoder does not support this pixel format");
    }
    WriteProfile(frame, picture);
    std::vector<std::uint8_t> bytes = layout.depth == 8 ? Interleave<std::uint8_t>(picture, layout)
                                                        : Interleave<std::uint16_t>(picture, layout);
    const UINT rowBytes = static_cast<UINT>(picture.width * ChannelCount(layout) * layout.depth / 8);
    const UINT rowsAtOnce = std::max(1u, (64u << 20) / rowBytes), height = static_cast<UINT>(picture.height);
    for (UINT row = 0; row < height; row += rowsAtOnce) {
        const UINT rows = std::min(rowsAtOnce, height - row);
        RequireSuccess(frame->WritePixels(rows, rowBytes, rowBytes * rows,
                                          &bytes[static_cast<std::size_t>(row) * rowBytes]),
                       error);
    }
    RequireSuccess(frame->Commit(), error);
}

const GUID& ContainerOf(const PictureFormat& format) {
    const std::string name = format.name;
    if (name == "PNG") return GUID_ContainerFormatPng;
    return name == "TIFF" ? GUID_ContainerFormatTiff : GUID_ContainerFormatJpeg;
}

std::vector<std::uint8_t> BytesOf(IStream* memory, const std::string& error) {
    STATSTG state{};
    HGLOBAL block = nullptr;
    RequireSuccess(memory->Stat(&state, STATFLAG_NONAME), error);
    RequireSuccess(GetHGlobalFromStream(memory, &block), error);
    const auto* bytes = static_cast<const std::uint8_t*>(GlobalLock(block));
    if (bytes == nullptr) throw PictureError(error + ": not enough memory");
    std::vector<std::uint8_t> file(bytes, bytes + state.cbSize.QuadPart);
    GlobalUnlock(block);
    return file;
}

// A complete picture file in memory.
std::vector<std::uint8_t> Encode(const Picture& picture, const PictureFormat& format,
                                 const WriteOptions& options, const std::string& error) {
    ComPtr<IStream> memory;
    ComPtr<IWICBitmapEncoder> encoder;
    ComPtr<IWICBitmapFrameEncode> frame;
    ComPtr<IPropertyBag2> bag;
    RequireSuccess(CreateStreamOnHGlobal(nullptr, TRUE, &memory), error);
    RequireSuccess(ImagingFactory()->CreateEncoder(ContainerOf(format), nullptr, &encoder), error);
    RequireSuccess(encoder->Initialize(memory.object, WICBitmapEncoderNoCache), error);
    RequireSuccess(encoder->CreateNewFrame(&frame, &bag), error);
    SetEncoderOptions(bag.object, format, options);
    RequireSuccess(frame->Initialize(bag.object), error);
    WriteFrame(frame.object, picture, LayoutOf(picture), error);
    RequireSuccess(encoder->Commit(), error);
    return BytesOf(memory.object, error);
}

}  // namespace

std::vector<std::uint8_t> EncodePicture(const std::filesystem::path& path, const Picture& given,
                                        const WriteOptions& options, const std::atomic<bool>*) {
    const PictureFormat format = FormatOf(path);
    Picture picture = given;
    if (!format.holds16) ChangeDepth(picture, 8);
    if (!format.holdsAlpha) picture.alpha.clear();
    if (!picture.alpha.empty()) ConvertToRgb(picture);  // WIC has no grey with alpha
    return Encode(picture, format, options, DisplayName(path) + ": cannot be encoded");
}

}  // namespace images
