#include "logfile/scanner.h"

#include <gtest/gtest.h>

#include "logfile/log_queries.h"
#include "logfile/sequence_table.h"
#include "support/log_image.h"

namespace kest {
namespace {

using disk::bytes;
using disk::log_image;
using disk::record;
using lsns = std::vector<std::uint64_t>;

void scan(log_store& store, const bytes& image) {
    scan_buffer(store, std::span(image));
}

lsns stored(const log_store& store) {
    lsns all;
    for (const log_entry& entry : store.entries)
        all.push_back(entry.this_lsn);
    return all;
}

lsns scanned(const bytes& image) {
    log_store store;
    scan(store, image);
    return stored(store);
}

lsns scanned(const log_image& log) {
    return scanned(log.image());
}

record big(std::uint64_t lsn, std::size_t payload) {
    return {.lsn = lsn, .redo_op = 2, .redo = bytes(payload, 0x5A)};
}

// A record of `total` bytes that begins so near the page end that `shown` bytes of it fit.
disk::record_page page_ending_in(const record& last, std::size_t shown, std::uint64_t lsn) {
    const record filler = big(lsn, 4096 - 64 - 88 - shown);
    return {.last_lsn = last.lsn, .last_end_lsn = lsn, .records = {filler, last}};
}

bytes rest_of(const record& r, std::size_t shown) {
    const bytes image = r.image();
    return {image.begin() + static_cast<std::ptrdiff_t>(shown), image.end()};
}

TEST(scan_buffer, takes_each_page_on_its_own_merit) {
    const bytes foreign(4096, 0);
    struct row {
        const char* what;
        log_image log;
        lsns expected;
    };
    const row rows[] = {
        {"two records", log_image{}.page({.last_lsn = 9, .records = {{.lsn = 8}, {.lsn = 9}}}), {8, 9}},
        {"foreign page between",
         log_image{}
             .page({.last_lsn = 8, .records = {{.lsn = 8}}})
             .raw(foreign)
             .page({.last_lsn = 9, .records = {{.lsn = 9}}}),
         {8, 9}},
        {"restart pages hold no records", log_image{}.restart().restart(), {}},
        {"first page with LSN 0 gives one record",
         log_image{}.page({.last_lsn = 0, .records = {{.lsn = 8}, {.lsn = 9}}}),
         {8}},
        {"a copy of a page gives one record",
         log_image{}
             .page({.last_lsn = 9, .records = {{.lsn = 8}, {.lsn = 9}}})
             .page({.last_lsn = 9, .records = {{.lsn = 8}, {.lsn = 9}}}),
         {8, 9, 8}},
        {"unaligned end is walked on from",
         log_image{}.page({.last_lsn = 9, .records = {{.lsn = 8, .data_length = 40}, {.lsn = 9}}}),
         {8, 9}},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        EXPECT_EQ(scanned(t.log), t.expected);
    }
    EXPECT_TRUE(scanned(bytes(4095)).empty());
}

TEST(scan_buffer, finds_the_first_record_within_its_bound) {
    const auto page_with_gap = [](std::size_t gap, std::uint16_t next) {
        return log_image{}.page(
            {.last_lsn = 9, .next_record_offset = next, .continuation = bytes(gap, 0), .records = {{.lsn = 9}}});
    };
    EXPECT_EQ(scanned(page_with_gap(8 * 19, 0)), lsns{9});
    EXPECT_EQ(scanned(page_with_gap(8 * 20, 0)), lsns{});  // twenty places are tried, the last one is not
    EXPECT_EQ(scanned(page_with_gap(8 * 20, 64 + 8 * 20)), lsns{9});
    EXPECT_EQ(scanned(page_with_gap(8 * 21, 64 + 8 * 20)), lsns{});
}

// A log whose next page lies behind the two tail pages, which may hold names.
log_image behind_tail_pages() {
    return log_image{}.restart().restart().raw(bytes(4096)).raw(bytes(4096));
}

TEST(scan_buffer, puts_spanning_records_together) {
    const record last = big(20, 6000);
    for (const std::size_t shown : {16U, 40U, 80U, 88U, 96U}) {
        SCOPED_TRACE(shown);
        const bytes rest = rest_of(last, shown);
        const bytes middle(rest.begin(), rest.begin() + 4032);
        const bytes tail(rest.begin() + 4032, rest.end());
        log_store store;
        scan(store, behind_tail_pages()
                        .page(page_ending_in(last, shown, 10))
                        .page({.last_lsn = 20, .last_end_lsn = 10, .continuation = middle})
                        .page({.last_lsn = 20, .continuation = tail, .records = {{.lsn = 21}}})
                        .page({.last_lsn = 22, .records = {{.lsn = 22}}})
                        .image());
        // Both middle pages carry the last LSN of the page before, so each is a single continuation.
        ASSERT_EQ(stored(store), (lsns{10, 20, 22}));
        EXPECT_TRUE(store.entries[1].spanned);
        EXPECT_EQ(store.entries[1].file_offset, 5 * 4096 - shown);
        const bytes image = last.image();
        const auto kept = store.entries[1].bytes.bytes();
        EXPECT_EQ(bytes(kept.begin(), kept.end()), image);
    }
}

TEST(scan_buffer, drops_a_pending_record) {
    const record last = big(20, 400);
    const bytes rest = rest_of(last, 96);
    const auto next = [&](std::uint64_t last_lsn, const bytes& continuation) {
        return disk::record_page{.last_lsn = last_lsn, .continuation = continuation, .records = {{.lsn = last_lsn}}};
    };
    disk::record_page clean = page_ending_in(last, 96, 10);
    clean.last_end_lsn = 20;
    EXPECT_EQ(scanned(log_image{}.page(page_ending_in(last, 96, 10)).page(next(30, rest))), (lsns{10, 20, 30}));
    EXPECT_EQ(scanned(log_image{}.page(page_ending_in(last, 96, 10)).page(next(15, {}))), (lsns{10, 15}))
        << "the log wrapped";
    EXPECT_EQ(scanned(log_image{}.page(clean).page(next(30, {}))), (lsns{10, 30})) << "nothing goes on";
    EXPECT_EQ(scanned(log_image{}.page(page_ending_in(last, 12, 10)).page(next(30, {}))), (lsns{10, 30}))
        << "too little left to look at";
}

TEST(scan_buffer, kept_steps_over_tail_names_unevenly) {
    const bytes names = [] {
        bytes all = disk::tail_name(5, "$A");
        disk::lay(all, all.size(), disk::tail_name(6, "$Bitmap"));
        disk::lay(all, all.size(), bytes(4));
        return all;
    }();
    const auto with_names = [&](const bytes& table) {
        return log_image{}.restart().restart().page(
            {.last_lsn = 9, .names = table, .records = {{.lsn = 8}, {.lsn = 9}}});
    };
    log_store store;
    scan(store, with_names(names).image());
    EXPECT_EQ(stored(store), (lsns{8, 9}));
    ASSERT_EQ(store.tail_names_first.size(), 2U);
    EXPECT_EQ(store.tail_names_first[1][6], 'B');

    bytes shifted(2);  // found two bytes on, the table is read one byte out of step behind its first name
    disk::lay(shifted, 2, names);
    log_store late;
    scan(late, with_names(shifted).image());
    EXPECT_EQ(late.tail_names_first.size(), 1U);
    EXPECT_EQ(stored(late), (lsns{8, 9}));
}

TEST(log_store_reset, kept_leaves_a_pending_record_for_the_next_log) {
    const record last = big(20, 400);
    log_store store;
    scan(store, log_image{}.page(page_ending_in(last, 96, 10)).image());
    log_store_reset(store);
    EXPECT_TRUE(store.entries.empty());
    scan(store, log_image{}.page({.last_lsn = 30, .continuation = rest_of(last, 96)}).image());
    EXPECT_EQ(stored(store), lsns{20});
}

TEST(link_chains, strings_records_together_once) {
    struct row {
        const char* what;
        std::vector<record> records;
        std::vector<lsns> chains;
    };
    const row rows[] = {
        {"two chains",
         {{.lsn = 10}, {.lsn = 11}, {.lsn = 12, .previous = 10}, {.lsn = 13, .previous = 12}},
         {{10, 12, 13}, {11}}},
        {"no heads", {{.lsn = 12, .previous = 10}}, {}},
        {"a gap ends the chain", {{.lsn = 10}, {.lsn = 13, .previous = 12}}, {{10}}},
        {"a second successor stays out",
         {{.lsn = 10}, {.lsn = 12, .previous = 10}, {.lsn = 13, .previous = 10}},
         {{10, 12}}},
        {"its own predecessor", {{.lsn = 10}, {.lsn = 10, .previous = 10}}, {{10, 10}}},
        {"a shared tail joins the first head",
         {{.lsn = 10}, {.lsn = 20}, {.lsn = 20, .previous = 10}, {.lsn = 21, .previous = 20}},
         {{10, 20, 21}, {20}}},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        log_store store;
        scan(store, log_image{}.page({.last_lsn = 100, .records = t.records}).image());
        std::vector<lsns> chains;
        for (const chain_head& head : store.chain_heads) {
            chains.push_back({head.lsn});
            for (const std::uint32_t member : store.members(head))
                chains.back().push_back(store.entries[member].this_lsn);
        }
        EXPECT_EQ(chains, t.chains);
    }
}

TEST(log_queries, answer_by_operation_chain_and_page) {
    using found = std::vector<std::uint32_t>;
    log_store store;
    scan(store, log_image{}
                    .page({.last_lsn = 12,
                           .records = {{.lsn = 10, .redo_op = 2, .undo_op = 3},
                                       {.lsn = 11, .previous = 10, .redo_op = 3, .undo_op = 3},
                                       {.lsn = 12, .previous = 12, .redo_op = 9}}})
                    .page({.last_lsn = 13, .records = {{.lsn = 13, .previous = 11}}})
                    .image());
    log_queries queries(store);
    EXPECT_EQ(queries.entries_for_opcode(3), (found{0, 1}));
    EXPECT_EQ(queries.entries_for_opcode(37), found{});
    EXPECT_EQ(queries.entries_for_chain(13), (found{3, 1, 0}));
    EXPECT_EQ(queries.entries_for_chain(12), found{2}) << "ends at an entry already listed";
    EXPECT_EQ(queries.entries_for_page(1), (found{0, 1, 2}));
    EXPECT_EQ(queries.entries_for_page(2), found{3});
    EXPECT_EQ(queries.entries_for_page(0), found{});
}

TEST(redo_data, widens_to_the_undo_bytes) {
    struct row {
        const char* what;
        record r;
        bool any;
        data_window window;
    };
    const bytes eight(8);
    const row rows[] = {
        {"undo behind a gap", {.redo_op = 2, .undo_offset = 72, .redo = bytes(32)}, true, {0, 32, 32}},
        {"gap included", {.redo_op = 2, .redo_length = 8, .undo_offset = 72, .redo = bytes(32)}, true, {0, 8, 32}},
        {"undo ahead", {.redo_op = 2, .redo_offset = 48, .undo_offset = 40, .redo = eight}, true, {8, 8, 8}},
        {"within the client header", {.redo_op = 2, .redo_offset = 39, .redo = eight}, false, {}},
        {"no operation", {.redo_op = 0, .redo = eight}, false, {}},
        {"no length", {.redo_op = 2, .redo_length = 0, .redo = eight}, false, {}},
        {"no payload", {.redo_op = 2, .redo_length = 8}, false, {}},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const bytes image = t.r.image();
        data_window window;
        EXPECT_EQ(redo_data(make_log_entry(std::span(image), 0, false), window), t.any);
        EXPECT_EQ(window.begin, t.window.begin);
        EXPECT_EQ(window.length, t.window.length);
        EXPECT_EQ(window.extent, t.window.extent);
    }
}

TEST(record_inode, reckons_in_fixed_clusters) {
    struct row {
        std::uint16_t block, place, redo_op;
        std::uint64_t vcn, inode;
    };
    const row rows[] = {{2, 4, 2, 5, 22}, {2, 3, 2, 5, 20}, {8, 0, 2, 5, 5},  {4, 0, 2, 5, 0},
                        {2, 6, 2, 0, 0},  {2, 0, 14, 5, 0}, {2, 0, 15, 5, 0}, {2, 0, 20, 5, 0}};
    for (const row& t : rows) {
        const bytes image =
            record{.redo_op = t.redo_op, .cluster_block = t.place, .block_size = t.block, .vcn = t.vcn}.image();
        EXPECT_EQ(record_inode(make_log_entry(std::span(image), 0, false)), t.inode) << t.block << ' ' << t.place;
    }
}

TEST(sequence_table, lends_the_highest_number_seen) {
    sequence_table table;
    const auto noted = [&table](std::uint64_t number, std::uint16_t sequence) {
        inode_ref ref(number, sequence);
        table.note(ref);
        return ref.sequence();
    };
    EXPECT_EQ(noted(40, 0), 0);
    EXPECT_EQ(noted(40, 3), 3);
    EXPECT_EQ(noted(40, 2), 2);
    EXPECT_EQ(noted(40, 0), 3);
    EXPECT_EQ(noted(0, 7), 7);
    EXPECT_EQ(noted(0, 0), 0);
}

}  // namespace
}  // namespace kest
