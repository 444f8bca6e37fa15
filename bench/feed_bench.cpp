// Reading 80-byte records through the library: of a file that has arrived in a feed, and of one that
// was fetched into a temporary file.
#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/line_file.h"
#include "bench/settings.h"
#include "fileref/fileref.h"

namespace {

constexpr long kRecords = 170'000;  // not more than wait in a feed

long count(fileref::Input& input) {
  long records = 0;
  for (const std::string_view record : input) {
    benchmark::DoNotOptimize(record.data());
    ++records;
  }
  return records;
}

void loop(benchmark::State& state, bool whole) {
  const bench::LineFile lines(kRecords);
  fileref::HostOptions options;
  options.module_path = FILEREF_MODULE_PATH;
  options.whole = whole;
  fileref::Host host(options);
  host.assign("DIR", fileref::Target::parse("local:/tmp/"), {"DIR"});
  const std::string name = lines.path().substr(sizeof "/tmp/" - 1);
  for (auto _ : state) {
    fileref::Directory directory = host.open_directory("DIR");
    fileref::Input input = directory.open(name);
    // What comes for the first comes before the same for the second.
    fileref::Input second = directory.open(name);
    bool right = count(second) == kRecords;
    const auto start = std::chrono::steady_clock::now();
    right = count(input) == kRecords && right;
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (!right) state.SkipWithError("wrong records");
  }
}

void FeedLoop(benchmark::State& state) {
  loop(state, false);
}
BENCHMARK(FeedLoop)->UseManualTime()->Apply(bench::ratio_settings);

void FileLoop(benchmark::State& state) {
  loop(state, true);
}
BENCHMARK(FileLoop)->UseManualTime()->Apply(bench::ratio_settings);

}  // namespace
