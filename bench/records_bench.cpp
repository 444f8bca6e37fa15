// Reading 80-byte records through the method's read slot, and with memchr alone.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "bench/line_file.h"
#include "bench/settings.h"
#include "host/codes.h"
#include "runtime/module_loader.h"
#include "runtime/runtime.h"
#include "runtime/tokens.h"

namespace {

using namespace fileref::runtime;

constexpr long kRecords = 400'000;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void PlainMemchrLoop(benchmark::State& state) {
  const bench::LineFile lines(kRecords);
  for (auto _ : state) {
    const int file = open(lines.path().c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> buffer(256 * 1024);
    const auto start = std::chrono::steady_clock::now();
    std::size_t kept = 0;
    long records = 0;
    long bytes = 0;
    for (ssize_t count; (count = read(file, buffer.data() + kept, buffer.size() - kept)) > 0;) {
      const char* at = buffer.data();
      const char* end = at + kept + count;
      while (const void* feed = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
        const char* record = at;
        at = static_cast<const char*>(feed) + 1;
        ++records;
        bytes += at - record - 1;
        benchmark::DoNotOptimize(record);
      }
      kept = static_cast<std::size_t>(end - at);
      std::memmove(buffer.data(), at, kept);
    }
    state.SetIterationTime(seconds_since(start));
    close(file);
    if (records != kRecords || bytes != 80 * kRecords) state.SkipWithError("wrong records");
  }
}
BENCHMARK(PlainMemchrLoop)->UseManualTime()->Apply(bench::ratio_settings);

void RecordLoop(benchmark::State& state) {
  const bench::LineFile lines(kRecords);
  const ModuleLoader loader(FILEREF_MODULE_PATH);
  Runtime runtime({});
  const Runtime::Entered entered(runtime);
  runtime.connect(loader.connect_routine());
  runtime.toolkit.launch.extra_arguments = {"-D", "/usr/lib/openssh/sftp-server"};
  runtime.toolkit.launch.feed = {};  // the arrival of the file is not what is measured
  rctype rc = 0;
  AMENT& table = *runtime.method_block(&rc)->ament;
  char method[] = "SFTP    ";
  char name[] = "BENCH   ";
  ptr options = nullptr;
  int scanned = 0;
  table.amparse.entryp(name, runtime.request(), method, 0, nullptr, &scanned, &options);
  std::string path = lines.path();
  table.amasgn.entryp(name, runtime.request(), method, path.data(), static_cast<int>(path.size()),
                      options);
  for (auto _ : state) {
    WX_OPENPARM parms{};
    parms.openmode = kOpenInput;
    ptr file = nullptr;
    if (table.amopen.entryp(&file, name, runtime.request(), &parms) != kSuccess) {
      state.SkipWithError("no open");
      break;
    }
    const auto start = std::chrono::steady_clock::now();
    long records = 0;
    long bytes = 0;
    ptr record = nullptr;
    long length = 0;
    tchar cc = 0;
    while (table.amread.entryp(file, &record, &length, &cc) == kSuccess) {
      ++records;
      bytes += length;
      benchmark::DoNotOptimize(record);
    }
    state.SetIterationTime(seconds_since(start));
    table.amclose.entryp(file);
    if (records != kRecords || bytes != 80 * kRecords) state.SkipWithError("wrong records");
  }
  table.amdasgn.entryp(name, runtime.request());
}
BENCHMARK(RecordLoop)->UseManualTime()->Apply(bench::ratio_settings);

}  // namespace
