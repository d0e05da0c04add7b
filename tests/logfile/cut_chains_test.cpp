#include <gtest/gtest.h>

#include "logfile/scanner.h"
#include "support/log_image.h"

namespace kest {
namespace {

using disk::record;

// "head: members" of each chain after "~" if it is cut, by LSN.
std::string chains_of(const std::vector<record>& records, bool by_lsn = false) {
    log_store store;
    store.by_lsn = by_lsn;
    const disk::bytes log = disk::log_image{}.page({.last_lsn = 1000, .records = records}).image();
    scan_buffer(store, std::span(log));
    link_cut_chains(store);
    std::string shown;
    for (const chain_head& head : store.chain_heads) {
        shown += (shown.empty() ? "" : ", ") + std::string(head.cut ? "~" : "") + std::to_string(store.lsn_of(head));
        for (const std::uint32_t member : store.records(head).subspan(1))
            shown += ' ' + std::to_string(store.entries[member].this_lsn());
    }
    return shown;
}

TEST(link_cut_chains, every_lsn_is_in_a_chain_once) {
    const std::tuple<const char*, std::vector<record>, const char*> rows[] = {
        {"by LSN among the whole",
         {{.lsn = 10},
          {.lsn = 11, .previous = 10},
          {.lsn = 12, .previous = 5},
          {.lsn = 20},
          {.lsn = 21, .previous = 12}},
         "10 11, ~12 21, 20"},
        {"the first copy of a record",
         {{.lsn = 12, .previous = 5}, {.lsn = 13, .previous = 12}, {.lsn = 12, .previous = 6}},
         "~12 13"},
        {"a copy of a record in a chain",
         {{.lsn = 10}, {.lsn = 11, .previous = 10}, {.lsn = 11, .previous = 10}},
         "10 11"},
        {"a copy before it", {{.lsn = 10}, {.lsn = 12, .previous = 6}, {.lsn = 12, .previous = 10}}, "10 12"},
        {"two after one in a chain",
         {{.lsn = 10}, {.lsn = 11, .previous = 10}, {.lsn = 12, .previous = 10}},
         "10 11, ~12"},
        {"two after one that is lost: the first in the file follows",
         {{.lsn = 12, .previous = 5},
          {.lsn = 15, .previous = 12},
          {.lsn = 14, .previous = 12},
          {.lsn = 16, .previous = 14}},
         "~12 15, ~14 16"},
        {"after itself", {{.lsn = 30, .previous = 30}, {.lsn = 31, .previous = 30}}, "~30, ~31"},
    };
    for (const auto& [what, records, expected] : rows) {
        EXPECT_EQ(chains_of(records), expected) << what;
        std::vector<record> ordered = records;
        std::ranges::stable_sort(ordered, {}, &record::lsn);
        EXPECT_EQ(chains_of(ordered, true), chains_of(ordered)) << what << ", known to be in order";
    }
}

}  // namespace
}  // namespace kest
