// displayPixels: records what the module displays, and paints it to a given device context.
#include <cstring>

#include "host/host_state.h"
#include "host/painting.h"

namespace host {

namespace {

constexpr std::int32_t kMapVersion = 2;
constexpr std::int64_t kLargestSide = 32767;

// Appends rows by columns of bytes, without padding.
void CopyPlane(const std::uint8_t* from, const PixelArea& area, std::vector<std::uint8_t>& to) {
    for (std::int64_t y = 0; y < area.rows; ++y) {
        const std::uint8_t* row = from + y * area.rowBytes;
        for (std::int64_t x = 0; x < area.columns; ++x) to.push_back(row[x * area.columnBytes]);
    }
}

// Returns false, without a violation, for a map without pixels. This is intended: a document of more than
// 32767 pixels a side makes the module's 16-bit rectangle wrap, and a failed allocation leaves a map without
// pixels.
bool HasPixels(const PSPixelMap& map) {
    const std::int64_t rows = std::int64_t{map.bounds.bottom} - map.bounds.top;
    const std::int64_t columns = std::int64_t{map.bounds.right} - map.bounds.left;
    return rows > 0 && columns > 0 && rows <= kLargestSide && columns <= kLargestSide &&
           map.baseAddr != nullptr;
}

bool IsValidMap(Host& host, const PSPixelMap& map, const VRect& source) {
    const auto refuse = [&](const char* reason) {
        ReportViolation(host, ViolationKind::kBadMemory, "displayPixels: ", reason);
        return false;
    };
    if (map.version < 1 || map.version > kMapVersion) return refuse("the map's version is unknown");
    if (map.imageMode != plugInModeRGBColor) return refuse("the map's mode is not RGB");
    if (source.top < map.bounds.top || source.left < map.bounds.left || source.bottom > map.bounds.bottom ||
        source.right > map.bounds.right) {
        return refuse("the source rectangle leaves the map");
    }
    if (map.masks != nullptr && map.masks->maskData != nullptr &&
        map.masks->maskDescription != kSimplePSMask) {
        return refuse("the mask is not a simple one");
    }
    return true;
}

bool CopyPixels(Host& host, const PSPixelMap& map, DisplayCall* shown) {
    const std::int64_t rows = HeightOf(map.bounds);
    const std::int64_t columns = WidthOf(map.bounds);
    const auto* base = static_cast<const std::uint8_t*>(map.baseAddr);
    for (int plane = 0; plane < 3; ++plane) {
        const PixelArea area = {
            base + plane * std::int64_t{map.planeBytes}, rows, columns, map.rowBytes, map.colBytes, 1};
        // One block must contain all planes.
        const std::int64_t reach =
            plane * std::int64_t{map.planeBytes} + (rows - 1) * map.rowBytes + (columns - 1) * map.colBytes;
        if (!RequireArea(host, "displayPixels", {base, 2, 1, reach, 1, 1}) ||
            !RequireArea(host, "displayPixels", area)) {
            return false;
        }
        CopyPlane(static_cast<const std::uint8_t*>(area.data), area, shown->pixels);
    }
    if (map.masks == nullptr) return true;
    shown->mask = *map.masks;
    const auto* maskData = static_cast<const std::uint8_t*>(map.masks->maskData);
    if (maskData == nullptr) return true;  // its allocation may have failed; displayed without a mask
    const PixelArea area = {maskData, rows, columns, map.masks->rowBytes, map.masks->colBytes, 1};
    if (!RequireArea(host, "displayPixels", area)) return false;
    CopyPlane(maskData, area, shown->maskBytes);
    return true;
}

}  // namespace

OSErr DisplayPixels(const PSPixelMap* map, const VRect* sourceRect, std::int32_t row, std::int32_t column,
                    void* context) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    if (map == nullptr || sourceRect == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "displayPixels: null argument");
        return kServiceFailed;
    }
    DisplayCall shown{};
    shown.map = *map;
    shown.sourceRect = *sourceRect;
    shown.row = row;
    shown.column = column;
    shown.context = context;
    OSErr result = kServiceFailed;
    if (HasPixels(*map) && IsValidMap(*host, *map, *sourceRect) && CopyPixels(*host, *map, &shown) &&
        !ShouldFail(*host, HostCall::kDisplayPixels)) {
        if (context != nullptr) PaintDisplay(shown);
        result = noErr;
    }
    Trace(*host, "displayPixels ", RectText(map->bounds), " row ", map->rowBytes, " col ", map->colBytes,
          " plane ", map->planeBytes, ' ', NameOfAddress(host->memory, map->baseAddr), " mask ",
          map->masks != nullptr ? NameOfAddress(host->memory, map->masks->maskData) : "none", " source ",
          RectText(*sourceRect), " at ", row, ' ', column, " -> ", result);
    if (host->options.displayed) host->options.displayed(shown);
    if (!host->options.keepDisplays) host->report.displays.clear();
    host->report.displays.push_back(std::move(shown));
    return result;
}

}  // namespace host
