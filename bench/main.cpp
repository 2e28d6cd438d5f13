// Runs the benchmarks and prints their tables in Markdown; --benchmark_out=FILE writes JSON
// besides. Those that take long or a process of their own run when --benchmark_filter names them.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "bench/Benchmarks.h"
#include "bench/MarkdownReporter.h"

namespace {

class Row : public benchmark::internal::Benchmark {
  public:
    Row(const std::string& name, std::function<void(benchmark::State&)> run)
        : Benchmark(name.c_str()), m_run(std::move(run)) {}
    void Run(benchmark::State& state) override { m_run(state); }

  private:
    std::function<void(benchmark::State&)> m_run;
};

}  // namespace

benchmark::internal::Benchmark* bench::Register(const std::string& name,
                                                std::function<void(benchmark::State&)> run) {
    // The list of benchmarks owns it. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
    return benchmark::internal::RegisterBenchmarkInternal(new Row(name, std::move(run)))
        ->UseManualTime();
}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    setenv("POSTEFFECT_LOG", "none", 0);
    const std::string filter = benchmark::GetBenchmarkFilter();
    const auto named = [&](const char* name) { return filter.find(name) != std::string::npos; };
    bench::RegisterConversions();
    bench::RegisterPreviews();
    bench::RegisterCaptures(named("8000x6000"));
    if (named("FirstUse")) bench::RegisterFirstUses();
    bench::MarkdownReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return reporter.failed() ? 1 : 0;
}
