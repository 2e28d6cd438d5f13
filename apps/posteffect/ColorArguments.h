// The options that say how a stream's colours are meant where it does not say so itself.
#pragma once

#include <optional>
#include <string>

#include "apps/common/FrameColor.h"
#include "apps/posteffect/Arguments.h"

namespace posteffect {

class ColorArguments {
  public:
    void declare(Arguments& arguments);
    // Throws Failure for words that are no range or matrix.
    void check() const;
    // What was asked for; else the range that the stream is marked with, and the matrix that is
    // usual for its height.
    FrameColor resolve(ColorRange marked, int height) const;

  private:
    std::optional<std::string> m_range;
    std::optional<std::string> m_matrix;
};

}  // namespace posteffect
