// posteffect pipe: filters uncompressed video on its way through a shell pipe.
#include <posteffect/PostEffect.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "apps/common/FrameFilter.h"
#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/ColorArguments.h"
#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/GpuFault.h"
#include "apps/posteffect/Y4mStream.h"

namespace posteffect {
namespace {

constexpr const char* kInput = "standard input";

void Write(const void* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, stdout) == size) return;
    throw Failure(kExitCannotWrite, "standard output", "cannot be written: check where it leads");
}

void WriteLine(const std::string& line) {
    Write((line + "\n").data(), line.size() + 1);
}

class PipeCommand : public Command {
  public:
    const char* name() const override { return "pipe"; }
    const char* summary() const override {
        return "filter Y4M video from standard input to standard output";
    }
    void declare(Arguments& arguments) override {
        m_effect.declare(arguments);
        m_color.declare(arguments);
    }

    int run() override {
        const ChosenEffect chosen = m_effect.resolve();
        m_color.check();
        std::string line;
        if (!ReadY4mLine(kInput, stdin, &line)) {
            throw Failure(kExitUnreadable, kInput,
                          "is empty: a YUV4MPEG2 stream is needed (for FFmpeg: -f yuv4mpegpipe "
                          "-pix_fmt yuv420p -)");
        }
        const Y4mHeader header = ParseY4mHeader(kInput, line);
        const FrameColor color = m_color.resolve(header.range, header.height);
        FrameFilter filter;
        filter.setEffect(*chosen.effect, chosen.values);
        Y4mFrame frame(header);
        WriteLine(header.line);
        while (ReadY4mFrame(kInput, stdin, &frame)) {
            const int status = filter.process(frame.view(), color);
            if (status != kPostEffectOk) {
                throw FrameFailure(kInput, *chosen.effect, header.width, header.height);
            }
            WriteLine(frame.line);
            Write(frame.data(), frame.size());
        }
        if (std::fflush(stdout) != 0) Write("", 1);
        return kExitDone;
    }

  private:
    EffectArguments m_effect;
    ColorArguments m_color;
};

}  // namespace

std::unique_ptr<Command> MakePipeCommand() {
    return std::make_unique<PipeCommand>();
}

}  // namespace posteffect
