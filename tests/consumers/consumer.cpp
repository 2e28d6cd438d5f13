// The README's example in a program outside the tree: a grey frame gets dark corners.
#include <posteffect/EffectCatalog.h>
#include <posteffect/PostEffect.h>

#include <cstdio>
#include <vector>

namespace {

// A frame is width x height luma bytes, then interleaved V, U at half the size; full-range BT.601.
bool Vignette(unsigned char* frame, int width, int height) {
    IPostEffect* service = createPostEffect();
    service->start();
    service->setParameters(android::String8(
        "GPU-effect=4;"                 // the effect's letter in the catalog
        "GE-param0=50,0,0,0;"           // hardness of the edge
        "GE-param1=480,272,912,272"));  // centre, and a point on the circle, of 960 x 544
    service->startPreview(width, height);
    service->setCrop(0, 0, width, height);
    const int status = service->handlePreview(-1, frame, 0);
    service->stop();
    destroyPostEffect(service);
    return status == kPostEffectOk;
}

}  // namespace

int main() {
    constexpr int kWidth = 320;
    constexpr int kHeight = 180;
    constexpr unsigned char kGrey = 160;
    std::vector<unsigned char> frame(kWidth * kHeight * 3 / 2, kGrey);
    for (int i = kWidth * kHeight; i < static_cast<int>(frame.size()); ++i) frame[i] = 128;
    if (!Vignette(frame.data(), kWidth, kHeight)) {
        std::fputs("the frame was not filtered\n", stderr);
        return 1;
    }
    const int corner = frame[0];
    const int centre = frame[kHeight / 2 * kWidth + kWidth / 2];
    std::printf("%s: corner %d, centre %d\n",
                posteffect::kEffects[posteffect::kEffectVignette].nick, corner, centre);
    return corner < centre && centre > kGrey / 2 ? 0 : 1;
}
