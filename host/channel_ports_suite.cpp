// The channel ports suite: reads and writes the open document.
#include <cstring>

#include "host/area_average.h"
#include "host/host_state.h"
#include "host/port_checks.h"

namespace host {

namespace {

std::string MemoryText(const Host& host, const PixelMemoryDesc* memory) {
    if (memory == nullptr) return "null";
    return Concat(NameOfAddress(host.memory, memory->data), " row ", memory->rowBits, " col ",
                  memory->colBits, " offset ", memory->bitOffset, " depth ", memory->depth);
}

std::string PortText(const Port& port) {
    return Concat("port ", port.id, ' ', port.name);
}

// Hashes `rows` by `columns` samples in the module's memory.
std::string HashSamples(const PixelArea& area, std::int64_t rows, std::int64_t columns) {
    ByteHash hash;
    for (std::int64_t y = 0; y < rows; ++y) {
        const auto* sample = static_cast<const std::uint8_t*>(area.data) + y * area.rowBytes;
        for (std::int64_t x = 0; x < columns; ++x, sample += area.columnBytes) {
            hash.Add(sample, static_cast<std::size_t>(area.sampleBytes));
        }
    }
    return Concat(std::hex, hash.value);
}

// Copies the rectangle `inside` between the channel and the module's memory. `area` is the memory of the
// rectangle `asked`, which contains `inside`.
void CopySamples(const Document& document, Channel& channel, const VRect& asked, const VRect& inside,
                 const PixelArea& area, bool toChannel) {
    const std::int64_t sampleBytes = area.sampleBytes;
    const std::int64_t columns = WidthOf(inside);
    const bool contiguous = area.columnBytes == sampleBytes;
    std::uint8_t* memory = static_cast<std::uint8_t*>(const_cast<void*>(area.data));
    for (std::int32_t y = inside.top; y < inside.bottom; ++y) {
        std::uint8_t* module = memory + (y - std::int64_t{asked.top}) * area.rowBytes +
                               (inside.left - std::int64_t{asked.left}) * area.columnBytes;
        std::uint8_t* own =
            channel.bytes.data() + ((y - std::int64_t{document.bounds.top}) * WidthOf(document.bounds) +
                                    (inside.left - document.bounds.left)) *
                                       sampleBytes;
        const std::int64_t copies = contiguous ? 1 : columns;
        const auto bytes = static_cast<std::size_t>(contiguous ? columns * sampleBytes : sampleBytes);
        for (std::int64_t i = 0; i < copies; ++i, own += bytes, module += area.columnBytes) {
            std::memcpy(toChannel ? own : module, toChannel ? module : own, bytes);
        }
    }
}

// An unscaled transfer in either direction.
SPErr Transfer(const char* call, HostCall kind, PIChannelPort key, VRect* rect, const PixelMemoryDesc* memory,
               bool toChannel) {
    Host* host = EnterService();
    Port* port = host == nullptr ? nullptr : RequirePort(*host, call, key);
    if (port == nullptr) return kServiceFailed;
    SPErr result = kServiceFailed;
    const VRect asked = rect != nullptr ? *rect : VRect{};
    VRect inside{};
    PixelArea area{};
    if (port->forWriting != toChannel) {
        ReportViolation(*host, ViolationKind::kBadPort, call, ": port ", port->id, " is for ",
                        toChannel ? "reading" : "writing");
    } else if (!(toChannel ? port->channel->writable : port->channel->readable)) {
        ReportViolation(*host, ViolationKind::kBadPort, call, ": port ", port->id, " is not ",
                        toChannel ? "writable" : "readable");
    } else if (RequireRectangle(*host, call, rect, &inside) &&
               RequireMemory(*host, call, *port->channel, memory, HeightOf(asked), WidthOf(asked), &area) &&
               !ShouldFail(*host, kind)) {
        CopySamples(*host->openDocument, *port->channel, asked, inside, area, toChannel);
        *rect = inside;
        result = noErr;
    }
    if (!host->options.trace) return result;
    const std::string hash = result == noErr ? ' ' + HashSamples(area, HeightOf(asked), WidthOf(asked)) : "";
    Trace(*host, call, ' ', PortText(*port), ' ', RectText(asked), ' ', MemoryText(*host, memory), " -> ",
          result, result == noErr ? ' ' + RectText(*rect) : "", hash);
    return result;
}

SPErr ReadPixelsFromLevel(PIChannelPort key, std::int32_t level, VRect* rect, const PixelMemoryDesc* memory) {
    Host* host = EnterService();
    if (host != nullptr && level != 0) {
        ReportViolation(*host, ViolationKind::kBadArgument, "ReadPixelsFromLevel: there is no level ", level);
        return kServiceFailed;
    }
    return Transfer("ReadPixelsFromLevel", HostCall::kReadPixels, key, rect, memory, false);
}

SPErr WritePixelsToBaseLevel(PIChannelPort key, VRect* rect, const PixelMemoryDesc* memory) {
    return Transfer("WritePixelsToBaseLevel", HostCall::kWritePixels, key, rect, memory, true);
}

template <typename Sample>
void ScaleChannel(const Document& document, const Channel& channel, const VRect& source,
                  const ScaledTarget& target) {
    const std::int64_t width = WidthOf(document.bounds);
    const std::int64_t offset =
        (source.top - document.bounds.top) * width + (source.left - document.bounds.left);
    const Sample* samples = reinterpret_cast<const Sample*>(channel.bytes.data());
    ScaleByArea(SourcePixels<Sample>{samples + offset, width, HeightOf(source), WidthOf(source)}, target);
}

// Checks the arguments of a scaled read in their order. The destination rectangle has its own coordinates and
// contains the rectangle to read.
bool PrepareScaledRead(Host& host, const Port& port, const VRect* rect, const PSScaling* scaling,
                       const PixelMemoryDesc* memory, VRect* source, ScaledTarget* target) {
    constexpr const char* kCall = "ReadScaledPixels";
    if (port.forWriting || !port.channel->readable) {
        ReportViolation(host, ViolationKind::kBadPort, kCall, ": port ", port.id,
                        port.forWriting ? " is for writing" : " is not readable");
        return false;
    }
    if (rect == nullptr || scaling == nullptr) {
        ReportViolation(host, ViolationKind::kBadArgument, kCall, ": null argument");
        return false;
    }
    const VRect& destination = scaling->destinationRect;
    if (IsEmpty(*rect) || !Contains(destination, *rect)) {
        ReportViolation(host, ViolationKind::kBadRectangle, kCall, ": ", RectText(*rect),
                        " is not inside the destination ", RectText(destination));
        return false;
    }
    PixelArea area{};
    if (!RequireSource(host, scaling->sourceRect, source) ||
        !RequireMemory(host, kCall, *port.channel, memory, HeightOf(*rect), WidthOf(*rect), &area)) {
        return false;
    }
    target->data = static_cast<std::uint8_t*>(const_cast<void*>(area.data));
    target->rowBytes = area.rowBytes;
    target->columnBytes = area.columnBytes;
    target->rows = HeightOf(destination);
    target->columns = WidthOf(destination);
    target->firstRow = rect->top - destination.top;
    target->firstColumn = rect->left - destination.left;
    target->deliveredRows = HeightOf(*rect);
    target->deliveredColumns = WidthOf(*rect);
    return true;
}

SPErr ReadScaledPixels(PIChannelPort key, VRect* rect, const PSScaling* scaling,
                       const PixelMemoryDesc* memory) {
    Host* host = EnterService();
    Port* port = host == nullptr ? nullptr : RequirePort(*host, "ReadScaledPixels", key);
    if (port == nullptr) return kServiceFailed;
    SPErr result = kServiceFailed;
    const VRect asked = rect != nullptr ? *rect : VRect{};
    VRect source{};
    ScaledTarget target{};
    if (PrepareScaledRead(*host, *port, rect, scaling, memory, &source, &target) &&
        !ShouldFail(*host, HostCall::kReadScaledPixels)) {
        if (host->options.shrinkScaledReads) {
            rect->bottom -= target.deliveredRows > 1;
            rect->right -= target.deliveredColumns > 1;
            target.deliveredRows = HeightOf(*rect);
            target.deliveredColumns = WidthOf(*rect);
        }
        const Document& document = *host->openDocument;
        if (DepthOf(document, *port->channel) == 8) {
            ScaleChannel<std::uint8_t>(document, *port->channel, source, target);
        } else {
            ScaleChannel<std::uint16_t>(document, *port->channel, source, target);
        }
        result = noErr;
    }
    Trace(*host, "ReadScaledPixels ", PortText(*port), ' ', RectText(asked), " source ",
          scaling != nullptr ? RectText(scaling->sourceRect) : "null", " destination ",
          scaling != nullptr ? RectText(scaling->destinationRect) : "null", ' ', MemoryText(*host, memory),
          " -> ", result, result == noErr ? ' ' + RectText(*rect) : "");
    return result;
}

// CanRead and CanWrite. A port for the other direction answers 0. Yes is 255, since modules must accept any
// value but 0.
SPErr QueryPort(const char* call, HostCall kind, PIChannelPort key, Boolean* answer, bool aboutWriting) {
    Host* host = EnterService();
    Port* port = host == nullptr ? nullptr : RequirePort(*host, call, key);
    if (port == nullptr) return kServiceFailed;
    if (answer == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, call, ": null argument");
        return kServiceFailed;
    }
    if (ShouldFail(*host, kind)) {
        Trace(*host, call, ' ', PortText(*port), " -> ", kServiceFailed);
        return kServiceFailed;
    }
    const bool allowed = aboutWriting ? port->channel->writable : port->channel->readable;
    *answer = port->forWriting == aboutWriting && allowed ? 255 : 0;
    Trace(*host, call, ' ', PortText(*port), " -> 0 ", *answer ? "true" : "false");
    return noErr;
}

SPErr CanRead(PIChannelPort key, Boolean* answer) {
    return QueryPort("CanRead", HostCall::kCanRead, key, answer, false);
}

SPErr CanWrite(PIChannelPort key, Boolean* answer) {
    return QueryPort("CanWrite", HostCall::kCanWrite, key, answer, true);
}

}  // namespace

const PSChannelPortsSuite* ChannelPortsSuite() {
    static const PSChannelPortsSuite kSuite = {NotOffered,
                                               NotOffered,
                                               NotOffered,
                                               NotOffered,
                                               NotOffered,
                                               NotOffered,
                                               NotOffered,
                                               CanRead,
                                               CanWrite,
                                               ReadPixelsFromLevel,
                                               WritePixelsToBaseLevel,
                                               ReadScaledPixels,
                                               NotOffered,
                                               NotOffered,
                                               NotOffered};
    return &kSuite;
}

}  // namespace host
