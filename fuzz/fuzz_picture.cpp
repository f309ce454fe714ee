// The files that frond reads itself (PSD files, a module's resources and their
// text), and its conversions of pictures in memory.
#include <algorithm>
#include <cstdlib>

#include "frond/command.h"
#include "frond/module_description.h"
#include "frond/pe_resources.h"
#include "images/psd_file.h"
#include "images/resample.h"
#include "tests/support/compare_variants.h"

namespace {

using frond::Bytes;
using test_support::Random;

void CheckShape(const images::Picture& picture) {
    for (const images::Plane& plane : picture.colour)
        if (plane.size() != images::PixelCount(picture)) std::abort();
    if (!picture.alpha.empty() && picture.alpha.size() != images::PixelCount(picture)) std::abort();
}

void CheckFile(const Bytes& file) {
    try {
        const images::LayeredPicture psd = images::ReadPsd(file, "picture", images::PsdLayers::kRead);
        CheckShape(psd.merged);
        for (const images::Picture& layer : psd.layers) CheckShape(layer);
    } catch (const images::PictureError&) {
    }
}

void CheckModule(const Bytes& file) {
    try {
        for (const frond::PeResource& resource : frond::ParsePeFile(file, "module").resources) {
            if (resource.type == "PIPL") frond::DescribePropertyList(resource.data);
            if (resource.type == "AETE") frond::DescribeTerminology(resource.data);
        }
    } catch (const frond::Failure&) {
    } catch (const frond::UnexpectedEnd&) {
    }
}

template <class Describe>
void CheckDescription(Describe describe, const Bytes& bytes) {
    try {
        describe(bytes);
    } catch (const frond::UnexpectedEnd&) {
    }
}

void CheckConversions(Random draws) {
    const int width = draws.Between(1, 40), height = draws.Between(1, 40);
    images::Picture picture = images::MakePicture(width, height, draws.Below(2) == 0 ? 8 : 16,
                                                  draws.Below(2) == 0 ? 1 : 3, draws.Below(2) == 0);
    for (images::Plane& plane : picture.colour) {
        for (std::uint16_t& sample : plane)
            sample = static_cast<std::uint16_t>(draws.Between(0, images::LargestSample(picture.depth)));
    }
    picture = images::ApplyOrientation(std::move(picture), draws.Between(-1, 10));
    if (draws.Below(2) == 0) images::ChangeDepth(picture, draws.Below(2) == 0 ? 8 : 16);
    if (draws.Below(2) == 0) {
        picture.offsetX = draws.Between(-2000000000, 2000000000);
        picture.offsetY = draws.Between(-50, 50);
        picture = images::PlaceOnCanvas(picture, draws.Between(1, 60), draws.Between(1, 60));
    }
    constexpr images::Fit kFits[] = {images::Fit::kCover, images::Fit::kStretch, images::Fit::kNone};
    const int w = draws.Between(1, 90), h = draws.Between(1, 90);
    images::Picture fitted = images::FitPicture(picture, w, h, kFits[draws.Below(3)]);
    images::FlattenOnWhite(fitted);
    images::ConvertToRgb(fitted);
    if (fitted.width != w || fitted.height != h || fitted.colour.size() != 3) std::abort();
    const int largest = images::LargestSample(fitted.depth);
    for (const images::Plane& plane : fitted.colour) {
        if (plane.size() != images::PixelCount(fitted)) std::abort();
        if (*std::max_element(plane.begin(), plane.end()) > largest) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) return 0;
    const Bytes file(bytes, bytes + size), rest(bytes + 1, bytes + size);
    if (file[0] == 'p') CheckDescription(frond::DescribePropertyList, rest);
    if (file[0] == 't') CheckDescription(frond::DescribeTerminology, rest);
    if (file[0] == 'c') CheckConversions(Random(bytes + 1, size - 1));
    CheckFile(file);
    CheckModule(file);
    return 0;
}
