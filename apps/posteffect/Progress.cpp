#include "apps/posteffect/Progress.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>

namespace posteffect {
namespace {

constexpr std::int64_t kLargePicture = 8'000'000;  // pixels; about where a software GPU takes long

}  // namespace

void Progress::enableFor(const std::string& title, int width, int height) {
    m_enabled = std::int64_t{width} * height >= kLargePicture && isatty(STDERR_FILENO) == 1;
    if (!m_enabled) return;
    std::fprintf(stderr, "%s: %d x %d\n  %-10s", title.c_str(), width, height, "decoding");
    m_open = true;
}

void Progress::stage(const char* name) {
    finish(true);
    if (!m_enabled) return;
    std::fprintf(stderr, "  %-10s", name);
    m_open = true;
    m_begin = std::chrono::steady_clock::now();
}

void Progress::finish(bool completed) {
    if (!m_open) return;
    m_open = false;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_begin;
    std::fprintf(stderr, completed ? " %.2f s\n" : " failed after %.2f s\n", elapsed.count());
}

}  // namespace posteffect
