// Tells a person who waits what is being done.
#pragma once

#include <chrono>
#include <string>

namespace posteffect {

// One line a stage on standard error, with the seconds that it took. Silent until enabled, which is
// possible once the picture is decoded; decoding is measured from the construction on.
class Progress {
  public:
    Progress() = default;
    ~Progress() { finish(false); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Only for large pictures, and only when standard error is a terminal.
    void enableFor(const std::string& title, int width, int height);

    // Ends the stage before and begins the next, for example "filtering".
    void stage(const char* name);
    void done() { finish(true); }

  private:
    void finish(bool completed);

    bool m_enabled = false;
    bool m_open = false;
    std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};

}  // namespace posteffect
