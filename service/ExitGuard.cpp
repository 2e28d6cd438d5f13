#include "service/ExitGuard.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

namespace tessera {

namespace {

// Longer than any frame or still; a driver that hangs must not keep the process for ever.
constexpr std::chrono::seconds kPatience{10};

// Until then the driver does most of what it does once.
constexpr unsigned kFirstWorks = 64;

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int working = 0;    // pieces of work under way
    int settingUp = 0;  // of them, those that may load the driver
    unsigned done = 0;  // pieces of work
    bool ending = false;
};

// Never destroyed: workers use it to the end. Nor allocated: they start without memory, too.
State& TheState() {
    alignas(State) static unsigned char memory[sizeof(State)];
    static State& state = *new (memory) State;
    return state;
}

void UntilZero(const int& count, std::unique_lock<std::mutex>& lock) {
    TheState().changed.wait_for(lock, kPatience, [&count] { return count == 0; });
}

void EndWork() {
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    state.ending = true;
    UntilZero(state.working, lock);
}

// exit() destroys the calling thread's objects before all else.
struct ExitWatch {
    ExitWatch() = default;
    ~ExitWatch() {
        // The main thread's end is the process's.
        if (gettid() == getpid()) {
            EndWork();
            return;
        }
        State& state = TheState();
        std::unique_lock<std::mutex> lock(state.mutex);
        UntilZero(state.settingUp, lock);
    }
    ExitWatch(const ExitWatch&) = delete;
    ExitWatch& operator=(const ExitWatch&) = delete;
};

}  // namespace

void WatchThisThreadsExit() {
    thread_local const ExitWatch watch;
}

GPUWork::GPUWork(Kind kind) : m_kind(kind) {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    m_allowed = !state.ending;
    if (!m_allowed) return;
    ++state.working;
    if (m_kind == kSetUp) ++state.settingUp;
}

GPUWork::~GPUWork() {
    if (!m_allowed) return;
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    --state.working;
    if (m_kind == kSetUp) --state.settingUp;
    // Exit handlers run last in, first out, and the driver brings its own whenever it does
    // something for the first time: ours is put on top again after each of the first pieces of
    // work, then after 64, 128, 256 ...
    if (++state.done < kFirstWorks || (state.done & (state.done - 1)) == 0) std::atexit(EndWork);
    state.changed.notify_all();
}

}  // namespace tessera
