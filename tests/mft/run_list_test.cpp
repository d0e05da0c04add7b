#include "mft/run_list.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>

#include "support/mft_image.h"

namespace kest {
namespace {

using disk::bytes;

constexpr auto fields = [](const run_record& r) { return std::tuple(r.lcn, r.delta, r.clusters, r.vcn, r.negative); };

TEST(decode_runs, adds_up_the_steps) {
    struct row {
        const char* what;
        bytes list;
        std::vector<run_record> runs;
    };
    const row rows[] = {
        {"forward and back",
         {0x21, 4, 0x34, 2, 0x11, 2, 0xF0, 0},
         {{0x234, 0x234, 4, 9, false}, {0x224, 16, 2, 13, true}}},
        {"sparse stays in place", {0x11, 4, 7, 0x01, 9, 0}, {{7, 7, 4, 9, false}, {7, 0, 9, 13, false}}},
        {"length cut to 32 bits", {0x15, 1, 0, 0, 0, 1, 2, 0}, {{2, 2, 1, 9, false}}},
        {"no length", {0x10, 5, 0}, {{5, 5, 0, 9, false}}},
        {"eight bytes of step", {0x81, 1, 0xFE, 255, 255, 255, 255, 255, 255, 255, 0}, {{~0ull - 1, 2, 1, 9, true}}},
        {"bytes beyond the eighth", {0x91, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0x80, 0}, {{3, 3, 1, 9, false}}},
        {"cut off", {0x11, 1, 2, 0x44, 1, 2, 3, 4, 5, 6, 7}, {{2, 2, 1, 9, false}}},
        {"empty", {0}, {}},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const bytes padded = disk::nonresident(0xA0, t.list, 9);
        const uni::byte_view attribute = uni::byte_view(std::span(padded)).slice(0, 64 + t.list.size());
        std::vector<run_record> runs;
        EXPECT_TRUE(decode_runs(attribute, runs));
        EXPECT_TRUE(std::ranges::equal(runs, t.runs, {}, fields, fields));
        for (std::size_t length = 1; length < attribute.size(); ++length) {
            runs.clear();
            EXPECT_EQ(decode_runs(attribute.slice(0, length), runs),
                      length < 34 || length >= 64);  // 34: where the offset ends
        }
    }
}

}  // namespace
}  // namespace kest
