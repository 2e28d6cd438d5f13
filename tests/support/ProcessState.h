// What a process holds, for tests that hunt leaks.
#pragma once

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace testing_support {

struct ProcessState {
    long descriptors;
    long threads;
    long residentKiB;
    long heapBytes;  // that malloc has given out
};

inline ProcessState ReadProcessState() {
    malloc_trim(0);  // what the allocator keeps for later is not held
    const auto entries = [](const char* folder) {
        const std::filesystem::directory_iterator all(folder);
        return std::distance(begin(all), end(all));
    };
    const struct mallinfo2 heap = mallinfo2();
    ProcessState state{entries("/proc/self/fd"), entries("/proc/self/task"), 0,
                       static_cast<long>(heap.uordblks + heap.hblkhd)};
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) state.residentKiB = std::stol(line.substr(6));
    }
    return state;
}

// Once the renderer's own threads have done what they still had to, such as writing its cache.
inline ProcessState ReadSettledProcessState() {
    ProcessState state = ReadProcessState();
    for (int tries = 0; tries < 100; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const ProcessState next = ReadProcessState();
        const bool settled = next.heapBytes == state.heapBytes;
        state = next;
        if (settled) break;
    }
    return state;
}

}  // namespace testing_support
