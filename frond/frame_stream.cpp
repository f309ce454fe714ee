#include "frond/frame_stream.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

#include "frond/command.h"
#include "frond/frame_pixels.h"
#include "frond/frame_workers.h"
#include "host/host.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace frond {

namespace {

// Nobody reads the output any more.
struct ReaderIsGone {};

std::uint8_t* Plane(const FrameStream& stream, std::vector<std::uint8_t>& planes, std::size_t number) {
    return planes.data() + number * stream.pixels;
}

void SplitFrame(const FrameStream& stream, const std::vector<std::uint8_t>& raw,
                std::vector<std::uint8_t>& planes) {
    SplitPixels(raw.data(), stream.pixels,
                {Plane(stream, planes, 0), Plane(stream, planes, 1), Plane(stream, planes, 2)});
}

// Reads a whole frame. False at the end of the stream, after an interrupt and after another frame's failure.
bool ReadWhole(const FrameStream& stream, const RawStream& from, std::int64_t framesBefore,
               std::vector<std::uint8_t>& raw) {
    const auto stops = [&] { return stream.stop || gInterrupted; };
    const std::size_t read = ReadBytes(from, raw.data(), raw.size(), stops);
    if (read == raw.size()) return true;
    if (stops()) return false;
    if (read > 0) {
        throw Failure(kBadInput, from.name + ": ends within frame " + std::to_string(framesBefore + 1) +
                                     ": " + std::to_string(read) + " of " + std::to_string(raw.size()) +
                                     " bytes");
    }
    if (framesBefore == 0) throw Failure(kBadInput, from.name + ": has no frame");
    return false;
}

bool ReadFrame(FrameStream& stream, FrameBuffers& buffers) {
    if (!ReadWhole(stream, stream.input, stream.framesRead, stream.rawInput)) return false;
    SplitFrame(stream, stream.rawInput, buffers.top);
    if (stream.backgrounds && !stream.backgroundsHaveEnded) {
        stream.backgroundsHaveEnded =
            !ReadWhole(stream, *stream.backgrounds, stream.backgroundsRead, stream.rawBackground);
        if (stream.stop || gInterrupted) return false;
        ++stream.backgroundsRead;
    }
    if (stream.backgrounds) SplitFrame(stream, stream.rawBackground, buffers.bottom);
    // A measurement that several frames use is made here, where frames are in order.
    const bool measures =
        stream.interval == 0 ? stream.framesRead == 0 : stream.framesRead % stream.interval == 0;
    if (measures && stream.interval != 1)
        keying::MeasureBackdrop(stream.settings, buffers.planes, &stream.backdrop);
    buffers.backdrop = stream.backdrop;
    ++stream.framesRead;
    return true;
}

void KeyFrame(const FrameStream& stream, FrameBuffers& buffers) {
    const keying::Settings& settings = stream.settings;
    if (stream.interval == 1) keying::MeasureBackdrop(settings, buffers.planes, &buffers.backdrop);
    // With showMatte the engine does not write all of this plane. The host fills new memory.
    std::uint8_t* alpha = Plane(stream, buffers.out, 3);
    if (settings.showMatte) std::fill_n(alpha, stream.pixels, host::LeanOptions().fillByte.value_or(0));
    if (keying::KeyPlanes(settings, buffers.planes, buffers.backdrop).status != keying::Status::kDone)
        throw std::bad_alloc();
    if (settings.outputAlpha || settings.blendEdges || !settings.showMatte) return;
    const void* const below[] = {buffers.planes.bottomR, buffers.planes.bottomG, buffers.planes.bottomB};
    for (std::size_t c = 0; c < 3; ++c) {
        CompositePlane(Plane(stream, buffers.out, c), alpha, static_cast<const std::uint8_t*>(below[c]),
                       stream.pixels);
    }
}

void WriteFrame(FrameStream& stream, FrameBuffers& buffers) {
    const std::uint8_t* const colour[] = {Plane(stream, buffers.out, 0), Plane(stream, buffers.out, 1),
                                          Plane(stream, buffers.out, 2)};
    if (stream.settings.outputAlpha) {
        JoinRgba(colour, Plane(stream, buffers.out, 3), stream.pixels, stream.rawOutput.data());
    } else {
        JoinRgb(colour, stream.pixels, stream.rawOutput.data());
    }
    if (!WriteBytes(stream.output, stream.rawOutput.data(), stream.rawOutput.size())) throw ReaderIsGone{};
    ++stream.framesWritten;
    if (stream.reported) stream.reported(stream.framesWritten);
}

void Allocate(FrameStream& stream, int workers) {
    stream.pixels = static_cast<std::size_t>(stream.width) * static_cast<std::size_t>(stream.height);
    const std::size_t pixels = stream.pixels;
    stream.opaque.assign(pixels, 255);
    stream.rawInput.resize(3 * pixels);
    stream.rawOutput.resize((stream.settings.outputAlpha ? 4 : 3) * pixels);
    if (stream.backgrounds) stream.rawBackground.resize(3 * pixels);
    stream.buffers.resize(static_cast<std::size_t>(workers));
    for (FrameBuffers& buffers : stream.buffers) {
        buffers.top.resize(3 * pixels);
        if (stream.backgrounds) buffers.bottom.resize(3 * pixels);
        buffers.out.resize(4 * pixels);
        std::vector<std::uint8_t>& bottom = stream.backgrounds ? buffers.bottom : stream.bottom;
        keying::Planes& planes = buffers.planes;
        planes.width = stream.width;
        planes.height = stream.height;
        planes.topR = Plane(stream, buffers.top, 0);
        planes.topG = Plane(stream, buffers.top, 1);
        planes.topB = Plane(stream, buffers.top, 2);
        planes.topA = stream.opaque.data();
        planes.bottomR = Plane(stream, bottom, 0);
        planes.bottomG = Plane(stream, bottom, 1);
        planes.bottomB = Plane(stream, bottom, 2);
        planes.outR = Plane(stream, buffers.out, 0);
        planes.outG = Plane(stream, buffers.out, 1);
        planes.outB = Plane(stream, buffers.out, 2);
        planes.outA = Plane(stream, buffers.out, 3);
    }
}

std::uint64_t PhysicalMemory() {
#ifdef _WIN32
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof status;
    return GlobalMemoryStatusEx(&status) ? status.ullTotalPhys : std::numeric_limits<std::uint64_t>::max();
#else
    return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
           static_cast<std::uint64_t>(sysconf(_SC_PAGE_SIZE));
#endif
}

// Bytes per pixel: of what all workers share, raw frames, alpha and a still background; and of each worker,
// planes and the engine's copies for the edge blending.
constexpr std::uint64_t kSharedBytes = 3 + 3 + 4 + 1 + 3, kWorkerBytes = 3 + 3 + 4 + 6;

}  // namespace

