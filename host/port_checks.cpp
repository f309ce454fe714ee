#include "host/port_checks.h"

#include <algorithm>

namespace host {

namespace {

VRect Intersection(const VRect& a, const VRect& b) {
    return {std::max(a.top, b.top), std::max(a.left, b.left), std::min(a.bottom, b.bottom),
            std::min(a.right, b.right)};
}

}  // namespace

bool IsEmpty(const VRect& rect) {
    return rect.right <= rect.left || rect.bottom <= rect.top;
}

bool Contains(const VRect& outer, const VRect& inner) {
    return inner.top >= outer.top && inner.left >= outer.left && inner.bottom <= outer.bottom &&
           inner.right <= outer.right;
}

Port* RequirePort(Host& host, const char* call, PIChannelPort key) {
    if (host.records != nullptr) {
        const auto found = host.records->ports.find(key);
        if (found != host.records->ports.end()) return found->second.get();
    }
    ReportViolation(host, ViolationKind::kBadPort, call, ": ", key == nullptr ? "null" : "unknown", " port");
    return nullptr;
}

bool RequireMemory(Host& host, const char* call, const Channel& channel, const PixelMemoryDesc* memory,
                   std::int64_t rows, std::int64_t columns, PixelArea* area) {
    const std::int32_t depth = DepthOf(*host.openDocument, channel);
    const auto refuse = [&](const char* reason) {
        ReportViolation(host, ViolationKind::kBadMemory, call, ": ", reason);
        return false;
    };
    if (memory == nullptr || memory->data == nullptr) return refuse("no memory given");
    if (memory->depth != depth) return refuse("the memory's depth is not the channel's");
    if (memory->rowBits % 8 != 0 || memory->colBits % 8 != 0 || memory->bitOffset % 8 != 0) {
        return refuse("samples are not at whole bytes");
    }
    if (memory->bitOffset < 0 || memory->colBits < depth) return refuse("samples overlap");
    if (memory->rowBits < (columns - 1) * memory->colBits + depth) return refuse("rows overlap");
    area->data = static_cast<std::uint8_t*>(memory->data) + memory->bitOffset / 8;
    area->rows = rows;
    area->columns = columns;
    area->rowBytes = memory->rowBits / 8;
    area->columnBytes = memory->colBits / 8;
    area->sampleBytes = depth / 8;
    return RequireArea(host, call, *area);
}

bool RequireRectangle(Host& host, const char* call, const VRect* rect, VRect* inside) {
    const VRect& bounds = host.openDocument->bounds;
    if (rect == nullptr || IsEmpty(*rect)) {
        ReportViolation(host, ViolationKind::kBadRectangle, call, ": ", rect == nullptr ? "no" : "an empty",
                        " rectangle");
        return false;
    }
    const bool fits = bounds.top == 0 && bounds.left == 0
                          ? Contains(bounds, *rect)
                          : WidthOf(*rect) <= WidthOf(bounds) && HeightOf(*rect) <= HeightOf(bounds);
    if (!fits) {
        ReportViolation(host, ViolationKind::kBadRectangle, call, ": ", RectText(*rect),
                        " is not inside the document's ", RectText(bounds));
        return false;
    }
    *inside = Intersection(*rect, bounds);
    if (IsEmpty(*inside)) *inside = {rect->top, rect->left, rect->top, rect->left};
    return true;
}

bool RequireSource(Host& host, const VRect& asked, VRect* source) {
    const VRect& bounds = host.openDocument->bounds;
    if (asked.right < asked.left || asked.bottom < asked.top || !Contains(bounds, asked)) {
        ReportViolation(host, ViolationKind::kBadRectangle, "ReadScaledPixels: the source ", RectText(asked),
                        " is not inside the document's ", RectText(bounds));
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

}  // namespace host
