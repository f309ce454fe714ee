#include "frond/sheet_picture.h"

#include <algorithm>
#include <cstdio>

#include "frond/command.h"
#include "images/text_label.h"

namespace frond {

namespace {

// Lengths in pixels. A sheet is looked at in its full size.
constexpr int kMargin = 24;  // around the sheet, and between crops
constexpr int kTextSize = 18;
constexpr int kTextGap = 10;          // between a text and what is below it
constexpr int kFrame = 4;             // width of a mark, in the gap around the crop
constexpr int kFrameGap = 3;          // between crop and mark
constexpr int kLeastCellWidth = 300;  // for labels over small crops
constexpr int kSquare = 16;           // of the checker board
constexpr int kLargestSide = 65000;   // JPEG ends at 65535
constexpr std::int64_t kMostPixels = 400'000'000;

// Levels of 8 bits.
struct Colour {
    int levels[3];
};
constexpr Colour kPaper{{236, 236, 236}}, kInk{{24, 24, 24}}, kMark{{224, 96, 0}};
constexpr int kDarkSquare = 140, kLightSquare = 178;

std::uint16_t SampleOf(int level, int depth) {
    return static_cast<std::uint16_t>(depth == 8 ? level : level * 257);
}

void Fill(images::Picture& picture, const Area& area, const Colour& colour) {
    for (std::size_t c = 0; c < 3; ++c) {
        for (int y = area.top; y < area.top + area.height; ++y) {
            std::fill_n(picture.colour[c].begin() + std::size_t(y) * picture.width + area.left, area.width,
                        SampleOf(colour.levels[c], picture.depth));
        }
    }
}

void DrawText(images::Picture& picture, const images::Picture& text, int left, int top) {
    for (std::size_t c = 0; c < 3; ++c) {
        const int paper = kPaper.levels[c], ink = kInk.levels[c];
        for (int y = 0; y < text.height; ++y) {
            const std::uint16_t* from = text.colour[0].data() + std::size_t(y) * text.width;
            std::uint16_t* to = picture.colour[c].data() + std::size_t(top + y) * picture.width + left;
            for (int x = 0; x < text.width; ++x)
                to[x] = SampleOf((paper * (255 - from[x]) + ink * from[x] + 127) / 255, picture.depth);
        }
    }
}

images::Picture RenderLabel(const std::string& text, int width) {
    try {
        return images::RenderText(text, kTextSize, width);
    } catch (const images::PictureError& error) {
        throw Failure(kRunFailed, error.what());
    }
}

// The upper left corner of a cell's crop.
Area CropOf(const Sheet& sheet, std::size_t cell, int width, int height) {
    const int index = static_cast<int>(cell);
    return {kMargin + index % sheet.columns * sheet.cellWidth,
            sheet.firstTop + index / sheet.columns * sheet.cellHeight, width, height};
}

Area Widened(const Area& area, int by) {
    return {area.left - by, area.top - by, area.width + 2 * by, area.height + 2 * by};
}

// The sums of values over rectangles of a survey's samples.
struct AreaSums {
    std::size_t stride;
    std::vector<std::int64_t> corners;  // each the sum of all values above and to the left of it

