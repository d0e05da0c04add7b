#include <gtest/gtest.h>
#include <map>

#include "logfile/scanner.h"
#include "support/log_image.h"
#include "support/made_run.h"
#include "support/turned_log.h"

namespace kest {
namespace {

using namespace disk;

constexpr u64 pages_in_log = 64;
constexpr unsigned place_bits = 16;

constexpr u64 lsn_at(u64 page, u64 at, u64 round = 2) {
    return round << place_bits | (page * 4096 + at) / 8;
}

record sized(u64 lsn, std::size_t size) {
    return {.lsn = lsn, .redo_op = 2, .redo = bytes(size - 88, static_cast<u8>(lsn))};
}

// A record that begins 120 bytes before its page's end, and the page, which it shares with one other.
constexpr std::size_t shown = 120;
record crossing(u64 page, std::size_t size, u64 round = 2) {
    return sized(lsn_at(page, 4096 - shown, round), size);
}
record_page ending_in(const record& last, u64 page, u64 round = 2) {
    const record first = sized(lsn_at(page, 64, round), 4096 - 64 - shown);
    return {.last_lsn = last.lsn, .last_end_lsn = first.lsn, .records = {first, last}};
}
// The page in which it ends; another record follows.
record_page ending(const record& before, u64 page, u64 round = 2, std::size_t given = shown) {
    const bytes rest = part(before.image(), given);
    const u64 next = lsn_at(page, 64 + rest.size(), round);
    return {.last_lsn = next, .continuation = rest, .records = {{.lsn = next}}};
}
record_page with_last_lsn(record_page page, u64 last_lsn) {
    page.last_end_lsn = page.last_end_lsn.value_or(page.last_lsn);
    page.last_lsn = last_lsn;
    return page;
}

// Records that stand where their LSNs say, of two rounds.
constexpr u64 plain_page = 50;
record_page plain(u64 page, u64 round) {
    return {
        .last_lsn = lsn_at(page, 240, round),
        .records = {
            {.lsn = lsn_at(page, 64, round)}, {.lsn = lsn_at(page, 152, round)}, {.lsn = lsn_at(page, 240, round)}}};
}

// What is in a log of such pages beside plain ones: round, page and offset that each LSN states, and of a record over a
// page end whether its bytes are its own. Some sectors, known by their offsets, end in another number than their page.
std::string completed(const std::map<u64, record_page>& pages, bool with_restart_page, std::vector<u64> torn = {},
                      bool keeps_torn = false) {
    bytes log(pages_in_log * 4096, 0xFF);
    const restart_page stated{.current_lsn = 1, .file_size = log.size(), .sequence_bits = 64 - place_bits};
    if (with_restart_page) lay(log, 0, stated.image());
    lay(log, plain_page * 4096, plain(plain_page, 3).image());
    lay(log, (plain_page + 1) * 4096, plain(plain_page + 1, 2).image());
    for (const auto& [number, page] : pages)
        lay(log, number * 4096, page.image());
    for (const u64 sector : torn)
        log[sector + 510] ^= 1;
    log_store store;
    store.keeps_pages = true;
    store.keeps_torn = keeps_torn;
    scan_buffer(store, std::span(log));
    complete_log(store);
    EXPECT_TRUE(std::ranges::is_sorted(store.entries, {}, &log_entry::this_lsn));
    std::string text;
    for (const log_entry& entry : store.entries) {
        const u64 place = entry.this_lsn() % (u64{1} << place_bits) * 8;
        if (place / 4096 == plain_page || place / 4096 == plain_page + 1) continue;
        text += (text.empty() ? "" : " ") + std::to_string(entry.this_lsn() >> place_bits) + '/' +
                std::to_string(place / 4096) + ':' + std::to_string(place % 4096);
        const auto payload = entry.payload().bytes();
        const auto own = std::ranges::count(payload, static_cast<u8>(entry.this_lsn()));
        if (entry.spanned()) text += own == std::ssize(payload) ? "+" : "!";
    }
    return text;
}

TEST(complete_log, an_lsn_states_the_place_of_its_record) {
    const record small{.lsn = lsn_at(40, 64)}, older{.lsn = lsn_at(40, 240, 1)}, unlike{.type = 0};
    const record five = crossing(40, 320), last = crossing(63, 320), longest = crossing(63, shown + 4032 + 200);
    const record_page of_small{.last_lsn = small.lsn, .records = {small}};
    const record_page of_stale{.last_lsn = lsn_at(41, 64, 1), .records = {{.lsn = lsn_at(41, 64, 1)}}};
    const record_page of_later{.last_lsn = lsn_at(41, 64, 3), .records = {sized(lsn_at(41, 64, 3), 400)}};
    const record_page of_tail{
        .last_lsn = small.lsn, .next_record_offset = 152, .records = {small, unlike, {.lsn = lsn_at(7, 240, 1)}}};
    const record bitmap{
        .lsn = lsn_at(40, 64), .redo_op = 21, .undo_op = 1, .undo_offset = 48, .undo_length = 8, .redo = bytes(8)};
    const record holder{.lsn = lsn_at(40, 64), .redo_op = 2, .redo = record{.lsn = lsn_at(40, 152)}.image()};
    const record after_bitmap{.lsn = lsn_at(40, 160), .redo_op = 2, .redo = record{.lsn = lsn_at(40, 248)}.image()};
    bytes planted = longest.image();
    lay(planted, shown + 64, record{.lsn = lsn_at(4, 128, 3)}.image());
    const std::tuple<const char*, std::map<u64, record_page>, const char*> rows[] = {
        {"a tail page of version 1 states its place", {{2, with_last_lsn(of_small, 40 * 4096)}}, "2/40:64"},
        {"one of version 2 its last LSN", {{7, of_small}}, "2/40:64"},
        {"one that states nothing", {{2, with_last_lsn(of_small, 0)}}, "2/40:64"},
        {"both copies of a page are one", {{2, with_last_lsn(of_small, 40 * 4096)}, {40, of_small}}, "2/40:64 2/40:64"},
        {"what was in a tail page before", {{7, of_tail}}, "1/7:240 2/40:64"},
        {"over a page end", {{40, ending_in(five, 40)}, {41, ending(five, 41)}}, "2/40:64 2/40:3976+ 2/41:264"},
        {"its page is in the tail only",
         {{3, with_last_lsn(ending(five, 41), 41 * 4096)}, {40, ending_in(five, 40)}, {41, of_stale}},
         "1/41:64 2/40:64 2/40:3976+ 2/41:264"},
        {"its page is of a later round", {{40, ending_in(five, 40)}, {41, of_later}}, "2/40:64 3/41:64"},
        {"over the end of the ring",
         {{4, ending(last, 4, 3)}, {63, ending_in(last, 63)}},
         "2/63:64 2/63:3976+ 3/4:264"},
        {"of a ring that begins later",
         {{34, ending(last, 34, 3)}, {63, ending_in(last, 63)}},
         "2/63:64 2/63:3976+ 3/34:264"},
        {"of an earlier round after the last",
         {{40, {.last_lsn = small.lsn, .records = {small, unlike, older}}}},
         "1/40:240 2/40:64"},
        {"compensation of a bitmap operation", {{40, {.last_lsn = bitmap.lsn, .records = {bitmap}}}}, "2/40:64"},
        {"within another record", {{40, {.last_lsn = holder.lsn, .records = {holder}}}}, "2/40:64"},
        {"within one that the scan cannot find by itself",
         {{40, {.last_lsn = after_bitmap.lsn, .records = {bitmap, after_bitmap}}}},
         "2/40:64 2/40:160"},
        {"within one over the end of the ring",
         {{4, {.last_lsn = longest.lsn, .last_end_lsn = lsn_at(63, 64), .continuation = part(planted, shown)}},
          {5, ending(longest, 5, 3, shown + 4032)},
          {63, ending_in(longest, 63)}},
         "2/63:64 2/63:3976! 3/5:264"},
    };
    for (const auto& [what, pages, expected] : rows) {
        EXPECT_EQ(completed(pages, true), expected) << what;
        EXPECT_EQ(completed(pages, false), expected) << what << ", by the size of the file";
    }
}

TEST(complete_log, nothing_is_taken_from_torn_sectors) {
    const record first = sized(lsn_at(40, 64), 600), second = sized(lsn_at(40, 664), 100);
    const record_page two{.last_lsn = second.lsn, .records = {first, second}};
    const record five = crossing(40, 320);
    const std::map<u64, record_page> crossed = {{40, ending_in(five, 40)}, {41, ending(five, 41)}};
    const u64 page = 40 * 4096;
    const std::tuple<const char*, std::map<u64, record_page>, std::vector<u64>, const char*> rows[] = {
        {"a record that ends there", {{40, two}}, {page + 512}, ""},
        {"one before it", {{40, two}}, {page + 1024}, "2/40:64 2/40:664"},
        {"its page's header", {{40, two}}, {page}, "2/40:664"},
        {"a copy is sound", {{7, two}, {40, two}}, {page + 512}, "2/40:64 2/40:664"},
        {"the copy is torn", {{7, two}, {40, two}}, {7 * 4096 + 512}, "2/40:64 2/40:664"},
        {"a record goes on there", crossed, {page + 4096}, "2/40:64"},
        {"one that goes on was begun there", crossed, {page + 7 * 512}, "2/41:264"},
        {"a copy of the page that it goes on in",
         {{3, with_last_lsn(ending(five, 41), 41 * 4096)}, {40, ending_in(five, 40)}, {41, ending(five, 41)}},
         {page + 4096},
         "2/40:64 2/40:3976+ 2/41:264"},
    };
    for (const auto& [what, pages, torn, expected] : rows)
        EXPECT_EQ(completed(pages, true, torn), expected) << what;
    EXPECT_EQ(completed({{40, two}}, true, {page, page + 512}, true), "2/40:64 2/40:664")
        << "rows have them all the same";
}

// The bundled sample, turned to each page of its ring: rows and events are the same but for LSNs and offsets.
TEST(complete_log, it_does_not_matter_where_the_ring_ends) {
    const std::string folder = KEST_SAMPLES "/";
    const auto bytes_of = [&](const char* name) {
        const std::string text = contents_of(folder + name);
        return bytes(text.begin(), text.end());
    };
    const bytes sample = bytes_of("LogFile"), mft = bytes_of("MFT");
    const auto reported = [&](u64 pages, const argument_list& more) {
        const turned_log turned(sample, pages);
        const memory_file log(turned.image()), records(turned.mft(mft));
        argument_list args = {"-log",      log.path(),           "-mftfile", records.path(),
                              "-jrnlfile", folder + "UsnJrnl_J", "-quiet"};
        args.insert(args.end(), more.begin(), more.end());
        std::string out = run_captured(args).out;
        out.erase(0, out.find('\n', out.find("cmdline")));
        for (std::size_t at = 0; (at = out.find("\"lsn\":\"", at)) != std::string::npos;)
            out.erase(at, out.find('"', at + 7) + 1 - at);
        return out;
    };
    const argument_list shapes[] = {
        {"-events", "-columns",
         "time,not_after,clock,event,state,path,old_path,type,known,source,inode,seq,parent,parent_seq,cut,reason,"
         "details"},
        {"-cut", "-columns",
         "time,ref,action,level,op_pattern,op_name,lcn,inode,seq,parent,parent_seq,path,details,undo"},
    };
    EXPECT_EQ(turned_log(sample, 0).image(), sample);
    for (const argument_list& shape : shapes) {
        const std::string straight = reported(0, shape);
        EXPECT_GT(std::ranges::count(straight, '\n'), 40);
        for (u64 pages = 1; pages <= 12; ++pages)
            EXPECT_EQ(reported(pages, shape), straight) << pages;
    }
}

}  // namespace
}  // namespace kest
