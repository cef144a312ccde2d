// Reads the same 200,000-entry file list with our reader, with nlohmann::json and with
// simdjson's DOM, each filling the same records, so one run compares all three.
#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "file_list_sample.h"
#include "manifest/file_list_reader.h"

namespace {

constexpr std::size_t kEntries = 200000;

const std::string& Sample() {
    static const std::string json = tavrin::bench::MakeFileListJson(kEntries);
    return json;
}

void Report(benchmark::State& state, std::size_t entries) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Sample().size()));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * entries));
    state.counters["entries"] = static_cast<double>(entries);
    state.counters["MB"] = static_cast<double>(Sample().size()) / 1e6;
}

void BM_TavrinReader(benchmark::State& state) {
    const std::string& json = Sample();
    std::size_t count = 0;
    for (auto _ : state) {
        std::vector<tavrin::FileListEntry> entries;
        tavrin::FileListReader reader{json, 0};
        tavrin::FileListReadError error;
        if (!tavrin::ReadFileList(reader, entries, error)) {
            state.SkipWithError(error.message.c_str());
            return;
        }
        count = entries.size();
        benchmark::DoNotOptimize(entries.data());
    }
    Report(state, count);
}
BENCHMARK(BM_TavrinReader)->Unit(benchmark::kMillisecond);

void BM_NlohmannJson(benchmark::State& state) {
    const std::string& json = Sample();
    std::size_t count = 0;
    for (auto _ : state) {
        const nlohmann::json document = nlohmann::json::parse(json);
        std::vector<tavrin::FileListEntry> entries;
        entries.reserve(document.size());
        for (const auto& item : document) {
            tavrin::FileListEntry entry;
            entry.relativePath = item.value("relative_path", std::string());
            entry.size = item.value("size", std::uint64_t{0});
            entry.mtime = item.value("mtime", 0.0);
            entry.hash = item.value("hash", std::string());
            if (!entry.relativePath.empty()) {
                entries.push_back(std::move(entry));
            }
        }
        count = entries.size();
        benchmark::DoNotOptimize(entries.data());
    }
    Report(state, count);
}
BENCHMARK(BM_NlohmannJson)->Unit(benchmark::kMillisecond);

void BM_SimdjsonDom(benchmark::State& state) {
    const simdjson::padded_string json(Sample());
    simdjson::dom::parser parser;
    std::size_t count = 0;
    for (auto _ : state) {
        simdjson::dom::array array;
        if (parser.parse(json).get_array().get(array) != simdjson::SUCCESS) {
            state.SkipWithError("simdjson could not parse the sample");
            return;
        }
        std::vector<tavrin::FileListEntry> entries;
        entries.reserve(array.size());
        for (simdjson::dom::object item : array) {
            tavrin::FileListEntry entry;
            std::string_view text;
            if (item["relative_path"].get_string().get(text) == simdjson::SUCCESS) {
                entry.relativePath.assign(text);
            }
            std::uint64_t size = 0;
            if (item["size"].get_uint64().get(size) == simdjson::SUCCESS) {
                entry.size = size;
            }
            double mtime = 0.0;
            if (item["mtime"].get_double().get(mtime) == simdjson::SUCCESS) {
                entry.mtime = mtime;
            }
            if (item["hash"].get_string().get(text) == simdjson::SUCCESS) {
                entry.hash.assign(text);
            }
            if (!entry.relativePath.empty()) {
                entries.push_back(std::move(entry));
            }
        }
        count = entries.size();
        benchmark::DoNotOptimize(entries.data());
    }
    Report(state, count);
}
BENCHMARK(BM_SimdjsonDom)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
