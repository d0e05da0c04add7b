// The routines that a run spends its time in, each by itself.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "format/number.h"
#include "format/result_row.h"
#include "format/time.h"
#include "logfile/page.h"
#include "portable/byte_view.h"

namespace {

using bytes = std::vector<std::uint8_t>;

void fix_up_page(benchmark::State& state) {
    bytes page(4096, 7);
    for (auto _ : state) {
        benchmark::DoNotOptimize(kest::apply_fixups(page, 40));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(fix_up_page);

void judge_record(benchmark::State& state) {
    bytes record(88);
    record[0] = 9;    // LSN
    record[24] = 40;  // client data
    record[32] = 1;   // type
    for (auto _ : state) {
        benchmark::DoNotOptimize(kest::record_plausible(uni::byte_view{record}, 100));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(judge_record);

void dump_bytes(benchmark::State& state) {
    const bytes data(static_cast<std::size_t>(state.range(0)), 0xA5);
    std::string text;
    for (auto _ : state) {
        text.clear();
        kest::append_dump(text, uni::byte_view{data});
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(dump_bytes)->Arg(8)->Arg(256);

void number_text(benchmark::State& state) {
    std::string text;
    std::uint64_t value = 1;
    for (auto _ : state) {
        text.clear();
        kest::append_number(text, value, state.range(0) != 0);
        benchmark::DoNotOptimize(text.data());
        value = value * 5 + 3;
    }
}
BENCHMARK(number_text)->ArgName("hex")->Arg(0)->Arg(1);

void time_text(benchmark::State& state) {
    const cv::format_flags flags = cv::compile_format("yyyy-mm-dd", "hh:mm:ss.xxx", true);
    std::string text;
    std::uint64_t ticks = 134'000'000'000'000'000;
    for (auto _ : state) {
        text.clear();
        cv::append_time(text, ticks, flags);
        benchmark::DoNotOptimize(text.data());
        ticks += 12'345'678;
    }
}
BENCHMARK(time_text);

void emit_row(benchmark::State& state) {
    uni::file target;
    if (!target.open("/dev/null", uni::open_mode::update)) return state.SkipWithError("no /dev/null");
    uni::fileio_output sink(target);
    kest::row_style style;
    style.no_whitespace = state.range(0) == 0;
    style.header_line = false;
    style.columns.assign(14, {"title", style.no_whitespace ? std::size_t{0} : std::size_t{12}});
    kest::result_row row(style.columns.size());
    for (int id = 0; id < 13; ++id) {
        row.show_text(id, "some value");
    }
    row.set_number(3, 0x123456);
    const std::string details(200, 'd');
    row.show_text(13, details);
    for (auto _ : state) {
        kest::emit_row(sink, row, style, true);
    }
}
BENCHMARK(emit_row)->ArgName("padded")->Arg(0)->Arg(1);

}  // namespace