// The system grants memory that it does not have, and ends the program later.
void RequireMemoryForFrames(int width, int height, int workers) {
    constexpr double kGigabyte = 1e9;
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    const std::uint64_t needed = pixels * (kSharedBytes + kWorkerBytes * static_cast<std::uint64_t>(workers));
    if (needed <= PhysicalMemory()) return;
    char text[160];
    std::snprintf(text, sizeof text,
                  "--size: %d frames of %dx%d need %.0f GB of memory; the machine has %.0f", workers, width,
                  height, static_cast<double>(needed) / kGigabyte,
                  static_cast<double>(PhysicalMemory()) / kGigabyte);
    throw Failure(kRunFailed, text);
}

bool KeyFrames(FrameStream& stream, int workers) {
    stream.settings.workers = 1;  // all cores have frames of their own
    Allocate(stream, workers);
    const auto buffersOf = [&](int worker) -> FrameBuffers& {
        return stream.buffers[static_cast<std::size_t>(worker)];
    };
    try {
        RunFrames(workers, stream.stop,
                  {[&](int worker) { return ReadFrame(stream, buffersOf(worker)); },
                   [&](int worker, std::int64_t) { KeyFrame(stream, buffersOf(worker)); },
                   [&](int worker) { WriteFrame(stream, buffersOf(worker)); }});
    } catch (const ReaderIsGone&) {
        return false;
    }
    return true;
}

}  // namespace frond
