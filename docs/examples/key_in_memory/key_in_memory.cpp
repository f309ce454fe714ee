// Keys a picture in memory: a red square before a green backdrop, set on a blue background.
#include <marble-frond-keeper/keying.h>

#include <cstdint>
#include <cstdio>
#include <vector>

int main() {
    constexpr int kWidth = 64, kHeight = 48, kPixels = kWidth * kHeight;
    using Plane = std::vector<std::uint8_t>;
    Plane topR(kPixels, 40), topG(kPixels, 190), topB(kPixels, 50), topA(kPixels, 255);
    for (int y = 16; y < 32; ++y) {
        for (int x = 24; x < 40; ++x) {
            topR[y * kWidth + x] = 200;
            topG[y * kWidth + x] = 30;
        }
    }
    const Plane bottomR(kPixels, 20), bottomG(kPixels, 60), bottomB(kPixels, 220);
    Plane outR(kPixels), outG(kPixels), outB(kPixels), outA(kPixels);

    keying::Planes planes;  // 8 bits a sample unless depth and maxSample say otherwise
    planes.width = kWidth, planes.height = kHeight;
    planes.topR = topR.data(), planes.topG = topG.data(), planes.topB = topB.data(),
    planes.topA = topA.data();
    planes.bottomR = bottomR.data(), planes.bottomG = bottomG.data(), planes.bottomB = bottomB.data();
    planes.outR = outR.data(), planes.outG = outG.data(), planes.outB = outB.data(),
    planes.outA = outA.data();

    const keying::Settings settings;
    keying::Backdrop backdrop;
    keying::MeasureBackdrop(settings, planes, &backdrop);
    const keying::KeyResult result = keying::KeyPlanes(settings, planes, backdrop);
    if (result.status != keying::Status::kDone) return 1;

    std::printf("backdrop %.0f %.0f %.0f\n", backdrop.meanR, backdrop.meanG, backdrop.meanB);
    for (const int at : {5 * kWidth + 5, 24 * kWidth + 32})
        std::printf("%d %d %d\n", outR[at], outG[at], outB[at]);
}
