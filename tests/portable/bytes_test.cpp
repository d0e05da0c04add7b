#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "portable/block_stream.h"
#include "portable/block_vector.h"
#include "portable/byte_view.h"
#include "portable/kept_values.h"
#include "portable/large_pages.h"
#include "portable/ordered_index.h"
#include "portable/seeded_map.h"
#include "portable/unicode.h"
#include "support/byte_builder.h"

namespace {

TEST(byte_view, reads_nothing_that_is_not_wholly_inside) {
    const std::vector<std::uint8_t> bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99};
    const uni::byte_view view{std::span(bytes)};
    EXPECT_EQ(view.u32(5), 0x99887766u);
    EXPECT_EQ(view.u64(1), 0x9988776655443322u);
    EXPECT_EQ(view.get(uni::field<std::int16_t>{7}), -26232);
    for (const std::uint64_t outside : {2ull, 9ull, 1ull << 63, ~0ull, ~0ull - 6})
        EXPECT_EQ(view.u64(outside), 0u) << outside;
    EXPECT_FALSE(view.has(4, ~0ull - 3));  // the sum would wrap to 0
    EXPECT_EQ(view.slice(7, ~0ull).size(), 2u);
    EXPECT_EQ(view.slice(2, 3).u16(2), 0);  // a slice ends where it ends
}

