// Uncompressed video as it goes through pipes: YUV4MPEG2 with 8-bit 4:2:0 frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "apps/common/FrameFilter.h"

namespace posteffect {

struct Y4mHeader {
    std::string line;  // without its end
    int width = 0;     // pixels
    int height = 0;
    ColorRange range = ColorRange::kLimited;  // as marked; limited without a mark
};

// Reads a stream's first line. Throws Failure: no such stream, or one whose frames are not 8-bit
// 4:2:0 or too large.
Y4mHeader ParseY4mHeader(const std::string& name, const std::string& line);

// One frame in memory: planes one behind the other.
class Y4mFrame {
  public:
    explicit Y4mFrame(const Y4mHeader& header);

    FrameView view();
    std::uint8_t* data() { return m_bytes.data(); }
    std::size_t size() const { return m_bytes.size(); }

    std::string line;  // "FRAME" and its parameters, without the end

  private:
    int m_width;
    int m_height;
    std::vector<std::uint8_t> m_bytes;
};

// A line of at most a few hundred bytes, without its end; false at the stream's end. Throws Failure
// for a longer one.
bool ReadY4mLine(const std::string& name, std::FILE* file, std::string* line);

// False at the stream's end. Throws Failure where a frame is cut short.
bool ReadY4mFrame(const std::string& name, std::FILE* file, Y4mFrame* frame);

}  // namespace posteffect
