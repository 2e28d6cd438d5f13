// Calls of the service in any order with any arguments: each is answered with one of the statuses,
// and nothing outside the buffers is touched. One service lives through many inputs, for starting
// one takes longer than most calls; its settings are the same at the begin of each.
#include <posteffect/PostEffect.h>

#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"

namespace {

bool IsStatus(int status) {
    return status == kPostEffectOk || status == kPostEffectNotStarted ||
           status == kPostEffectCancelled || status == kPostEffectNoEffect ||
           status == kPostEffectCaptureFailed || status == kPostEffectBusy;
}

android::String8 Parameters(FuzzInput& input) {
    std::string text = "GPU-effect=";
    text += "0123456789BCDEFGHIJA"[input.below(20)];
    for (const char* group : {";GE-param0=", ";GE-param1="}) {
        text += group;
        for (int i = 0; i < 4; ++i) {
            const int value = input.below(2) == 1 ? input.take<std::int32_t>() : input.below(1000);
            text += std::to_string(value) + (i < 3 ? "," : "");
        }
    }
    return android::String8(text.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    static IPostEffect* const service = createPostEffect();
    static bool running = false;
    if (!running) running = service->start() == kPostEffectOk;
    FUZZ_CHECK(running);
    service->setParameters(android::String8("GPU-effect=0"));
    service->setCrop(0, 0, 0, 0);
    int width = 0;
    int height = 0;
    for (int calls = 0; calls < 12 && !input.empty(); ++calls) {
        int status = 0;
        switch (input.below(256)) {
            case 0:
                status = service->start();
                running = status == kPostEffectOk;
                break;
            case 1:
                status = service->stop();
                running = false;
                break;
            default:
                // Calls to a service that has not been started wait for it.
                if (!running) break;
                switch (input.below(6)) {
                    case 0:
                        width = input.below(300) - 4;
                        height = input.below(200) - 4;
                        status = service->startPreview(width, height);
                        break;
                    case 1:
                        status = service->setParameters(Parameters(input));
                        break;
                    case 2:
                        status = service->setCrop(input.below(400) - 50, input.below(400) - 50,
                                                  input.below(400) - 50, input.below(400) - 50);
                        break;
                    case 3: {
                        const int area = width > 0 && height > 0 ? width * height : 0;
                        std::vector<unsigned char> frame(static_cast<std::size_t>(area) * 3 / 2);
                        status = service->handlePreview(-1, frame.data(), 0);
                        break;
                    }
                    case 4: {
                        // Larger ones beside a small preview are thousands of blocks.
                        const int w = input.below(300);
                        const int h = input.below(200);
                        std::vector<unsigned char> image(static_cast<std::size_t>(w * h) * 3 / 2 +
                                                         1);
                        status = service->handleCapture(w, h, -1, image.data(), 0, w * h);
                        break;
                    }
                    default:
                        status = service->stopPreview();
                        break;
                }
        }
        FUZZ_CHECK(IsStatus(status));
    }
    if (running) service->stopPreview();
    return 0;
}
