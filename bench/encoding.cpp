#include "encoding.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

#include "Meter.h"
#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "encoding/conversions.h"

namespace {

constexpr long kValues = 600;  // in a list, before the next one begins

/// Appends a value to lists, as often as fits in each.
template <class Append>
void FillLists(benchmark::State& state, std::int64_t unicode_option, std::size_t bytes,
               Append append)
{
    ZString::FollowUnicodeOption(&unicode_option);
    ZString list;
    const auto fill = [&] {
        list.clear();
        for (long i = 0; i < kValues; ++i) {
            append(list);
        }
        benchmark::DoNotOptimize(list.data());
    };
    fill();
    const long before = ThreadAllocations();
    for ([[maybe_unused]] auto iteration : state) {
        fill();
    }
    const auto values = static_cast<double>(state.iterations() * kValues);
    state.counters["allocations"] = static_cast<double>(ThreadAllocations() - before) / values;
    state.SetItemsProcessed(state.iterations() * kValues);
    state.SetBytesProcessed(state.iterations() * kValues * static_cast<std::int64_t>(bytes));
    static constexpr std::int64_t kOff = 0;
    ZString::FollowUnicodeOption(&kOff);
}

void Narrow(benchmark::State& state, std::string_view text)
{
    FillLists(state, 0, text.size(),
              [=](ZString& list) { list.AppendString(text.data(), text.size()); });
}

void Wide(benchmark::State& state, std::int64_t unicode_option, std::wstring_view text)
{
    FillLists(state, unicode_option, text.size() * sizeof(wchar_t),
              [=](ZString& list) { list.AppendWString(text.data(), text.size()); });
}

void Integer(benchmark::State& state)
{
    FillLists(state, 0, sizeof(long), [i = 0L](ZString& list) mutable { list.AppendLong(++i); });
}

void ReadBack(benchmark::State& state)
{
    constexpr int kElements = 6;
    ZString list;
    for (int i = 0; i < kElements; ++i) {
        list.AppendNTString("Springfield, north");
    }
    const ORVEL_EXSTR argument{static_cast<uint32_t>(list.size()), list.data()};
    const long before = ThreadAllocations();
    for ([[maybe_unused]] auto iteration : state) {
        ZConstList reader(&argument);
        for (int i = 1; i <= kElements; ++i) {
            benchmark::DoNotOptimize(reader.MoveTo(i));
            benchmark::DoNotOptimize(reader.Payload());
        }
    }
    const auto values = static_cast<double>(state.iterations() * kElements);
    state.counters["allocations"] = static_cast<double>(ThreadAllocations() - before) / values;
    state.SetItemsProcessed(state.iterations() * kElements);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(list.size()));
}

/// Keeps the figures instead of printing them.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                figures.push_back(
                    {run.run_name.function_name, 1e9 / run.counters.at("items_per_second"),
                     run.counters.at("bytes_per_second") / 1e9, run.counters.at("allocations")});
            }
        }
    }

    std::vector<EncodingFigure> figures;
};

}  // namespace

std::vector<EncodingFigure> MeasureEncoding(bool quick)
{
    static const std::string long_text(500, 'x');
    static const std::wstring long_wide(500, L'x');
    const std::array<std::pair<const char*, std::function<void(benchmark::State&)>>, 9> operations{{
        {"bytes, 18", [](auto& state) { Narrow(state, "Springfield, north"); }},
        {"bytes, 500", [](auto& state) { Narrow(state, long_text); }},
        {"wide to multibyte, 18 ASCII", [](auto& state) { Wide(state, 0, L"Springfield, north"); }},
        {"wide to multibyte, 18 with ü",
         [](auto& state) { Wide(state, 0, L"Zürich am Zürisee "); }},
        {"wide to multibyte, 500 ASCII", [](auto& state) { Wide(state, 0, long_wide); }},
        {"wide to 2-byte, 18", [](auto& state) { Wide(state, 1, L"Springfield, north"); }},
        {"wide to 2-byte, 500", [](auto& state) { Wide(state, 1, long_wide); }},
        {"integer", Integer},
        {"reading back, 18 bytes", ReadBack},
    }};
    for (const auto& [name, operation] : operations) {
        benchmark::RegisterBenchmark(name, operation)
            ->MinTime(quick ? 0.02 : 0.1)
            ->Repetitions(9)
            ->ReportAggregatesOnly();
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    return collector.figures;
}
