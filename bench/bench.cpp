// Runs the benchmarks and then prints each of ours beside its plain alternative.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

bool coloured() {
  const char* refused = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
}

class Collector : public benchmark::ConsoleReporter {
 public:
  Collector() : ConsoleReporter(coloured() ? OO_ColorTabular : OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "min") continue;
      fastest[run.run_name.function_name] = run.GetAdjustedRealTime();
    }
  }
  std::map<std::string, double> fastest;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  const auto& of = collector.fastest;
  if (of.contains("RecordLoop") && of.contains("PlainMemchrLoop")) {
    fmt::print("record loop / plain memchr loop: {:.2f}\n",
               of.at("RecordLoop") / of.at("PlainMemchrLoop"));
  }
  if (of.contains("FeedLoop") && of.contains("FileLoop")) {
    fmt::print("record loop from a feed / from a file: {:.2f}\n",
               of.at("FeedLoop") / of.at("FileLoop"));
  }
  if (of.contains("Exchange") && of.contains("BareExchange")) {
    fmt::print("exchange / the client's own: {:.2f} ({:+.1f} us)\n",
               of.at("Exchange") / of.at("BareExchange"),
               of.at("Exchange") - of.at("BareExchange"));
  }
}
