#include "frond/advice.h"

#include <algorithm>
#include <cstddef>

#include "frond/survey.h"

namespace frond {

namespace {

// Few samples are enough for shares of the picture, and cost a millisecond.
constexpr int kSamples = 20000;
constexpr std::size_t kFewestSamples = 1000;  // a smaller picture or selection is no photograph

// The limits are shares of the samples that count. They were measured on sample plates (green and blue, cloth
// and pure, dark and blown hair, whole and cut to the face, brightened, darkened, JPEG at quality 40) and on
// a photograph of a chair before bright green, whole, cut until the chair filled the frame, and shrunk.

// Removed: 0 to 0.0075 with the other colour's backdrop, 0.03 and more in close portraits.
constexpr double kHardlyRemoved = 0.01;
// Removed with the other colour: 0.7 and more where it is right, 0.23 on a photograph without a backdrop.
constexpr double kOtherRemoved = 0.3;
// Removed of the upper edge, which a backdrop reaches even where the subject has the other colour: 0 with the
// wrong colour, nearly 1 with the right one, also above a blue chair that fills the frame before green.
constexpr double kHardlyAtEdge = 0.05, kMostlyAtEdge = 0.8;
// Alpha of a half or more: 0.0004 on an empty backdrop, 0.0019 with a chair of a five-hundredth of the
// picture.
constexpr double kHardlyKept = 0.001;
// Alpha of 0.05 to 0.95 at 8 bits: 0.0003 on a chair with a clean backdrop, 0.03 and more with hair. From
// 0.008 on a 16-bit result was visibly worse.
constexpr double kMuchSoft = 0.005;
// Both other channels at 0, of the samples of the backdrop's colour: 0.88 and more on pure backdrops, also as
// JPEG. There are no patches with one channel at 0, nor with noise of one level, where the share is 0.5.
constexpr double kMostlyEmpty = 0.6;
constexpr int kBackdropLead = 20;  // levels: the key channel's lead in a sample of the backdrop's colour
constexpr double kLeastBackdrop = 0.05;  // share of such samples

struct Counts {
    std::size_t all = 0, removed = 0, soft = 0, kept = 0;  // kept: alpha of a half or more
    std::size_t edge = 0, edgeRemoved = 0;                 // of the first row
    std::size_t backdrop = 0, empty = 0;  // of the backdrop's colour; those of them with empty channels
};

bool IsMore(std::size_t part, double share, std::size_t whole) {
    return static_cast<double>(part) > share * static_cast<double>(whole);
}

Counts CountSamples(const images::Picture& photo, const Survey& survey, bool isBlue,
                    const std::uint8_t* selection) {
    Counts counts;
    const images::Plane& key = photo.colour[isBlue ? 2 : 1];
    const images::Plane& third = photo.colour[isBlue ? 1 : 2];
    const int lead = kBackdropLead * images::LargestSample(photo.depth) / 255;
    const int leastAlpha = images::LargestSample(photo.depth) / 20;  // the filter keys no fainter pixel
    const std::uint8_t* alpha = survey.alpha.data();
    for (int y = 0; y < survey.height; ++y) {
        std::size_t at = static_cast<std::size_t>(y) * survey.step * static_cast<std::size_t>(photo.width);
        for (int x = 0; x < survey.width; ++x, ++alpha, at += static_cast<std::size_t>(survey.step)) {
            if (selection != nullptr && selection[at] == 0) continue;
            if (!photo.alpha.empty() && photo.alpha[at] <= leastAlpha) continue;
            ++counts.all;
            counts.removed += *alpha == 0;
            counts.edge += y == 0;
            counts.edgeRemoved += y == 0 && *alpha == 0;
            counts.soft += *alpha > 12 && *alpha < 243;
            counts.kept += *alpha >= 128;
            const int others = std::max(photo.colour[0][at], third[at]);
            if (key[at] - others < lead) continue;
            ++counts.backdrop;
            counts.empty += others == 0;
        }
    }
    return counts;
}

// What to say where hardly anything of the picture or of its upper edge is removed; empty: nothing.
std::string HardlyKeyedText(const images::Picture& photo, ParameterValues parameters, const Counts& counts,
                            const std::uint8_t* selection) {
    const bool isHardlyKeyed = !IsMore(counts.removed, kHardlyRemoved, counts.all);
    if (!isHardlyKeyed && IsMore(counts.edgeRemoved, kHardlyAtEdge, counts.edge)) return {};
    const bool isBlue = ValueOrDefault(parameters, "FlagBlueLogic") != 0;
    SetValue(parameters, "FlagBlueLogic", !isBlue);
    const Counts other =
        CountSamples(photo, SurveyPhotograph(photo, parameters, kSamples), !isBlue, selection);
    const bool isOther = IsMore(other.removed, kOtherRemoved, other.all) &&
                         (isHardlyKeyed || IsMore(other.edgeRemoved, kMostlyAtEdge, other.edge));
    if (!isHardlyKeyed && !isOther) return {};
    const std::string text = isHardlyKeyed ? "hardly anything was keyed; " : "";
    if (!isOther) return text + "has it a " + (isBlue ? "blue" : "green") + " backdrop?";
    return text + "its backdrop seems " + (isBlue ? "green: leave out --blue" : "blue: use --blue");
}

}  // namespace

std::vector<Warning> AdviseOn(const std::string& name, const images::Picture& photo,
                              const ParameterValues& parameters, const std::uint8_t* selection) {
    const bool isBlended = ValueOrDefault(parameters, "FlagRealityInteg") != 0;
    const bool isUnkeyed = ValueOrDefault(parameters, "FlagOrgPhoto") != 0 ||
                           (ValueOrDefault(parameters, "FlagShowSelect") != 0 && isBlended);
    if (isUnkeyed) return {};
    const bool isBlue = ValueOrDefault(parameters, "FlagBlueLogic") != 0;
    const Counts counts =
        CountSamples(photo, SurveyPhotograph(photo, parameters, kSamples), isBlue, selection);
    if (counts.all < kFewestSamples) return {};

    std::vector<Warning> warnings;
    const auto warn = [&](WarningKind kind, const std::string& text) {
        warnings.push_back({kind, name + ": " + text});
    };
    const std::string hardly = HardlyKeyedText(photo, parameters, counts, selection);
    if (!hardly.empty()) warn(WarningKind::kHardlyKeyed, hardly);
    if (!IsMore(counts.kept, kHardlyKept, counts.all))
        warn(WarningKind::kMostlyKeyed,
             "nearly everything was keyed; lower --remove-green if it has a subject");
    if (IsMore(counts.backdrop, kLeastBackdrop, counts.all) &&
        IsMore(counts.empty, kMostlyEmpty, counts.backdrop)) {
        warn(WarningKind::kEmptyChannels, std::string("its backdrop has no red and no ") +
                                              (isBlue ? "green" : "blue") +
                                              ", which leaves dark patches: use --lift 3");
    }
    if (photo.depth == 16 && IsMore(counts.soft, kMuchSoft, counts.all))
        warn(WarningKind::kDepth, "has soft parts such as hair, which 16 bits key worse: use --depth 8");
    return warnings;
}

}  // namespace frond
