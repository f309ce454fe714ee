#include "frond/survey.h"

#include <cstddef>
#include <new>

#include "frond/engine_settings.h"

namespace frond {

namespace {

// The settings of a run for the matte.
keying::Settings MatteSettings(const ParameterValues& parameters) {
    keying::Settings settings = ToEngineSettings(parameters);
    settings.showPhoto = settings.showMatte = false;
    settings.blendEdges = settings.outputAlpha = true;
    settings.workers = 1;
    return settings;
}

// Rounds to 8 bits as images::ChangeDepth.
void CopySamples(const images::Picture& photo, const images::Plane& plane, const Survey& survey,
                 std::uint8_t* to) {
    const auto step = static_cast<std::size_t>(survey.step);
    const std::size_t columns = static_cast<std::size_t>(photo.width);
    for (std::size_t y = 0; y < static_cast<std::size_t>(survey.height); ++y) {
        const std::uint16_t* row = plane.data() + y * step * columns;
        for (std::size_t x = 0; x < columns; x += step)
            *to++ = static_cast<std::uint8_t>(photo.depth == 8 ? row[x] : (row[x] + 128u) / 257u);
    }
}

}  // namespace

Survey SurveyPhotograph(const images::Picture& photo, const ParameterValues& parameters, int mostSamples) {
    Survey survey;
    const auto samplesOf = [&survey](int pixels) { return (pixels - 1) / survey.step + 1; };
    while (std::int64_t{samplesOf(photo.width)} * samplesOf(photo.height) > mostSamples) ++survey.step;
    survey.width = samplesOf(photo.width);
    survey.height = samplesOf(photo.height);
    const std::size_t count =
        static_cast<std::size_t>(survey.width) * static_cast<std::size_t>(survey.height);
    survey.alpha.resize(count);

    // The photograph with its alpha, a black background, and the result without its alpha.
    std::vector<std::uint8_t> top(count * 4, 255), bottom(count * 3), out(count * 3);
    for (std::size_t c = 0; c < 3; ++c) CopySamples(photo, photo.colour[c], survey, &top[c * count]);
    if (!photo.alpha.empty()) CopySamples(photo, photo.alpha, survey, &top[3 * count]);
    keying::Planes planes;
    planes.width = survey.width;
    planes.height = survey.height;
    planes.topR = &top[0];
    planes.topG = &top[count];
    planes.topB = &top[2 * count];
    planes.topA = &top[3 * count];
    planes.bottomR = &bottom[0];
    planes.bottomG = &bottom[count];
    planes.bottomB = &bottom[2 * count];
    planes.outR = &out[0];
    planes.outG = &out[count];
    planes.outB = &out[2 * count];
    planes.outA = survey.alpha.data();
    const keying::Settings settings = MatteSettings(parameters);
    keying::MeasureBackdrop(settings, planes, &survey.backdrop);
    if (keying::KeyPlanes(settings, planes, survey.backdrop).status != keying::Status::kDone)
        throw std::bad_alloc();
    return survey;
}

}  // namespace frond
