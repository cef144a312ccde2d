// What the game check costs each time auto-sync looks (every 2 s while it waits): one pass over
// every process of the machine, against reading /proc with `pgrep -f`, which does the same walk.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "i18n/utf8_conversion.h"
#include "sync/game_process.h"

namespace {

void BM_IsGameRunning(benchmark::State& state) {
    const std::wstring folder =
        tavrin::PathToWide(std::filesystem::temp_directory_path() / "no-such-game-folder");
    for (auto _ : state) {
        benchmark::DoNotOptimize(tavrin::IsGameRunning(folder));
    }
}
BENCHMARK(BM_IsGameRunning)->Unit(benchmark::kMillisecond);

// pgrep reads every process's command line too; started once per iteration, as a tool would be.
void BM_PgrepFull(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::system("pgrep -f no-such-game-folder >/dev/null"));
    }
}
BENCHMARK(BM_PgrepFull)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
