// Picture files through Windows' own imaging component: PNG, JPEG, TIFF, and whatever else it reads.
#include <windows.h>

#include <wincodec.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/picture_check.h"
#include "host/picture_io.h"
#include "host/picture_metadata.h"
#include "host/whole_file.h"

namespace frond {

namespace {

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

// The system's encoder has no such pixels.
struct UnknownPixels : PictureError {
    using PictureError::PictureError;
};

std::string CodeText(HRESULT code) {
    char text[32];
    std::snprintf(text, sizeof text, "error 0x%08lx", static_cast<unsigned long>(code));
    return text;
}

void Require(HRESULT code, const std::string& complaint) {
    if (FAILED(code)) throw PictureError(complaint + ": " + CodeText(code));
}

IWICImagingFactory* Factory() {
    // One for the life of the process, on the thread that reads and writes pictures.
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

// How the pixels of a picture lie in memory on their way from and to the component.
struct Layout {
    const GUID* format;
    int depth;
    int colours;
    bool hasAlpha;
    bool isBgr;  // blue first
};

constexpr Layout kGrey8{&GUID_WICPixelFormat8bppGray, 8, 1, false, false};
constexpr Layout kGrey16{&GUID_WICPixelFormat16bppGray, 16, 1, false, false};
constexpr Layout kColour8{&GUID_WICPixelFormat24bppBGR, 8, 3, false, true};
constexpr Layout kColour16{&GUID_WICPixelFormat48bppRGB, 16, 3, false, false};
constexpr Layout kAlpha8{&GUID_WICPixelFormat32bppBGRA, 8, 3, true, true};
constexpr Layout kAlpha16{&GUID_WICPixelFormat64bppRGBA, 16, 3, true, false};

int ChannelsOf(const Layout& layout) {
    return layout.colours + (layout.hasAlpha ? 1 : 0);
}

// Which channel of a pixel holds the given colour.
int PlaceOf(const Layout& layout, int colour) {
    return layout.isBgr ? 2 - colour : colour;
}

bool IsOneOf(const GUID& format, std::initializer_list<const GUID*> formats) {
    return std::any_of(formats.begin(), formats.end(),
                       [&format](const GUID* other) { return IsEqualGUID(format, *other) != 0; });
}

bool PaletteHasAlpha(IWICBitmapSource* source) {
    Com<IWICPalette> palette;
    WINBOOL hasAlpha = FALSE;
    return SUCCEEDED(Factory()->CreatePalette(&palette)) && SUCCEEDED(source->CopyPalette(palette.object)) &&
           SUCCEEDED(palette->HasAlpha(&hasAlpha)) && hasAlpha;
}

// How to read a picture stored in `format` without losing anything of it.
Layout LayoutFor(const GUID& format, IWICBitmapSource* source, const std::string& name) {
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
void Separate(const std::vector<std::uint8_t>& bytes, const Layout& layout, Picture& picture) {
    const int channels = ChannelsOf(layout);
    const auto at = [&bytes, channels](std::size_t pixel, int channel) {
        Sample sample;
        std::memcpy(&sample, &bytes[(pixel * channels + channel) * sizeof sample], sizeof sample);
        return sample;
    };
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        for (int c = 0; c < layout.colours; ++c) picture.colour[c][i] = at(i, PlaceOf(layout, c));
        if (layout.hasAlpha) picture.alpha[i] = at(i, layout.colours);
    }
}

template <typename Sample>
std::vector<std::uint8_t> Interleave(const Picture& picture, const Layout& layout) {
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

void ReadProfile(IWICBitmapFrameDecode* frame, Picture& picture) {
    Com<IWICColorContext> context;
    UINT count = 0;
    if (FAILED(Factory()->CreateColorContext(&context))) return;
    if (FAILED(frame->GetColorContexts(1, &context.object, &count)) || count == 0) return;
    WICColorContextType type = WICColorContextUninitialized;
    UINT size = 0;
    if (FAILED(context->GetType(&type)) || type != WICColorContextProfile) return;
    if (FAILED(context->GetProfileBytes(0, nullptr, &size)) || size == 0) return;
    picture.profile.resize(size);
    if (FAILED(context->GetProfileBytes(size, picture.profile.data(), &size))) picture.profile.clear();
}

int ReadOrientation(IWICBitmapFrameDecode* frame) {
    Com<IWICMetadataQueryReader> reader;
    if (FAILED(frame->GetMetadataQueryReader(&reader))) return 1;
    for (const wchar_t* place : {L"/app1/ifd/{ushort=274}", L"/ifd/{ushort=274}"}) {
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
    Require(frame->GetSize(&width, &height), name + ": is damaged");
    Require(frame->GetPixelFormat(&format), name + ": is damaged");
    if (width == 0 || height == 0) throw PictureError(name + ": holds no pixels");
    const Layout layout = LayoutFor(format, frame, name);
    // What needs no conversion goes without: not every converter takes all that decoders give.
    Com<IWICFormatConverter> converter;
    IWICBitmapSource* source = frame;
    if (!IsEqualGUID(format, *layout.format)) {
        Require(Factory()->CreateFormatConverter(&converter), name + ": cannot be read");
        Require(converter->Initialize(frame, *layout.format, WICBitmapDitherTypeNone, nullptr, 0,
                                      WICBitmapPaletteTypeCustom),
                name + ": holds pixels of an unknown kind");
        source = converter.object;
    }
    Picture picture = MakePicture(static_cast<int>(width), static_cast<int>(height), layout.depth,
                                  layout.colours, layout.hasAlpha);
    const UINT rowBytes = width * static_cast<UINT>(ChannelsOf(layout) * layout.depth / 8);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(rowBytes) * height);
    // Some 500 MB at a time at most, since the component counts in 32 bits.
    const UINT rowsAtOnce = std::max(1u, (512u << 20) / rowBytes);
    for (UINT row = 0; row < height; row += rowsAtOnce) {
        const UINT rows = std::min(rowsAtOnce, height - row);
        const WICRect part{0, static_cast<INT>(row), static_cast<INT>(width), static_cast<INT>(rows)};
        Require(source->CopyPixels(&part, rowBytes, rowBytes * rows,
                                   &bytes[static_cast<std::size_t>(row) * rowBytes]),
                name + ": is damaged or cut short");
    }
    if (layout.depth == 8) {
        Separate<std::uint8_t>(bytes, layout, picture);
    } else {
        Separate<std::uint16_t>(bytes, layout, picture);
    }
    return picture;
}

Layout LayoutOf(const Picture& picture) {
    if (!picture.alpha.empty()) return picture.depth == 8 ? kAlpha8 : kAlpha16;
    if (picture.colour.size() == 1) return picture.depth == 8 ? kGrey8 : kGrey16;
    return picture.depth == 8 ? kColour8 : kColour16;
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
    return SUCCEEDED(Factory()->CreateColorContext(&context)) &&
           SUCCEEDED(context->InitializeFromMemory(picture.profile.data(), size)) &&
           SUCCEEDED(frame->SetColorContexts(1, &context.object));
}

// Gives whether the profile, if there is one, is in.
bool WriteFrame(IWICBitmapFrameEncode* frame, const Picture& picture, const Layout& layout,
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
bool Encode(IStream* memory, const Picture& picture, const PictureFormat& format, const Layout& layout,
            const std::string& complaint) {
    Com<IWICBitmapEncoder> encoder;
    Com<IWICBitmapFrameEncode> frame;
    Com<IPropertyBag2> options;
    Require(Factory()->CreateEncoder(ContainerOf(format), nullptr, &encoder), complaint);
    Require(encoder->Initialize(memory, WICBitmapEncoderNoCache), complaint);
    Require(encoder->CreateNewFrame(&frame, &options), complaint);
    SetEncoderOptions(options.object, format);
    Require(frame->Initialize(options.object), complaint);
    const bool hasProfile = WriteFrame(frame.object, picture, layout, complaint);
    Require(encoder->Commit(), complaint);
    return hasProfile;
}

// Gives the orientation tag too; the picture lies as it is stored.
Picture Decode(IStream* memory, const std::string& name, int& orientation) {
    Com<IWICBitmapDecoder> decoder;
    Com<IWICBitmapFrameDecode> frame;
    Require(Factory()->CreateDecoderFromStream(memory, nullptr, WICDecodeMetadataCacheOnDemand, &decoder),
            name + ": cannot be read as a picture");
    Require(decoder->GetFrame(0, &frame), name + ": is damaged or cut short");
    Picture picture = ReadFrame(frame.object, name);
    ReadProfile(frame.object, picture);
    double x = 0, y = 0;
    if (SUCCEEDED(frame->GetResolution(&x, &y)) && x >= 1 && y >= 1) {
        picture.resolutionX = TidyResolution(x);
        picture.resolutionY = TidyResolution(y);
        picture.resolutionUnit = ResolutionUnit::kInch;
    }
    orientation = ReadOrientation(frame.object);
    return picture;
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
    return Decode(memory.object, name, orientation).colour[0][0] == 0x0201;
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

Picture ReadPicture(const std::filesystem::path& path) {
    const std::string name = Shown(path);
    CheckPictureFile(path);
    std::vector<std::uint8_t> file = ReadWholeFile(path);
    Com<IWICStream> stream;
    Require(Factory()->CreateStream(&stream), name + ": cannot be read");
    Require(stream->InitializeFromMemory(file.data(), static_cast<DWORD>(file.size())),
            name + ": cannot be read");
    int orientation = 1;
    Picture picture = Decode(stream.object, name, orientation);
    if (picture.profile.empty()) picture.profile = JpegProfile(file);
    if (orientation == 1) orientation = JpegOrientation(file);
    return Upright(std::move(picture), orientation);
}

// The component knows no layers.
LayeredPicture ReadLayeredPicture(const std::filesystem::path& path) {
    return {ReadPicture(path), {}};
}

void WritePicture(const std::filesystem::path& path, const Picture& given, const std::atomic<bool>* stop) {
    const PictureFormat format = FormatOf(path);
    const bool isPng = std::string(format.name) == "PNG";
    const std::string complaint = Shown(path) + ": cannot be encoded";
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

}  // namespace frond