TEST(utf16_text, becomes_utf8) {
    const std::pair<std::u16string, std::string> rows[] = {
        {u"\u007f\u0080\u07ff\u0800\uffff", "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
        {u"\U00010000\U0010ffff", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {{u'a', 0, u'b'}, "a"},
        {{0xdc00, 0xd800, 0xd801, 0xdc00, 0xd800}, "\xef\xbf\xbd\xef\xbf\xbd\xf0\x90\x90\x80\xef\xbf\xbd"},
    };
    for (const auto& [units, text] : rows) {
        const std::vector bytes = kest::disk::pack(units, std::uint8_t{'x'});  // half a unit is none
        EXPECT_EQ(uni::utf16_text(uni::byte_view{bytes}), text);
    }
}

TEST(kept_values, stay_where_they_are_and_are_shared_while_they_are_recent) {
    uni::kept_values<std::uint64_t> kept;
    std::vector<const std::uint64_t*> shown;
    for (std::uint64_t value = 0; value < 20'000; ++value) {  // more than one block
        shown.push_back(&kept.keep(value));
        EXPECT_EQ(&kept.keep(value), shown.back());
    }
    for (std::uint64_t value = 0; value < shown.size(); ++value)
        EXPECT_EQ(*shown[value], value);
}

TEST(large_vector, keeps_what_it_holds_as_its_room_is_released) {
    uni::large_vector<std::uint64_t> list;
    uni::release_room(list);
    list.reserve(std::size_t{1} << 20);
    const std::uint64_t* const room = list.data();
    for (std::uint64_t value = 1; value <= 3'000; ++value) {
        list.push_back(value);
        if (value % 1'000 == 0) uni::release_room(list);
    }
    EXPECT_EQ(list.data(), room);
    for (std::size_t at = 0; at < list.size(); ++at)
        EXPECT_EQ(list[at], at + 1);
}

// Held against trees, over keys that mostly ascend, as record numbers do, with some far back and some twice.
TEST(indexes, keep_order_and_the_first_arrival) {
    std::mt19937_64 random(1);
    uni::sealed_index sealed;
    uni::ordered_index ordered, unique;
    uni::seeded_map<std::uint32_t> counts;
    std::multimap<std::uint64_t, std::uint32_t> all;
    std::map<std::uint64_t, std::uint32_t> first;
    for (std::uint32_t position = 0; position < 2000; ++position) {
        const std::uint64_t key = 1 + (position % 7 == 3 ? random() % 900 : position / 2 + random() % 3);
        sealed.add(key, position);
        ordered.add(key, position);
        all.emplace(key, position);
        EXPECT_EQ(unique.add_unique(key, position), first.emplace(key, position).second);
        ++counts[key];
    }
    auto thinned = counts;
    for (std::uint64_t key = 0; key < 3000; key += 3)
        thinned.erase(key);
    auto next = all.begin();
    ordered.for_each([&](std::uint64_t key, std::uint32_t position) {
        ASSERT_EQ(*next++, (std::pair<const std::uint64_t, std::uint32_t>(key, position)));
    });
    ASSERT_EQ(next, all.end());

    sealed.seal();
    std::size_t near = 0;
    for (std::uint64_t at = 0; at < 3000; ++at) {
        const std::uint64_t key = 1 + (at < 1100 ? at : random() % 1100);
        const uni::index_entry* found = sealed.find_near(key, near);
        ASSERT_EQ(near, sealed.lower_bound(key));
        ASSERT_EQ(found != nullptr, first.contains(key));
        ASSERT_EQ(unique.find(key) != nullptr, found != nullptr);
        ASSERT_EQ(counts.find(key) != nullptr, found != nullptr);
        ASSERT_EQ(thinned.find(key) != nullptr, found != nullptr && key % 3 != 0);
        if (found == nullptr) continue;
        ASSERT_EQ(found->position, first[key]);
        ASSERT_EQ(*ordered.find(key), first[key]);
        ASSERT_EQ(*unique.find(key), first[key]);
        ASSERT_EQ(*counts.find(key), all.count(key));
    }
    sealed.seal_unique();
    EXPECT_EQ(sealed.size(), first.size());
    EXPECT_EQ(sealed.find(500), first[500]);
}

TEST(block_vector, keeps_values_where_they_are) {
    uni::block_vector<std::uint64_t> values;
    values.reserve(3);
    const std::uint64_t* const first = &values.push_back(0);
    const std::uint64_t* later = nullptr;
    for (std::uint64_t value = 1; value < 300'000; ++value) {
        values.push_back(~value);
        values.pop_back();
        values.push_back(value);
        ASSERT_EQ(std::pair(values.size(), values[value]), std::pair(value + 1, value));
        if (value == 200'000) later = &values[value];
    }
    EXPECT_TRUE(&values[0] == first && &values[200'000] == later &&
                std::ranges::is_sorted(std::vector(values.begin(), values.end())));
}

// Has a hole, and bytes that cannot be read.
class broken_source final : public uni::byte_source {
public:
    broken_source(bool ahead, std::uint64_t bad) : m_ahead(ahead), m_bad(bad) {}
    std::uint64_t size() const override { return 10'100; }
    uni::read_result read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const override {
        const auto sound = static_cast<std::size_t>(offset < m_bad ? std::min(m_bad - offset, buffer.size()) : 0);
        const bool fails = sound < buffer.size() && offset + sound == m_bad;
        const std::size_t count = fails ? sound : buffer.size();
        for (std::size_t at = 0; at < count; ++at)
            buffer[at] = static_cast<std::uint8_t>((offset + at) / 7);
        return {count, fails};
    }
    std::uint64_t next_data(std::uint64_t offset) const override {
        return offset < 5000 ? offset : std::max<std::uint64_t>(offset, 7000);
    }
    std::uint64_t next_hole(std::uint64_t offset) const override { return offset < 5000 ? 5000 : size(); }
    bool reads_ahead() const override { return m_ahead; }

private:
    const bool m_ahead;
    const std::uint64_t m_bad;
};

TEST(block_stream, gives_the_blocks_of_a_reader_whether_it_reads_ahead_or_not) {
    for (const std::uint64_t bad : {20'000, 0, 100, 512, 4096, 4100, 7700, 10'099}) {
        for (const int mode : {0, 1, 2}) {  // in place; ahead; ahead, with rooms of three blocks that others keep
            SCOPED_TRACE(std::to_string(bad) + " " + std::to_string(mode));
            const broken_source source(mode != 0, bad);
            uni::block_reader reader(source, 0, source.size(), 256);
            std::vector<std::vector<std::uint8_t>> rooms;
            const auto make_room = [&rooms] { return std::span(rooms.emplace_back(64 + 3 * 512)); };
            const uni::block_stream::shape shape{.grain = 256, .block_size = 512, .lead = 64};
            std::optional<uni::block_stream> made;
            uni::block_stream& stream =
                mode == 2 ? made.emplace(source, shape, make_room) : made.emplace(source, shape);
            std::vector<std::uint8_t> wanted(512);
            std::uint64_t end = 0;
            std::span<const std::uint8_t> left;
            while (reader.advance()) {
                ASSERT_TRUE(stream.advance());
                ASSERT_EQ(stream.position(), reader.position());
                if (reader.position() != end) left = {};
                const uni::block_reader::block block = reader.read(wanted);
                const std::vector<std::uint8_t> before(left.begin(), left.end());
                const uni::block_stream::block got = stream.read(left);
                stream.read_ahead();
                ASSERT_EQ(got.offset + before.size(), block.offset);
                ASSERT_EQ(got.arrived, block.bytes);
                ASSERT_EQ(got.failed, block.failed);
                ASSERT_EQ(got.bytes.size(), before.size() + block.bytes);
                EXPECT_TRUE(std::ranges::equal(got.bytes.first(before.size()), before));
                EXPECT_TRUE(std::ranges::equal(got.bytes.subspan(before.size()), std::span(wanted).first(block.bytes)));
                end = block.offset + block.bytes;
                left = got.bytes.last(std::min<std::size_t>(got.bytes.size(), 64));
                if (end == 9400) break;  // what is read ahead is dropped
            }
            EXPECT_TRUE(end == 9400 || !stream.advance());
        }
    }
}

}  // namespace
