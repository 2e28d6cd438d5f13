// Errors of libjpeg, caught where its calls are made.
#pragma once

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include <string>

#include "apps/posteffect/Failure.h"

namespace posteffect {

// The error manager of one (de)compressor. Errors and damaged data end the guarded work; harmless
// oddities are ignored and nothing is printed.
class JpegErrors : public jpeg_error_mgr {
  public:
    JpegErrors();

    // Runs `work`, which calls libjpeg; false when that ended in an error. The work must own
    // nothing that needs a destructor, for an error jumps out of it.
    template <typename Work>
    bool guard(const Work& work) {
        if (setjmp(m_jump) != 0) return false;
        work();
        return true;
    }

    // What to tell the user of the last error.
    Failure failure(const std::string& name) const;

  private:
    static void onError(j_common_ptr info);
    static void onMessage(j_common_ptr info, int level);

    std::jmp_buf m_jump;
    char m_text[JMSG_LENGTH_MAX] = {};
};

}  // namespace posteffect
