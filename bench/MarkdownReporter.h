// Prints each family of benchmarks as a Markdown table, one row a benchmark, one column a counter.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace bench {

class MarkdownReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    bool failed() const { return m_failed; }

  private:
    void printHead(const std::string& table, const Run& run);

    std::string m_table;
    bool m_failed = false;
};

}  // namespace bench
