#include "logfile/page.h"

#include <gtest/gtest.h>

#include "support/log_image.h"

namespace kest {
namespace {

using disk::bytes;
using disk::record;

TEST(is_record_page, holds_the_array_to_its_bounds) {
    struct row {
        const char* what;
        std::uint16_t usa_offset, usa_count;
        bool accepted;
    };
    const row rows[] = {
        {"lowest of both", 40, 3, true},  {"highest of both", 48, 12, true}, {"array too early", 39, 9, false},
        {"array too late", 49, 9, false}, {"array too small", 40, 2, false}, {"array too large", 40, 13, false},
        {"no array at all", 0, 0, false},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const bytes page = disk::record_page{.usa_offset = t.usa_offset, .usa_count = t.usa_count}.image();
        EXPECT_EQ(is_record_page(std::span(page)), t.accepted);
    }
    bytes bad = disk::record_page{}.image();
    bad[0] = 'B';
    EXPECT_FALSE(is_record_page(std::span<const std::uint8_t>(bad)));
}

TEST(is_restart_page, wants_a_sequence_number) {
    EXPECT_TRUE(is_restart_page(std::span<const std::uint8_t>(disk::restart_page{}.image())));
    const bytes unsequenced = disk::restart_page{.sequence_value = 0}.image();
    EXPECT_FALSE(is_restart_page(std::span(unsequenced)));
    EXPECT_TRUE(has_restart_signature(std::span(unsequenced)));
}

TEST(apply_fixups, kept_repairs_a_torn_page_all_the_same) {
    bytes plain = disk::record_page{.last_lsn = 7, .records = {{.lsn = 7, .redo = bytes(1500, 0xAB)}}}.image();
    bytes torn = plain;
    torn[1022] ^= 0x55;
    EXPECT_TRUE(apply_fixups(std::span(plain), 40));
    EXPECT_FALSE(apply_fixups(std::span(torn), 40));
    EXPECT_EQ(plain, torn);
    EXPECT_EQ(plain[1022], 0xAB);
    EXPECT_FALSE(apply_fixups(std::span(plain).first(511), 40));
}

TEST(record_plausible, judges_only_the_fields_it_can_see) {
    struct row {
        const char* what;
        record r;
        std::size_t available;
        bool plausible;
    };
    const std::uint64_t base = 0x2000;
    const row rows[] = {
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
        {"limit not asked without a link", {.lsn = 0x20000001, .previous = ~std::uint64_t{0}}, 88, true},
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
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const bytes image = t.r.image();
        EXPECT_EQ(record_plausible(uni::byte_view{image}.slice(0, t.available), 0x20000000), t.plausible);
    }
}

}  // namespace
}  // namespace kest
