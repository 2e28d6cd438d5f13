#include "bench/MarkdownReporter.h"

#include <cstdio>

namespace bench {

namespace {

enum class Unit { kMilliseconds, kMicroseconds, kTimes, kPercent, kMegapixels };

// The counters that benchmarks have, in the order of their columns.
constexpr struct Column {
    const char* counter;
    const char* head;
    Unit unit;
} kColumns[] = {
    {"us", "us", Unit::kMicroseconds},
    {"wall_ms", "ms", Unit::kMilliseconds},
    {"cpu_ms", "CPU ms", Unit::kMilliseconds},
    {"cpu_ms_per_mp", "CPU ms a megapixel", Unit::kMilliseconds},
    {"of_whole", "of the CPU time at once", Unit::kTimes},
    {"of_memcpy", "of memcpy", Unit::kTimes},
    {"of_libyuv", "of libyuv", Unit::kTimes},
    {"of_preview", "of a preview's megapixel", Unit::kTimes},
    {"over_gl_calls", "over the GL calls", Unit::kPercent},
    {"over_passes", "over GL calls and copies", Unit::kPercent},
    {"convert", "conversion", Unit::kPercent},
    {"upload", "upload", Unit::kPercent},
    {"reduced", "smaller passes", Unit::kPercent},
    {"effect", "effect", Unit::kPercent},
    {"luma", "luma pass", Unit::kPercent},
    {"chroma", "chroma pass", Unit::kPercent},
    {"read_back", "read-back", Unit::kPercent},
    {"copy", "packing, copy", Unit::kPercent},
    {"rest", "rest", Unit::kPercent},
    {"start_ms", "start to first frame, CPU ms", Unit::kMilliseconds},
    {"first_use_ms", "first use, CPU ms", Unit::kMilliseconds},
    {"second_use_ms", "second use, CPU ms", Unit::kMilliseconds},
    {"frame_ms", "a frame, CPU ms", Unit::kMilliseconds},
};

void PrintValue(double value, Unit unit) {
    switch (unit) {
        case Unit::kPercent:
            std::printf(" %.1f %% |", 100.0 * value);
            break;
        case Unit::kMicroseconds:
            std::printf(" %.0f |", value);
            break;
        default:
            std::printf(" %.2f |", value);
    }
}

}  // namespace

void MarkdownReporter::printHead(const std::string& table, const Run& run) {
    std::printf("%s### %s\n\n| |", m_table.empty() ? "" : "\n", table.c_str());
    std::string rule = "\n|---|";
    for (const Column& column : kColumns) {
        if (run.counters.count(column.counter) == 0) continue;
        std::printf(" %s |", column.head);
        rule += "---|";
    }
    std::printf("%s\n", rule.c_str());
    m_table = table;
}

void MarkdownReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        // What Google Benchmark puts behind a name of ours says how it was timed.
        const std::string name = run.run_name.function_name;
        const std::size_t slash = name.find('/');
        const std::string row = name.substr(slash + 1);
        if (run.error_occurred) {
            std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
            m_failed = true;
            continue;
        }
        const std::string table = name.substr(0, slash);
        if (table != m_table) printHead(table, run);
        std::printf("| %s |", row.c_str());
        for (const Column& column : kColumns) {
            const auto found = run.counters.find(column.counter);
            if (found != run.counters.end()) PrintValue(found->second.value, column.unit);
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

}  // namespace bench
