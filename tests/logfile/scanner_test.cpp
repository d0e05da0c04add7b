#include "logfile/scanner.h"

#include <gtest/gtest.h>

#include "inputs/evidence.h"
#include "inputs/input_source.h"
#include "logfile/log_queries.h"
#include "logfile/page.h"
#include "support/log_image.h"
#include "support/made_entry.h"
#include "support/system.h"

namespace kest {
namespace {

using namespace disk;
using lsns = std::vector<u64>;

TEST(page, is_known_by_its_array_or_its_sequence_number) {
    const std::tuple<u16, u16, bool> rows[] = {{40, 3, true},  {48, 12, true},  {39, 9, false}, {49, 9, false},
                                               {40, 2, false}, {40, 13, false}, {0, 0, false}};
    for (const auto& [usa_offset, usa_count, accepted] : rows) {
        bytes page = record_page{.usa_offset = usa_offset, .usa_count = usa_count}.image();
        EXPECT_EQ(is_record_page(std::span(page)), accepted) << usa_offset << ' ' << usa_count;
        page[0] = 'B';
        EXPECT_FALSE(is_record_page(std::span(page)));
    }
    EXPECT_TRUE(is_restart_page(std::span<const u8>(restart_page{}.image())));
    const bytes unsequenced = restart_page{.sequence_value = 0}.image();
    EXPECT_FALSE(is_restart_page(std::span(unsequenced)));
    EXPECT_TRUE(has_restart_signature(std::span(unsequenced)));
}

TEST(apply_fixups, kept_repairs_a_torn_page_all_the_same) {
    bytes plain = record_page{.last_lsn = 7, .records = {{.lsn = 7, .redo = bytes(1500, 0xAB)}}}.image();
    bytes torn = plain;
    torn[1022] ^= 0x55;
    EXPECT_TRUE(apply_fixups(std::span(plain), 40));
    EXPECT_FALSE(apply_fixups(std::span(torn), 40));
    EXPECT_EQ(plain, torn);
    EXPECT_EQ(plain[1022], 0xAB);
    EXPECT_FALSE(apply_fixups(std::span(plain).first(511), 40));
}

TEST(record_plausible, judges_only_the_fields_it_can_see) {
    const u64 base = 0x2000;
    const std::tuple<const char*, record, std::size_t, bool> rows[] = {
        {"whole header", {.lsn = base}, 88, true},
        {"no LSN", {.lsn = 0}, 88, false},
        {"seven bytes hold no LSN", {.lsn = base}, 7, false},
        {"flags at their bound", {.lsn = base, .flags = 10}, 88, true},
        {"flags above it", {.lsn = base, .flags = 11}, 42, false},
        {"flags not shown", {.lsn = base, .flags = 11}, 41, true},
        {"type 3", {.lsn = base, .type = 3}, 36, false},
        {"type 0", {.lsn = base, .type = 0}, 36, false},
        {"type not shown", {.lsn = base, .type = 3}, 35, true},
        {"older than its predecessor", {.lsn = base, .previous = base + 1}, 16, false},
        {"predecessor not shown", {.lsn = base, .previous = base + 1}, 15, true},
        {"its own predecessor", {.lsn = base, .previous = base}, 88, true},
        {"widest step", {.lsn = 0x10002000, .previous = base}, 88, true},
        {"wider step", {.lsn = 0x10002001, .previous = base}, 88, false},
        {"above the page's limit", {.lsn = 0x20000001, .previous = 0x1FFFFFFF}, 88, false},
        {"limit not asked of a head", {.lsn = 0x20000001}, 88, true},
        {"limit not asked without a link", {.lsn = 0x20000001, .previous = ~u64{0}}, 88, true},
        {"longest data", {.lsn = base, .data_length = 0xFF000}, 88, true},
        {"longer data", {.lsn = base, .data_length = 0xFF001}, 28, false},
        {"length not shown", {.lsn = base, .data_length = 0xFF001}, 27, true},
        {"operation 37", {.lsn = base, .redo_op = 37, .undo_op = 37}, 52, true},
        {"redo operation 38", {.lsn = base, .redo_op = 38}, 52, false},
        {"undo operation 38", {.lsn = base, .undo_op = 38}, 52, false},
        {"operations not shown", {.lsn = base, .redo_op = 38}, 51, true},
        {"redo data too long", {.lsn = base, .data_length = 48, .redo_op = 2, .redo_length = 9}, 88, false},
        {"not judged without its length", {.lsn = base, .data_length = 48, .redo_op = 2, .redo_length = 9}, 59, true},
        {"no operation needs no data", {.lsn = base, .data_length = 48, .redo_length = 9}, 88, true},
        {"undo data too long", {.lsn = base, .data_length = 48, .undo_op = 2, .undo_length = 9}, 88, false},
        {"no ranges in short data", {.lsn = base, .data_length = 40, .redo_op = 2, .redo_length = 9}, 88, true},
    };
    for (const auto& [what, r, available, plausible] : rows) {
        const bytes image = r.image();
        EXPECT_EQ(record_plausible(uni::byte_view{image}.slice(0, available), 0x20000000), plausible) << what;
    }
}

log_store scan(const log_image& log) {
    log_store store;
    scan_buffer(store, std::span(log.image()));
    return store;
}

lsns stored(const log_store& store) {
    lsns all;
    for (const log_entry& entry : store.entries)
        all.push_back(entry.this_lsn());
    return all;
}

lsns scanned(const log_image& log) {
    return stored(scan(log));
}

record big(u64 lsn, std::size_t payload) {
    return {.lsn = lsn, .redo_op = 2, .redo = bytes(payload, 0x5A)};
}

// A record that begins so near the page end that `shown` bytes of it fit.
record_page page_ending_in(const record& last, std::size_t shown, u64 lsn) {
    const record filler = big(lsn, 4096 - 64 - 88 - shown);
    return {.last_lsn = last.lsn, .last_end_lsn = lsn, .records = {filler, last}};
}

TEST(scan_buffer, takes_each_page_on_its_own_merit) {
    const record_page eight{.last_lsn = 8, .records = {{.lsn = 8}}}, nine{.last_lsn = 9, .records = {{.lsn = 9}}};
    const record_page both{.last_lsn = 9, .records = {{.lsn = 8}, {.lsn = 9}}};
    const record_page unaligned{.last_lsn = 9, .records = {{.lsn = 8, .data_length = 40}, {.lsn = 9}}};
    const record_page unnumbered{.last_lsn = 0, .records = {{.lsn = 8}, {.lsn = 9}}};
    const std::tuple<const char*, log_image, lsns> rows[] = {
        {"two records", log_image{}.page(both), {8, 9}},
        {"foreign page between", log_image{}.page(eight).raw(bytes(4096)).page(nine), {8, 9}},
        {"restart pages hold no records", log_image{}.restart().restart(), {}},
        {"first page with LSN 0 gives one record", log_image{}.page(unnumbered), {8}},
        {"a copy of a page gives one record", log_image{}.page(both).page(both), {8, 9, 8}},
        {"unaligned end is walked on from", log_image{}.page(unaligned), {8, 9}},
        {"part of a page", log_image{}.raw(bytes(4095)), {}},
    };
    for (const auto& [what, log, expected] : rows)
        EXPECT_EQ(scanned(log), expected) << what;
}

TEST(scan_buffer, finds_the_first_record_within_its_bound) {
    // The gap before the record in places of 8 bytes, and where the next record would go in the same. Of twenty
    // places without a bound the last is not tried.
    const std::tuple<u16, u16, lsns> rows[] = {{19, 0, {9}}, {20, 0, {}}, {20, 20, {9}}, {21, 20, {}}};
    for (const auto& [gap, next, expected] : rows) {
        record_page page{.last_lsn = 9, .continuation = bytes(8 * gap), .records = {{.lsn = 9}}};
        page.next_record_offset = static_cast<u16>(next == 0 ? 0 : 64 + 8 * next);
        EXPECT_EQ(scanned(log_image{}.page(page)), expected) << gap << ' ' << next;
    }
}

TEST(scan_buffer, puts_spanning_records_together) {
    const record last = big(20, 6000);
    for (const std::size_t shown : {16U, 40U, 80U, 88U, 96U}) {
        SCOPED_TRACE(shown);
        const bytes middle = part(last.image(), shown, shown + 4032), tail = part(last.image(), shown + 4032);
        log_image log = log_image{}.restart().restart().raw(bytes(4096)).raw(bytes(4096));  // both tail pages
        log.page(page_ending_in(last, shown, 10)).page({.last_lsn = 20, .last_end_lsn = 10, .continuation = middle});
        log.page({.last_lsn = 20, .continuation = tail, .records = {{.lsn = 21}}});
        const log_store store = scan(log.page({.last_lsn = 22, .records = {{.lsn = 22}}}));
        // Both middle pages carry the last LSN of the page before, so each is a single continuation.
        ASSERT_EQ(stored(store), (lsns{10, 20, 22}));
        EXPECT_TRUE(store.entries[1].spanned());
        EXPECT_EQ(store.entries[1].file_offset(), 5 * 4096 - shown);
        EXPECT_TRUE(std::ranges::equal(store.entries[1].bytes().bytes(), last.image()));
    }
}

TEST(scan_buffer, drops_a_pending_record) {
    const record last = big(20, 400);
    const bytes rest = part(last.image(), 96);
    const record_page pending = page_ending_in(last, 96, 10);
    const std::tuple<const char*, record_page, std::optional<u64>, u64, bytes, lsns> rows[] = {
        {"completed", pending, 10, 30, rest, {10, 20, 30}},
        {"the log wrapped", pending, 10, 15, {}, {10, 15}},
        {"nothing goes on", pending, 20, 30, {}, {10, 30}},
        {"too little left to look at", page_ending_in(last, 12, 10), 10, 30, {}, {10, 30}},
    };
    for (auto [what, page, last_end_lsn, next, continuation, expected] : rows) {
        page.last_end_lsn = last_end_lsn;
        const record_page after{.last_lsn = next, .continuation = continuation, .records = {{.lsn = next}}};
        EXPECT_EQ(scanned(log_image{}.page(page).page(after)), expected) << what;
    }
}

TEST(scan_buffer, kept_steps_over_tail_names_unevenly) {
    // How many names of a table are found: after sixteen characters the walk is two bytes out of step, and one byte if
    // the table does not begin at the first place.
    const bytes two = pack(tail_name(5, "$A"), tail_name(6, "$Bitmap"), u32{0});
    const bytes long_name = pack(tail_name(5, "$234567890123456"), tail_name(6, "$A"), u32{0});
    const bytes aligned = pack(tail_name(5, "$A"), tail_name(6, "$B"), u32{0});
    const bytes dollar_in_step = pack(tail_name(5, "$234567890123456"), tail_name(0x24'0005, "$A"), u32{0});
    const std::pair<bytes, std::size_t> rows[] = {
        {two, 2}, {pack(u16{0}, two), 1}, {long_name, 1}, {dollar_in_step, 2}, {aligned, 2}};
    for (const auto& [names, count] : rows) {
        const record_page page{.last_lsn = 9, .names = names, .records = {{.lsn = 8}, {.lsn = 9}}};
        const log_store store = scan(log_image{}.restart().restart().page(page));
        EXPECT_EQ(stored(store), (lsns{8, 9}));
        EXPECT_EQ(store.tail_names_first.size(), count);
    }
}

TEST(scan_logfile, steps_over_holes) {
    log_image log = log_image{}.page(page_ending_in(big(20, 400), 96, 10));
    log.page({.last_lsn = 30, .continuation = part(big(20, 400).image(), 96), .records = {{.lsn = 30}}});
    const memory_file memory(log.image(), 3002 * 4096);
    log_store store;
    scan_logfile(store, *open_source({memory.path()}).bytes);
    EXPECT_EQ(stored(store), (lsns{10, 20, 30, 10, 20, 30}));
    EXPECT_EQ(store.entries[5].file_offset() / 4096, 3001u);
    EXPECT_FALSE(store.incomplete);
}

TEST(log_store_reset, kept_leaves_a_pending_record_for_the_next_log) {
    const record last = big(20, 400);
    log_store store = scan(log_image{}.page(page_ending_in(last, 96, 10)));
    log_store_reset(store);
    EXPECT_TRUE(store.entries.empty());
    const log_image next = log_image{}.page({.last_lsn = 30, .continuation = part(last.image(), 96)});
    scan_buffer(store, std::span(next.image()));
    EXPECT_EQ(stored(store), lsns{20});
}

TEST(link_chains, strings_records_together_once) {
    const std::tuple<const char*, std::vector<record>, std::vector<lsns>> rows[] = {
        {"two chains",
         {{.lsn = 10}, {.lsn = 11}, {.lsn = 12, .previous = 10}, {.lsn = 13, .previous = 12}},
         {{10, 12, 13}, {11}}},
        {"no heads", {{.lsn = 12, .previous = 10}}, {}},
        {"a gap ends the chain", {{.lsn = 10}, {.lsn = 13, .previous = 12}}, {{10}}},
        {"a second successor stays out",
         {{.lsn = 10}, {.lsn = 12, .previous = 10}, {.lsn = 13, .previous = 10}},
         {{10, 12}}},
        {"LSNs more than 32 bits apart",
         {{.lsn = 10}, {.lsn = (u64{1} << 40) + 10}, {.lsn = 12, .previous = 10}},
         {{10, 12}, {(u64{1} << 40) + 10}}},
        {"its own predecessor", {{.lsn = 10}, {.lsn = 10, .previous = 10}}, {{10, 10}}},
        {"a shared tail joins the first head",
         {{.lsn = 10}, {.lsn = 20}, {.lsn = 20, .previous = 10}, {.lsn = 21, .previous = 20}},
         {{10, 20, 21}, {20}}},
    };
    for (const auto& [what, records, expected] : rows) {
        const log_store store = scan(log_image{}.page({.last_lsn = 100, .records = records}));
        std::vector<lsns> chains;
        for (const chain_head& head : store.chain_heads) {
            chains.emplace_back();
            for (const u32 record : store.records(head))
                chains.back().push_back(store.entries[record].this_lsn());
        }
        EXPECT_EQ(chains, expected) << what;
    }
}

TEST(log_queries, answer_by_operation_chain_and_page) {
    using found = std::vector<u32>;
    const record_page first{.last_lsn = 12,
                            .records = {{.lsn = 10, .redo_op = 2, .undo_op = 3},
                                        {.lsn = 11, .previous = 10, .redo_op = 3, .undo_op = 3},
                                        {.lsn = 12, .previous = 12, .redo_op = 9}}};
    const log_store store =
        scan(log_image{}.page(first).page({.last_lsn = 13, .records = {{.lsn = 13, .previous = 11}}}));
    log_queries queries(store);
    EXPECT_EQ(std::pair(queries.entries_for_opcode(3), queries.entries_for_opcode(37)),
              std::pair(found{0, 1}, found{}));
    EXPECT_EQ(queries.entries_for_chain(13), (found{3, 1, 0}));
    EXPECT_EQ(queries.entries_for_chain(12), found{2}) << "ends at an entry already listed";
    EXPECT_EQ(queries.entries_for_page(1), (found{0, 1, 2}));
    EXPECT_EQ(std::pair(queries.entries_for_page(2), queries.entries_for_page(0)), std::pair(found{3}, found{}));
}

TEST(record_inode, reckons_in_fixed_clusters) {
    // sectors of a block, the block's place, redo operation, cluster, inode
    const std::tuple<u16, u16, u16, u64, u64> rows[] = {{2, 4, 2, 5, 22}, {2, 3, 2, 5, 20}, {8, 0, 2, 5, 5},
                                                        {4, 0, 2, 5, 0},  {2, 6, 2, 0, 0},  {2, 0, 14, 5, 0},
                                                        {2, 0, 15, 5, 0}, {2, 0, 20, 5, 0}};
    for (const auto& [block, place, redo_op, vcn, inode] : rows) {
        const bytes image = record{.redo_op = redo_op, .cluster_block = place, .block_size = block, .vcn = vcn}.image();
        EXPECT_EQ(record_inode(make_log_entry(std::span(image)), {}), inode) << block << ' ' << place;
    }
}

TEST(sequence_table, lends_the_highest_number_seen) {
    sequence_table table;
    const auto noted = [&table](u64 number, u16 sequence) {
        inode_ref ref(number, sequence);
        table.note(ref);
        return ref.sequence();
    };
    const std::tuple<u64, u16, u16> rows[] = {{40, 0, 0}, {40, 3, 3}, {40, 2, 2}, {40, 0, 3}, {0, 7, 7}, {0, 0, 0}};
    for (const auto& [number, sequence, expected] : rows)
        EXPECT_EQ(noted(number, sequence), expected) << number << ' ' << sequence;
}

}  // namespace
}  // namespace kest
