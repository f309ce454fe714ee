// Writing picture files through Windows' own imaging component: PNG, JPEG and TIFF.
#include <algorithm>
#include <cstring>

#include "images/atomic_file.h"
#include "images/picture_io.h"
#include "images/picture_metadata.h"
#include "images/wic.h"

namespace images {

namespace {

// The system's encoder has no such pixels.
struct UnknownPixels : PictureError {
    using PictureError::PictureError;
};

PixelLayout LayoutOf(const Picture& picture) {
    if (!picture.alpha.empty()) return picture.depth == 8 ? kAlpha8 : kAlpha16;
    if (picture.colour.size() == 1) return picture.depth == 8 ? kGrey8 : kGrey16;
    return picture.depth == 8 ? kColour8 : kColour16;
}

template <typename Sample>
std::vector<std::uint8_t> Interleave(const Picture& picture, const PixelLayout& layout) {
    const int channels = ChannelsOf(layout);
    std::vector<std::uint8_t> bytes(PixelCount(picture) * channels * sizeof(Sample));
    const auto put = [&bytes, channels](std::size_t pixel, int channel, std::uint16_t value) {
        const auto sample = static_cast<Sample>(value);
        std::memcpy(&bytes[(pixel * channels + channel) * sizeof sample], &sample, sizeof sample);
    };
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        for (int c = 0; c < layout.colours; ++c) put(i, PlaceOf(layout, c), picture.colour[c][i]);
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
    options->Write(1, &option, &variant);  // an encoder without this option does without it
}

void SetEncoderOptions(IPropertyBag2* options, const PictureFormat& format) {
    const std::string name = format.name;
    if (name == "JPEG") {
        SetOption(options, L"ImageQuality", VT_R4, 0.95);
        SetOption(options, L"JpegYCrCbSubsampling", VT_UI1, WICJpegYCrCbSubsampling444);
    } else if (name == "TIFF") {
        SetOption(options, L"TiffCompressionMethod", VT_UI1, WICTiffCompressionZIP);
    }
}

// False when the encoder does not take profiles.
bool WriteProfile(IWICBitmapFrameEncode* frame, const Picture& picture) {
    Com<IWICColorContext> context;
    const auto size = static_cast<UINT>(picture.profile.size());
    return SUCCEEDED(ImagingFactory()->CreateColorContext(&context)) &&
           SUCCEEDED(context->InitializeFromMemory(picture.profile.data(), size)) &&
           SUCCEEDED(frame->SetColorContexts(1, &context.object));
}

// Gives whether the profile, if there is one, is in.
bool WriteFrame(IWICBitmapFrameEncode* frame, const Picture& picture, const PixelLayout& layout,
                const std::string& complaint) {
    Require(frame->SetSize(static_cast<UINT>(picture.width), static_cast<UINT>(picture.height)), complaint);
    if (picture.resolutionX > 0 && picture.resolutionUnit != ResolutionUnit::kNone) {
        const double perInch = picture.resolutionUnit == ResolutionUnit::kInch ? 1 : 2.54;
        frame->SetResolution(picture.resolutionX * perInch, picture.resolutionY * perInch);
    }
    WICPixelFormatGUID format = *layout.format;
    Require(frame->SetPixelFormat(&format), complaint);
    if (!IsEqualGUID(format, *layout.format)) {
        throw UnknownPixels(complaint + ": the system's encoder does not take pixels of this kind");
    }
    const bool hasProfile = picture.profile.empty() || WriteProfile(frame, picture);
    std::vector<std::uint8_t> bytes = layout.depth == 8 ? Interleave<std::uint8_t>(picture, layout)
                                                        : Interleave<std::uint16_t>(picture, layout);
    const UINT rowBytes = static_cast<UINT>(picture.width * ChannelsOf(layout) * layout.depth / 8);
    const UINT rowsAtOnce = std::max(1u, (64u << 20) / rowBytes), height = static_cast<UINT>(picture.height);
    for (UINT row = 0; row < height; row += rowsAtOnce) {
        const UINT rows = std::min(rowsAtOnce, height - row);
        Require(frame->WritePixels(rows, rowBytes, rowBytes * rows,
                                   &bytes[static_cast<std::size_t>(row) * rowBytes]),
                complaint);
    }
    Require(frame->Commit(), complaint);
    return hasProfile;
}

const GUID& ContainerOf(const PictureFormat& format) {
    const std::string name = format.name;
    if (name == "PNG") return GUID_ContainerFormatPng;
    return name == "TIFF" ? GUID_ContainerFormatTiff : GUID_ContainerFormatJpeg;
}

// A whole picture file in memory. Gives whether the profile, if there is one, is in.
bool Encode(IStream* memory, const Picture& picture, const PictureFormat& format, const PixelLayout& layout,
            const std::string& complaint) {
    Com<IWICBitmapEncoder> encoder;
    Com<IWICBitmapFrameEncode> frame;
    Com<IPropertyBag2> options;
    Require(ImagingFactory()->CreateEncoder(ContainerOf(format), nullptr, &encoder), complaint);
    Require(encoder->Initialize(memory, WICBitmapEncoderNoCache), complaint);
    Require(encoder->CreateNewFrame(&frame, &options), complaint);
    SetEncoderOptions(options.object, format);
    Require(frame->Initialize(options.object), complaint);
    const bool hasProfile = WriteFrame(frame.object, picture, layout, complaint);
    Require(encoder->Commit(), complaint);
    return hasProfile;
}

// Some substitutes for the component leave the bytes of 16-bit PNG samples in the machine's order when they
// write, though they read them rightly. One sample there and back tells.
bool PngWriterExchangesBytes() {
    constexpr char name[] = "the system's PNG encoder";
    Picture probe = MakePicture(1, 1, 16, 1, false);
    probe.colour[0][0] = 0x0102;
    Com<IStream> memory;
    Require(CreateStreamOnHGlobal(nullptr, TRUE, &memory), name);
    Encode(memory.object, probe, {"PNG", true, true}, kGrey16, name);
    Require(memory->Seek({}, STREAM_SEEK_SET, nullptr), name);
    int orientation = 1;
    return DecodePicture(memory.object, name, orientation).colour[0][0] == 0x0201;
}

void ExchangeBytes(Picture& picture) {
    const auto exchange = [](Plane& plane) {
        for (std::uint16_t& sample : plane) sample = static_cast<std::uint16_t>(sample << 8 | sample >> 8);
    };
    for (Plane& plane : picture.colour) exchange(plane);
    exchange(picture.alpha);
}

std::vector<std::uint8_t> BytesOf(IStream* memory, const std::string& complaint) {
    STATSTG state{};
    HGLOBAL block = nullptr;
    Require(memory->Stat(&state, STATFLAG_NONAME), complaint);
    Require(GetHGlobalFromStream(memory, &block), complaint);
    const auto* bytes = static_cast<const std::uint8_t*>(GlobalLock(block));
    if (bytes == nullptr) throw PictureError(complaint + ": not enough memory");
    std::vector<std::uint8_t> file(bytes, bytes + state.cbSize.QuadPart);
    GlobalUnlock(block);
    return file;
}

// Encoding goes to memory, so that only a whole file ever meets the disk.
std::vector<std::uint8_t> Encoded(const Picture& picture, const PictureFormat& format,
                                  const std::string& complaint, bool& hasProfile) {
    Com<IStream> memory;
    Require(CreateStreamOnHGlobal(nullptr, TRUE, &memory), complaint);
    hasProfile = Encode(memory.object, picture, format, LayoutOf(picture), complaint);
    return BytesOf(memory.object, complaint);
}

}  // namespace

void WritePicture(const std::filesystem::path& path, const Picture& given, const std::atomic<bool>* stop) {
    const PictureFormat format = FormatOf(path);
    const bool isPng = std::string(format.name) == "PNG";
    const std::string complaint = DisplayName(path) + ": cannot be encoded";
    Picture picture = given;
    if (!format.holds16) ChangeDepth(picture, 8);
    if (!format.holdsAlpha) picture.alpha.clear();
    if (!picture.alpha.empty()) MakeColour(picture);  // the component has no grey with alpha
    if (isPng && picture.depth == 16) {
        static const bool exchanges = PngWriterExchangesBytes();
        if (exchanges) ExchangeBytes(picture);
    }
    std::vector<std::uint8_t> file;
    bool hasProfile = false;
    try {
        file = Encoded(picture, format, complaint, hasProfile);
    } catch (const UnknownPixels&) {
        if (picture.colour.size() != 1) throw;
        MakeColour(picture);  // not every substitute for the component writes grey in 16 bits
        file = Encoded(picture, format, complaint, hasProfile);
    }
    if (!hasProfile) EmbedProfile(file, picture.profile);
    WriteWholeFile(path, file.data(), file.size(), stop);
}

}  // namespace images