    template <typename Value>
    AreaSums(const Survey& survey, const Value& valueAt)
        : stride(std::size_t(survey.width) + 1), corners(stride * (std::size_t(survey.height) + 1)) {
        for (int y = 0; y < survey.height; ++y) {
            std::int64_t row = 0;
            for (int x = 0; x < survey.width; ++x) {
                row += valueAt(x, y);
                corners[(y + 1) * stride + x + 1] = corners[y * stride + x + 1] + row;
            }
        }
    }
    std::int64_t Of(int left, int top, int width, int height) const {
        const std::int64_t* upper = corners.data() + top * stride + left;
        const std::int64_t* lower = upper + height * stride;
        return lower[width] - lower[0] - upper[width] + upper[0];
    }
};

// Samples below and above are noise of the backdrop and of the subject.
constexpr int kLeastSoft = 26, kMostSoft = 229;

// Counts the samples with alpha from `least` to `most` whose neighbours are nearly all like them. Grains of
// the backdrop that are kept have other neighbours.
AreaSums CountSolid(const Survey& survey, int least, int most) {
    constexpr int kReach = 4;  // neighbours in each direction
    const auto isLike = [&](int x, int y) {
        const int alpha = survey.alpha[std::size_t(y) * survey.width + x];
        return alpha >= least && alpha <= most ? 1 : 0;
    };
    const AreaSums like(survey, isLike);
    return AreaSums(survey, [&](int x, int y) {
        const int left = std::max(0, x - kReach), right = std::min(survey.width, x + kReach + 1);
        const int top = std::max(0, y - kReach), bottom = std::min(survey.height, y + kReach + 1);
        const int count = (right - left) * (bottom - top);
        return isLike(x, y) && like.Of(left, top, right - left, bottom - top) * 10 >= count * 9 ? 1 : 0;
    });
}

}  // namespace

CropRequest ParseCrop(const std::string& text) {
    CropRequest crop;
    int sized = 0, placed = 0;
    const int count = std::sscanf(text.c_str(), "%5dx%5d%n+%5d+%5d%n", &crop.width, &crop.height, &sized,
                                  &crop.left, &crop.top, &placed);
    const int length = static_cast<int>(text.size());
    crop.hasPlace = count == 4 && placed == length;
    if ((!crop.hasPlace && (count != 2 || sized != length)) || crop.width < 1 || crop.height < 1) {
        throw Failure(
            kBadUsage,
            "--crop: \"" + text + "\" is not an area; use WIDTHxHEIGHT or WIDTHxHEIGHT+LEFT+TOP, in pixels");
    }
    return crop;
}

std::optional<Area> FindSoftestArea(const Survey& survey, int width, int height, const CropRequest& size) {
    const AreaSums soft(survey, [&](int x, int y) {
        const int alpha = survey.alpha[std::size_t(y) * survey.width + x];
        return alpha < kLeastSoft || alpha > kMostSoft ? 0 : alpha * (255 - alpha);
    });
    const AreaSums kept = CountSolid(survey, kMostSoft + 1, 255);
    const AreaSums removed = CountSolid(survey, 0, kLeastSoft - 1);
    const int columns = std::clamp(size.width / survey.step, 1, survey.width);
    const int rows = std::clamp(size.height / survey.step, 1, survey.height);
    const std::int64_t enough = std::int64_t{columns} * rows / 8;
    // Smears and noise of the backdrop are soft too, but have no subject beside them. Only a matte without
    // any subject is searched for them, in the second round.
    for (const bool needsEdge : {true, false}) {
        std::int64_t best = 0;
        Area area{0, 0, size.width, size.height};
        for (int y = 0; y + rows <= survey.height; ++y) {
            for (int x = 0; x + columns <= survey.width; ++x) {
                const std::int64_t edge =
                    std::min({enough, kept.Of(x, y, columns, rows), removed.Of(x, y, columns, rows)});
                const std::int64_t score = soft.Of(x, y, columns, rows) * (needsEdge ? edge : 1);
                if (score <= best) continue;
                best = score;
                area.left = std::min(x * survey.step, width - size.width);
                area.top = std::min(y * survey.step, height - size.height);
            }
        }
        if (best > 0) return area;
    }
    return std::nullopt;
}

Sheet MakeSheet(const SheetContent& content, int depth) {
    const int count = static_cast<int>(content.cells.size());
    const int rows = (count + content.columns - 1) / content.columns;
    const int cellWidth = std::max(content.cropWidth, kLeastCellWidth);
    std::vector<images::Picture> labels;
    int labelHeight = 0;
    for (const SheetContent::Cell& cell : content.cells) {
        labels.push_back(RenderLabel(cell.label, cellWidth));
        labelHeight = std::max(labelHeight, labels.back().height);
    }
    Sheet sheet;
    sheet.columns = content.columns;
    sheet.cellWidth = cellWidth + kMargin;
    sheet.cellHeight = labelHeight + kTextGap + content.cropHeight + kMargin;
    const std::int64_t width = kMargin + std::int64_t{content.columns} * sheet.cellWidth;
    const images::Picture header = RenderLabel(
        content.header, static_cast<int>(std::min<std::int64_t>(width, kLargestSide)) - 2 * kMargin);
    sheet.firstTop = kMargin + header.height + kMargin + labelHeight + kTextGap;
    const std::int64_t height = kMargin + header.height + kMargin + std::int64_t{rows} * sheet.cellHeight;
    if (width > kLargestSide || height > kLargestSide || width * height > kMostPixels) {
        throw Failure(kBadUsage, "the sheet would have " + std::to_string(width) + "x" +
                                     std::to_string(height) +
                                     " pixels; use fewer values or a smaller --crop");
    }
    sheet.picture = images::MakePicture(static_cast<int>(width), static_cast<int>(height), depth, 3, false);
    Fill(sheet.picture, {0, 0, sheet.picture.width, sheet.picture.height}, kPaper);
    DrawText(sheet.picture, header, kMargin, kMargin);
    for (std::size_t i = 0; i < content.cells.size(); ++i) {
        const Area crop = CropOf(sheet, i, content.cropWidth, content.cropHeight);
        DrawText(sheet.picture, labels[i], crop.left, crop.top - kTextGap - labelHeight);
        if (!content.cells[i].isMarked) continue;
        Fill(sheet.picture, Widened(crop, kFrameGap + kFrame), kMark);
        Fill(sheet.picture, Widened(crop, kFrameGap), kPaper);
    }
    return sheet;
}

void PasteCrop(Sheet& sheet, std::size_t cell, const images::Picture& result, const Area& area) {
    const Area crop = CropOf(sheet, cell, area.width, area.height);
    const std::uint32_t largest = static_cast<std::uint32_t>(images::LargestSample(result.depth));
    for (std::size_t c = 0; c < 3; ++c) {
        for (int y = 0; y < area.height; ++y) {
            const std::size_t from = std::size_t(area.top + y) * result.width + area.left;
            std::uint16_t* to =
                sheet.picture.colour[c].data() + std::size_t(crop.top + y) * sheet.picture.width + crop.left;
            std::copy_n(result.colour[c].data() + from, area.width, to);
            for (int x = 0; x < area.width && !result.alpha.empty(); ++x) {
                const bool isDark = (x / kSquare + y / kSquare) % 2 == 0;
                const std::uint32_t square = SampleOf(isDark ? kDarkSquare : kLightSquare, result.depth);
                const std::uint32_t alpha = result.alpha[from + x];
                to[x] = static_cast<std::uint16_t>(
                    (to[x] * alpha + square * (largest - alpha) + largest / 2) / largest);
            }
        }
    }
}

}  // namespace frond
