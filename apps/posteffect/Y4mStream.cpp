#include "apps/posteffect/Y4mStream.h"

#include <charconv>
#include <sstream>

#include "apps/posteffect/Failure.h"

namespace posteffect {
namespace {

constexpr int kMaximumSide = 16384;
constexpr std::size_t kMaximumLine = 512;

int ParseSide(const std::string& text) {
    int side = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, side);
    return result.ec == std::errc() && result.ptr == end ? side : 0;
}

// 4:2:0 with 8 bits, wherever the chroma samples are said to lie.
bool IsKnownFormat(const std::string& format) {
    return format == "420" || format == "420jpeg" || format == "420mpeg2" || format == "420paldv";
}

}  // namespace

Y4mHeader ParseY4mHeader(const std::string& name, const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word != "YUV4MPEG2") {
        throw Failure(kExitUnreadable, name,
                      "no YUV4MPEG2 stream: for FFmpeg write -f yuv4mpegpipe -pix_fmt yuv420p -");
    }
    Y4mHeader header;
    header.line = line;
    while (words >> word) {
        const std::string value = word.substr(1);
        if (word[0] == 'W') header.width = ParseSide(value);
        if (word[0] == 'H') header.height = ParseSide(value);
        if (word[0] == 'C' && !IsKnownFormat(value)) {
            throw Failure(kExitUnsupported, name,
                          "frames are " + value +
                              ": 8-bit 4:2:0 is needed (for FFmpeg: -pix_fmt "
                              "yuv420p)");
        }
        if (word == "XCOLORRANGE=FULL") header.range = ColorRange::kFull;
    }
    if (header.width < 1 || header.height < 1) {
        throw Failure(kExitUnreadable, name, "no frame size in the stream's first line");
    }
    if (header.width > kMaximumSide || header.height > kMaximumSide) {
        throw Failure(kExitUnsupported, name,
                      "frames of " + std::to_string(header.width) + "x" +
                          std::to_string(header.height) + ": at most " +
                          std::to_string(kMaximumSide) + " a side");
    }
    return header;
}

Y4mFrame::Y4mFrame(const Y4mHeader& header) : m_width(header.width), m_height(header.height) {
    const auto width = static_cast<std::size_t>(m_width);
    const auto height = static_cast<std::size_t>(m_height);
    m_bytes.resize(width * height + (width + 1) / 2 * ((height + 1) / 2) * 2);
}

FrameView Y4mFrame::view() {
    FrameView view;
    view.width = m_width;
    view.height = m_height;
    view.luma = m_bytes.data();
    view.lumaStride = m_width;
    view.chromaStride = (m_width + 1) / 2;
    view.u = view.luma + std::ptrdiff_t{m_width} * m_height;
    view.v = view.u + std::ptrdiff_t{view.chromaStride} * ((m_height + 1) / 2);
    return view;
}

bool ReadY4mLine(const std::string& name, std::FILE* file, std::string* line) {
    line->clear();
    for (int c = std::getc(file); c != '\n'; c = std::getc(file)) {
        if (c == EOF) {
            if (line->empty()) return false;
            throw Failure(kExitUnreadable, name, "ends within a line: it was cut short");
        }
        line->push_back(static_cast<char>(c));
        if (line->size() > kMaximumLine) {
            throw Failure(kExitUnreadable, name, "no YUV4MPEG2 stream: a line is too long");
        }
    }
    return true;
}

bool ReadY4mFrame(const std::string& name, std::FILE* file, Y4mFrame* frame) {
    if (!ReadY4mLine(name, file, &frame->line)) return false;
    if (frame->line.rfind("FRAME", 0) != 0) {
        throw Failure(kExitUnreadable, name, "no frame where one should begin");
    }
    if (std::fread(frame->data(), 1, frame->size(), file) != frame->size()) {
        throw Failure(kExitUnreadable, name, "ends within a frame: it was cut short");
    }
    return true;
}

}  // namespace posteffect
