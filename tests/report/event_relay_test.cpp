#include "events/event_relay.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

namespace kest {
namespace {

// The n-th event; what it refers to stands in `bytes`, which the next one is written over.
event event_of(std::uint64_t n, std::vector<std::uint8_t>& bytes, std::vector<cluster_run>& runs) {
    event made;
    made.lsn = n;
    made.path.assign(n % 700 == 5 ? 2'000'000 : 1 + n % 9, static_cast<char>('a' + n % 26));
    bytes.assign(n % 40, static_cast<std::uint8_t>(n));
    runs.assign(n % 3, cluster_run{});
    for (cluster_run& run : runs)
        run.clusters = n;
    made.before.name = std::span<const std::uint8_t>(bytes);
    made.after.place.runs = runs;
    return made;
}

bool is_event(const event& shown, std::uint64_t n) {
    std::vector<std::uint8_t> bytes;
    std::vector<cluster_run> runs;
    const event made = event_of(n, bytes, runs);
    const auto length = [](const cluster_run& run) { return run.clusters; };
    return shown.lsn == n && shown.path == made.path && std::ranges::equal(shown.before.name.bytes(), bytes) &&
           std::ranges::equal(shown.after.place.runs, runs, {}, length, length);
}

TEST(event_relay, passes_all_events_on_in_their_order) {
    for (const std::uint64_t count : {0, 1, 256, 257, 5000}) {
        std::uint64_t taken = 0, wrong = 0;
        const event_listener listener = [&](const event& shown) { wrong += is_event(shown, taken++) ? 0 : 1; };
        event_relay relay(listener);
        std::vector<std::uint8_t> bytes;
        std::vector<cluster_run> runs;
        for (std::uint64_t n = 0; n < count; ++n)
            relay.put(event_of(n, bytes, runs));
        relay.finish();
        EXPECT_EQ(taken, count);
        EXPECT_EQ(wrong, 0u) << count;
    }
}

// In the first batch, in the last one, and where nothing comes after.
TEST(event_relay, throws_what_the_listener_throws) {
    for (const std::uint64_t bad : {3, 511, 999}) {
        std::uint64_t taken = 0;
        const event_listener listener = [&taken, bad](const event& shown) {
            if (shown.lsn == bad) throw std::length_error("full");
            ++taken;
        };
        const auto run = [&listener] {
            event_relay relay(listener);
            std::vector<std::uint8_t> bytes;
            std::vector<cluster_run> runs;
            try {
                for (std::uint64_t n = 0; n < 1000; ++n)
                    relay.put(event_of(n, bytes, runs));
                relay.finish();
            } catch (...) {
                relay.finish();
                throw;
            }
        };
        EXPECT_THROW(run(), std::length_error) << bad;
        EXPECT_EQ(taken, bad) << "none after it";
    }
}

}  // namespace
}  // namespace kest
