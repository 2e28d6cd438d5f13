// Lets a process end while workers render. exit() takes the driver's own globals apart, under
// workers that still run; here it first waits for what they do just now, and no worker begins
// anything of EGL or GL afterwards.
//
// Thread: any.
#pragma once

namespace tessera {

// Call it on each thread that makes or starts a service. When that is the main thread, its end is
// where work stops; the end of another waits for a worker that loads the driver just now.
void WatchThisThreadsExit();

// One piece of work with EGL or GL, while it lives. Thread: a worker.
class GPUWork {
  public:
    enum Kind { kFrames, kSetUp };

    explicit GPUWork(Kind kind = kFrames);
    ~GPUWork();
    GPUWork(const GPUWork&) = delete;
    GPUWork& operator=(const GPUWork&) = delete;

    // False when the process is ending: leave EGL and GL alone.
    bool allowed() const { return m_allowed; }

  private:
    const Kind m_kind;
    bool m_allowed;
};

}  // namespace tessera
