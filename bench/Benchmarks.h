// The families of benchmarks. A name before its slash is a table, behind it a row.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace bench {

void RegisterConversions();
void RegisterPreviews();
// Of 48 megapixels, all effects instead of a few.
void RegisterCaptures(bool allLarge);
void RegisterFirstUses();

// One row. Iterations say themselves how long they took.
benchmark::internal::Benchmark* Register(const std::string& name,
                                         std::function<void(benchmark::State&)> run);

}  // namespace bench
