// The channel ports suite: how the module reads and writes the open document.
//
// The ports' coordinates are the document's. Where the bounds begin at 0, a rectangle that leaves them is a
// violation. Where they do not, the module still asks for rectangles from 0, 0 on by design: the host then
// delivers the part inside the bounds, tells so in the rectangle, and leaves the rest of the memory alone.
#include <algorithm>
#include <cstring>

#include "host/area_average.h"
#include "host/host_state.h"

namespace {

bool IsEmpty(const VRect& rect) {
    return rect.right <= rect.left || rect.bottom <= rect.top;
}

VRect Intersection(const VRect& a, const VRect& b) {
    return {std::max(a.top, b.top), std::max(a.left, b.left), std::min(a.bottom, b.bottom),
            std::min(a.right, b.right)};
}

bool Contains(const VRect& outer, const VRect& inner) {
    return inner.top >= outer.top && inner.left >= outer.left && inner.bottom <= outer.bottom &&
           inner.right <= outer.right;
}

// A service's port. Null with a violation for one that is unknown, or was closed with its document.
Port* DemandPort(Host& host, const char* call, PIChannelPort key) {
    if (host.records != nullptr) {
        const auto found = host.records->ports.find(key);
        if (found != host.records->ports.end()) return found->second.get();
    }
    Violate(host, ViolationKind::kBadPort, call, ": ", key == nullptr ? "null" : "unknown", " port");
    return nullptr;
}

// The memory record as bytes; false with a violation when it does not suit the channel or its buffer.
// `rows` by `columns` samples are to pass.
bool DemandMemory(Host& host, const char* call, const PixelMemoryDesc* memory, std::int64_t rows,
                  std::int64_t columns, PixelArea* area) {
    const std::int32_t depth = host.openDocument->depth;
    const auto refuse = [&](const char* reason) {
        Violate(host, ViolationKind::kBadMemory, call, ": ", reason);
        return false;
    };
    if (memory == nullptr || memory->data == nullptr) return refuse("no memory given");
    if (memory->depth != depth) return refuse("the memory has another depth than the channel");
    if (memory->rowBits % 8 != 0 || memory->colBits % 8 != 0 || memory->bitOffset % 8 != 0) {
        return refuse("samples do not stand at whole bytes");
    }
    if (memory->bitOffset < 0 || memory->colBits < depth) return refuse("samples overlap");
    if (memory->rowBits < (columns - 1) * memory->colBits + depth) return refuse("rows overlap");
    area->data = static_cast<std::uint8_t*>(memory->data) + memory->bitOffset / 8;
    area->rows = rows;
    area->columns = columns;
    area->rowBytes = memory->rowBits / 8;
    area->columnBytes = memory->colBits / 8;
    area->sampleBytes = depth / 8;
    return AreaFits(host, call, *area);
}

std::string MemoryText(const Host& host, const PixelMemoryDesc* memory) {
    if (memory == nullptr) return "null";
    return Joined(NameOfAddress(host.memory, memory->data), " row ", memory->rowBits, " col ",
                  memory->colBits, " offset ", memory->bitOffset, " depth ", memory->depth);
}

// The part of the rectangle that the document has; false with a violation when the rectangle is not allowed.
bool DemandRectangle(Host& host, const char* call, const VRect* rect, VRect* inside) {
    const VRect& bounds = host.openDocument->bounds;
    if (rect == nullptr || IsEmpty(*rect)) {
        Violate(host, ViolationKind::kBadRectangle, call, ": ", rect == nullptr ? "no" : "an empty",
                " rectangle");
        return false;
    }
    const bool fits = bounds.top == 0 && bounds.left == 0
                          ? Contains(bounds, *rect)
                          : WidthOf(*rect) <= WidthOf(bounds) && HeightOf(*rect) <= HeightOf(bounds);
    if (!fits) {
        Violate(host, ViolationKind::kBadRectangle, call, ": ", RectText(*rect), " leaves the document's ",
                RectText(bounds));
        return false;
    }
    *inside = Intersection(*rect, bounds);
    return true;
}

// Copies between the channel and the module's memory, in either direction, over the rectangle `inside`, whose
// place in the memory is given by the rectangle that was asked for.
void CopySamples(const Document& document, Channel& channel, const VRect& asked, const VRect& inside,
                 const PixelArea& area, bool toChannel) {
    const std::int64_t sampleBytes = area.sampleBytes;
    const std::int64_t columns = WidthOf(inside);
    const bool contiguous = area.columnBytes == sampleBytes;
    std::uint8_t* memory = static_cast<std::uint8_t*>(const_cast<void*>(area.data));
    for (std::int32_t y = inside.top; y < inside.bottom; ++y) {
        std::uint8_t* outside = memory + (y - std::int64_t{asked.top}) * area.rowBytes +
                                (inside.left - std::int64_t{asked.left}) * area.columnBytes;
        std::uint8_t* own =
            channel.bytes.data() + ((y - std::int64_t{document.bounds.top}) * WidthOf(document.bounds) +
                                    (inside.left - document.bounds.left)) *
                                       sampleBytes;
        const std::int64_t pieces = contiguous ? 1 : columns;
        const auto bytes = static_cast<std::size_t>(contiguous ? columns * sampleBytes : sampleBytes);
        for (std::int64_t i = 0; i < pieces; ++i, own += bytes, outside += area.columnBytes) {
            std::memcpy(toChannel ? own : outside, toChannel ? outside : own, bytes);
        }
    }
}

// Both directions of a plain transfer.
SPErr Transfer(const char* call, HostCall kind, PIChannelPort key, VRect* rect, const PixelMemoryDesc* memory,
               bool toChannel) {
    Host* host = EnterService();
    Port* port = host == nullptr ? nullptr : DemandPort(*host, call, key);
    if (port == nullptr) return kServiceFailed;
    SPErr result = kServiceFailed;
    const VRect asked = rect != nullptr ? *rect : VRect{};
    VRect inside{};
    PixelArea area{};
    if (port->forWriting != toChannel) {
        Violate(*host, ViolationKind::kBadPort, call, ": port ", port->id, " is for ",
                toChannel ? "reading" : "writing");
    } else if (!(toChannel ? port->channel->writable : port->channel->readable)) {
        Violate(*host, ViolationKind::kBadPort, call, ": port ", port->id, " said that it cannot");
    } else if (DemandRectangle(*host, call, rect, &inside) &&
               DemandMemory(*host, call, memory, HeightOf(asked), WidthOf(asked), &area) &&
               !FailsNow(*host, kind)) {
        CopySamples(*host->openDocument, *port->channel, asked, inside, area, toChannel);
        *rect = inside;
        result = noErr;
    }
    Trace(*host, call, " port ", port->id, ' ', RectText(asked), ' ', MemoryText(*host, memory), " -> ",
          result);
    return result;
}

SPErr ReadPixelsFromLevel(PIChannelPort key, std::int32_t level, VRect* rect, const PixelMemoryDesc* memory) {
    Host* host = EnterService();
    if (host != nullptr && level != 0) {
        Violate(*host, ViolationKind::kBadArgument, "ReadPixelsFromLevel: there is no level ", level);
        return kServiceFailed;
    }
    return Transfer("ReadPixelsFromLevel", HostCall::kReadPixels, key, rect, memory, false);
}

SPErr WritePixelsToBaseLevel(PIChannelPort key, VRect* rect, const PixelMemoryDesc* memory) {
    return Transfer("WritePixelsToBaseLevel", HostCall::kWritePixels, key, rect, memory, true);
}

// What a scaled read samples. An empty side is the limit of a shrinking one: it stands for the sample that it
// lies on, so that a zoom to nothing still shows the colour of the place.
bool DemandSource(Host& host, const VRect& asked, VRect* source) {
    const VRect& bounds = host.openDocument->bounds;
    if (asked.right < asked.left || asked.bottom < asked.top || !Contains(bounds, asked)) {
        Violate(host, ViolationKind::kBadRectangle, "ReadScaledPixels: the source ", RectText(asked),
                " leaves the document's ", RectText(bounds));
        return false;
    }
    *source = asked;
    if (source->top == source->bottom) {
        source->top = std::min(source->top, bounds.bottom - 1);
        source->bottom = source->top + 1;
    }
    if (source->left == source->right) {
        source->left = std::min(source->left, bounds.right - 1);
        source->right = source->left + 1;
    }
    return true;
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

// The checks of a scaled read, in the order of its arguments. The destination of the scaling stands in
// coordinates of its own, and the rectangle to read is a part of it.
bool PrepareScaledRead(Host& host, const Port& port, const VRect* rect, const PSScaling* scaling,
                       const PixelMemoryDesc* memory, VRect* source, ScaledTarget* target) {
    constexpr const char* kCall = "ReadScaledPixels";
    if (port.forWriting || !port.channel->readable) {
        Violate(host, ViolationKind::kBadPort, kCall, ": port ", port.id,
                port.forWriting ? " is for writing" : " said that it cannot");
        return false;
    }
    if (rect == nullptr || scaling == nullptr) {
        Violate(host, ViolationKind::kBadArgument, kCall, ": null argument");
        return false;
    }
    const VRect& destination = scaling->destinationRect;
    if (IsEmpty(*rect) || !Contains(destination, *rect)) {
        Violate(host, ViolationKind::kBadRectangle, kCall, ": ", RectText(*rect),
                " is no part of the destination ", RectText(destination));
        return false;
    }
    PixelArea area{};
    if (!DemandSource(host, scaling->sourceRect, source) ||
        !DemandMemory(host, kCall, memory, HeightOf(*rect), WidthOf(*rect), &area)) {
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
    Port* port = host == nullptr ? nullptr : DemandPort(*host, "ReadScaledPixels", key);
    if (port == nullptr) return kServiceFailed;
    SPErr result = kServiceFailed;
    const VRect asked = rect != nullptr ? *rect : VRect{};
    VRect source{};
    ScaledTarget target{};
    if (PrepareScaledRead(*host, *port, rect, scaling, memory, &source, &target) &&
        !FailsNow(*host, HostCall::kReadScaledPixels)) {
        if (host->options.shrinkScaledReads) {
            rect->bottom -= target.deliveredRows > 1;
            rect->right -= target.deliveredColumns > 1;
            target.deliveredRows = HeightOf(*rect);
            target.deliveredColumns = WidthOf(*rect);
        }
        const Document& document = *host->openDocument;
        if (document.depth == 8) {
            ScaleChannel<std::uint8_t>(document, *port->channel, source, target);
        } else {
            ScaleChannel<std::uint16_t>(document, *port->channel, source, target);
        }
        result = noErr;
    }
    Trace(*host, "ReadScaledPixels port ", port->id, ' ', RectText(asked), " source ",
          scaling != nullptr ? RectText(scaling->sourceRect) : "null", " destination ",
          scaling != nullptr ? RectText(scaling->destinationRect) : "null", ' ', MemoryText(*host, memory),
          " -> ", result);
    return result;
}

// CanRead and CanWrite: a port of the other direction can not.
SPErr AskPort(const char* call, HostCall kind, PIChannelPort key, Boolean* answer, bool aboutWriting) {
    Host* host = EnterService();
    Port* port = host == nullptr ? nullptr : DemandPort(*host, call, key);
    if (port == nullptr) return kServiceFailed;
    if (answer == nullptr) {
        Violate(*host, ViolationKind::kBadArgument, call, ": null argument");
        return kServiceFailed;
    }
    if (FailsNow(*host, kind)) {
        Trace(*host, call, " port ", port->id, " -> ", kServiceFailed);
        return kServiceFailed;
    }
    const bool allowed = aboutWriting ? port->channel->writable : port->channel->readable;
    *answer = port->forWriting == aboutWriting && allowed;
    Trace(*host, call, " port ", port->id, " -> 0 ", *answer ? "true" : "false");
    return noErr;
}

SPErr CanRead(PIChannelPort key, Boolean* answer) {
    return AskPort("CanRead", HostCall::kCanRead, key, answer, false);
}

SPErr CanWrite(PIChannelPort key, Boolean* answer) {
    return AskPort("CanWrite", HostCall::kCanWrite, key, answer, true);
}

// ---- The slots without a caller in the module, answered truthfully
// -------------------------------------------

// The open document for a port's sake; null with a violation, also for a null place to answer in.
const Document* DemandDocument(const char* call, PIChannelPort key, const void* answer) {
    Host* host = EnterService();
    if (host == nullptr || DemandPort(*host, call, key) == nullptr) return nullptr;
    Trace(*host, call);
    if (answer == nullptr) {
        Violate(*host, ViolationKind::kBadArgument, call, ": null argument");
        return nullptr;
    }
    return host->openDocument;
}

SPErr CountLevels(PIChannelPort key, std::int32_t* levels) {
    if (DemandDocument("CountLevels", key, levels) == nullptr) return kServiceFailed;
    *levels = 1;
    return noErr;
}

SPErr GetDepth(PIChannelPort key, std::int32_t* depth) {
    const Document* document = DemandDocument("GetDepth", key, depth);
    if (document == nullptr) return kServiceFailed;
    *depth = document->depth;
    return noErr;
}

SPErr GiveBounds(const char* call, PIChannelPort key, VRect* rect) {
    const Document* document = DemandDocument(call, key, rect);
    if (document == nullptr) return kServiceFailed;
    *rect = document->bounds;
    return noErr;
}

SPErr GetDataBounds(PIChannelPort key, VRect* rect) {
    return GiveBounds("GetDataBounds", key, rect);
}

SPErr GetWriteLimit(PIChannelPort key, VRect* rect) {
    return GiveBounds("GetWriteLimit", key, rect);
}

SPErr GetSupportRect(PIChannelPort key, VRect* rect) {
    return GiveBounds("GetSupportRect", key, rect);
}

// One tile holds the whole document.
SPErr GetTilingGrid(PIChannelPort key, VPoint* origin, VPoint* size) {
    const Document* document = DemandDocument("GetTilingGrid", key, origin);
    if (document == nullptr || size == nullptr) return kServiceFailed;
    *origin = {document->bounds.top, document->bounds.left};
    *size = {HeightOf(document->bounds), WidthOf(document->bounds)};
    return noErr;
}

SPErr GetDependentRect(PIChannelPort key, const VRect* changed, VRect* dependent) {
    if (DemandDocument("GetDependentRect", key, dependent) == nullptr || changed == nullptr) {
        return kServiceFailed;
    }
    *dependent = *changed;
    return noErr;
}

SPErr FindSourceForScaledRead(PIChannelPort key, VRect* source, const PSScaling* scaling) {
    if (DemandDocument("FindSourceForScaledRead", key, source) == nullptr || scaling == nullptr) {
        return kServiceFailed;
    }
    *source = scaling->sourceRect;
    return noErr;
}

// Ports of the module's own are not offered.
SPErr NewPort(PIChannelPort*, const VRect*, std::int32_t, Boolean) {
    Host* host = EnterService();
    if (host != nullptr) Trace(*host, "New port -> ", kServiceFailed);
    return kServiceFailed;
}

SPErr DisposePort(PIChannelPort*) {
    Host* host = EnterService();
    if (host != nullptr) {
        Violate(*host, ViolationKind::kBadPort, "Dispose: the document's ports are the host's");
    }
    return kServiceFailed;
}

}  // namespace

const PSChannelPortsSuite* ChannelPortsSuite() {
    static const PSChannelPortsSuite suite = {
        CountLevels,
        GetDepth,
        GetDataBounds,
        GetWriteLimit,
        GetTilingGrid,
        GetSupportRect,
        GetDependentRect,
        CanRead,
        CanWrite,
        ReadPixelsFromLevel,
        WritePixelsToBaseLevel,
        ReadScaledPixels,
        FindSourceForScaledRead,
        NewPort,
        DisposePort,
    };
    return &suite;
}
