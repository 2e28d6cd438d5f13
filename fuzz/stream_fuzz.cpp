// Y4M streams in any shape: read to the end, or refused in words.
#include <cstdio>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/Y4mStream.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace posteffect;
    if (size == 0) return 0;
    std::FILE* file = fmemopen(const_cast<std::uint8_t*>(bytes), size, "rb");
    try {
        std::string line;
        if (ReadY4mLine("in", file, &line)) {
            const Y4mHeader header = ParseY4mHeader("in", line);
            constexpr int kMostPixels = 1 << 14;  // inputs are no longer
            if (header.width * header.height <= kMostPixels) {
                Y4mFrame frame(header);
                const FrameView view = frame.view();
                FUZZ_CHECK(view.v + std::ptrdiff_t{view.chromaStride} * ((view.height + 1) / 2) ==
                           frame.data() + frame.size());
                std::size_t taken = 0;
                while (ReadY4mFrame("in", file, &frame)) {
                    taken += frame.line.size() + 1 + frame.size();
                }
                // To the last byte.
                FUZZ_CHECK(line.size() + 1 + taken == size);
            }
        }
    } catch (const Failure&) {
        // The answer to most inputs.
    }
    std::fclose(file);
    return 0;
}
