#include "logfile/restart_page.h"

#include <gtest/gtest.h>

#include "support/log_image.h"

namespace kest {
namespace {

using namespace disk;

const bytes sound = restart_page{.current_lsn = 0x2008, .oldest_lsn = 0x2000, .sequence_bits = 51}.image();

std::optional<restart_facts> read(const bytes& page) {
    return read_restart_page(uni::byte_view{page});
}

TEST(read_restart_page, tells_what_the_page_has_room_for) {
    restart_facts whole;
    whole.system_page_size = whole.log_page_size = 4096;
    whole.major_version = whole.minor_version = 1;
    whole.current_lsn = 0x2008;
    whole.clean = false;
    whole.sequence_bits = 51;
    whole.log_size = 64 * 1024;
    whole.oldest_lsn = 0x2000;
    whole.client_name = "NTFS";
    EXPECT_EQ(read(sound), whole);
    for (std::size_t size = 0; size <= 272; ++size) {  // no longer one says more
        const auto facts = read(part(sound, 0, size));
        ASSERT_EQ(facts.has_value(), size >= 4) << size;
        if (!facts) continue;
        EXPECT_EQ(facts->log_page_size.has_value(), size >= 24) << size;
        EXPECT_EQ(facts->current_lsn.has_value(), size >= 56 && size >= 48 + 22) << size;
        EXPECT_EQ(facts->log_size.has_value(), size >= 48 + 32) << size;
        EXPECT_EQ(facts->oldest_lsn.has_value(), size >= 112 + 8) << size;
        EXPECT_EQ(facts->client_name.has_value(), size >= 112 + 40) << size;
    }
}

TEST(read_restart_page, believes_no_offset_and_no_number) {
    struct row {
        const char* what;
        std::size_t at;
        u16 value;
        bool area, client, name;
    };
    const row rows[] = {
        {"clean", 62, 2, true, true, true},
        {"area within the header", 24, 29, false, false, false},
        {"area beyond the page", 24, 4096, false, false, false},
        {"area that ends before its clients", 68, 63, true, false, false},
        {"area that ends within the name", 68, 64 + 39, true, true, false},
        {"no client in use", 60, 0xFFFF, true, false, false},
        {"a client beyond their number", 60, 1, true, false, false},
        {"clients beyond the area", 70, 224, true, false, false},
        {"a name longer than its record", 140, 130, true, true, false},
    };
    for (const auto& [what, at, value, area, client, name] : rows) {
        bytes page = sound;
        put(page, at, value);
        const auto facts = read(page);
        ASSERT_TRUE(facts) << what;
        EXPECT_EQ(facts->log_size.has_value(), area) << what;
        EXPECT_EQ(facts->clean.value_or(false), at == 62) << what;
        EXPECT_EQ(facts->oldest_lsn.has_value(), client) << what;
        EXPECT_EQ(facts->client_name.has_value(), name) << what;
    }
    bytes close = sound;
    put(close, 24, u16{30});       // an area right after the header
    put(close, 30 + 20, u16{32});  // and its length
    EXPECT_TRUE(read(close)->log_size);
    bytes page = sound;
    put(page, 56, u16{0xFFFF});  // clients
    put(page, 60, u16{0xFFFE});  // the first in use
    EXPECT_FALSE(read(page)->oldest_lsn);
    put(page, 0, u16{0});
    EXPECT_FALSE(read(page));
}

}  // namespace
}  // namespace kest
