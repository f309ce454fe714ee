// The picture of a contact sheet: where its crops are taken and placed, and its texts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frond/survey.h"
#include "images/picture.h"

namespace frond {

// A part of a photograph in pixels.
struct Area {
    int left = 0, top = 0, width = 0, height = 0;
};

// An area with or without a place.
struct CropRequest {
    int width = 480, height = 480;  // pixels; clipped to the photograph
    bool hasPlace = false;
    int left = 0, top = 0;
};

// Reads WxH or WxH+X+Y. Throws Failure kBadUsage.
CropRequest ParseCrop(const std::string& text);

// The place at which an area of the size holds most half-transparent samples at the subject's edge. Empty:
// the photograph has none. The size is at most that of the photograph, `width` x `height` pixels.
std::optional<Area> FindSoftestArea(const Survey& survey, int width, int height, const CropRequest& size);

// The texts of a sheet and the size of its crops.
struct SheetContent {
    struct Cell {
        std::string label;
        bool isMarked;  // has a frame
    };
    std::string header;
    std::vector<Cell> cells;  // row by row
    int columns;
    int cropWidth, cropHeight;  // pixels
};

// A sheet: the header, and below it cells of a label and a crop. Lengths in pixels.
struct Sheet {
    images::Picture picture;
    int columns;
    int cellWidth, cellHeight;  // with the gap to the next cell
    int firstTop;               // of the first crop
};

// Makes a sheet of RGB with texts and frames and without crops. Throws Failure: kBadUsage when it is too
// large, kRunFailed when there is no font.
Sheet MakeSheet(const SheetContent& content, int depth);

// Copies the area of a result to the crop of a cell; a transparent result is shown over a checker board. Both
// have the same depth.
void PasteCrop(Sheet& sheet, std::size_t cell, const images::Picture& result, const Area& area);

}  // namespace frond
