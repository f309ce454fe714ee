#include "frond/survey.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "frond/engine_settings.h"

namespace frond {

namespace {

constexpr std::int32_t kFull16 = 32767;  // the largest sample that the filter uses at 16 bits

// The planes of a run: four of the photograph, three of a black background, four of the result.
constexpr std::size_t kTop = 0, kBottom = 4, kOut = 7, kPlaneCount = 11;

std::uint8_t ToSample(std::uint16_t fileSample, std::uint8_t) {
    return static_cast<std::uint8_t>(fileSample);
}

std::uint16_t ToSample(std::uint16_t fileSample, std::uint16_t) {
    return images::ToDocument16(fileSample);
}

template <typename Sample>
void CopySamples(const images::Plane& plane, int pixelsPerRow, const Survey& survey, Sample* to) {
    for (int y = 0; y < survey.height; ++y) {
        const std::uint16_t* row =
            plane.data() + static_cast<std::size_t>(y) * survey.step * static_cast<std::size_t>(pixelsPerRow);
        for (int x = 0; x < survey.width; ++x)
            *to++ = ToSample(row[static_cast<std::size_t>(x) * survey.step], Sample{});
    }
}

template <typename Sample>
void KeySamples(const images::Picture& photo, const keying::Settings& settings, std::int32_t full,
                Survey& survey) {
    const std::size_t count = survey.alpha.size();
    std::vector<Sample> samples(count * kPlaneCount);
    const auto plane = [&](std::size_t i) { return samples.data() + i * count; };
    for (std::size_t c = 0; c < 3; ++c) CopySamples(photo.colour[c], photo.width, survey, plane(kTop + c));
    if (photo.alpha.empty()) {
        const auto opaque = static_cast<std::uint16_t>(images::LargestSample(photo.depth));
        std::fill_n(plane(kTop + 3), count, ToSample(opaque, Sample{}));
    } else {
        CopySamples(photo.alpha, photo.width, survey, plane(kTop + 3));
    }
    keying::Planes planes;
    planes.width = survey.width;
    planes.height = survey.height;
    planes.depth = sizeof(Sample);
    planes.maxSample = full;
    planes.topR = plane(kTop);
    planes.topG = plane(kTop + 1);
    planes.topB = plane(kTop + 2);
    planes.topA = plane(kTop + 3);
    planes.bottomR = plane(kBottom);
    planes.bottomG = plane(kBottom + 1);
    planes.bottomB = plane(kBottom + 2);
    planes.outR = plane(kOut);
    planes.outG = plane(kOut + 1);
    planes.outB = plane(kOut + 2);
    planes.outA = plane(kOut + 3);
    keying::MeasureBackdrop(settings, planes, &survey.backdrop);
    if (keying::KeyPlanes(settings, planes, survey.backdrop).status != keying::Status::kDone)
        throw std::bad_alloc();
    const Sample* alpha = plane(kOut + 3);
    for (std::size_t i = 0; i < count; ++i) {
        // A sample above `full` is opaque too.
        survey.alpha[i] =
            static_cast<std::uint8_t>(alpha[i] >= full ? 255 : (alpha[i] * 255 + full / 2) / full);
    }
}

}  // namespace

Survey SurveyPhotograph(const images::Picture& photo, const ParameterValues& parameters, int mostSamples) {
    Survey survey;
    const auto samplesOf = [&survey](int pixels) { return (pixels - 1) / survey.step + 1; };
    while (std::int64_t{samplesOf(photo.width)} * samplesOf(photo.height) > mostSamples) ++survey.step;
    survey.width = samplesOf(photo.width);
    survey.height = samplesOf(photo.height);
    survey.alpha.resize(static_cast<std::size_t>(survey.width) * static_cast<std::size_t>(survey.height));

    // The settings of a run for the matte.
    keying::Settings settings = ToEngineSettings(parameters);
    settings.showPhoto = settings.showMatte = false;
    settings.blendEdges = settings.outputAlpha = true;
    settings.workers = 1;
    if (photo.depth == 8) {
        KeySamples<std::uint8_t>(photo, settings, 255, survey);
    } else {
        KeySamples<std::uint16_t>(photo, settings, kFull16, survey);
    }
    return survey;
}

}  // namespace frond
