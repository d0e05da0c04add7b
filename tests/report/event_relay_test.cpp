#include "events/event_relay.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace kest {
namespace {

// Finds transactions of 0 to 3 events, numbered through, some with what is about no file before them.
class finder {
public:
    explicit finder(event_relay& relay) : m_relay(relay) {}

    void find(std::uint32_t events) {
        for (std::uint32_t number = 0; m_found < events; ++number) {
            found_events& found = m_relay.found();
            if (number % 5 == 0) {
                found.of_volume.push_back({found.events.size(), &m_mount});
                ++of_volume;
            }
            for (std::uint32_t left = number % 4; left != 0; --left) {
                found.subjects.push_back({});
                found.subjects.back().transaction = m_found;
                found.events.push_back(
                    {.subject = static_cast<std::uint32_t>(found.subjects.size() - 1), .proof = m_found++});
            }
            m_relay.end_transaction();
        }
    }

    std::uint32_t found() const { return m_found; }
    std::size_t of_volume = 0;

private:
    event_relay& m_relay;
    std::uint32_t m_found = 0;
    const volume_event m_mount{};
};

struct reader {
    void take(const found_events& found) {
        for (const found_event& one : found.events) {
            if (one.proof == bad) throw std::length_error("full");
            if (one.proof != taken || found.subjects[one.subject].transaction != taken) ++wrong;
            ++taken;
        }
        of_volume += found.of_volume.size();
    }

    std::uint32_t bad = ~0U;
    std::uint32_t taken = 0;
    std::uint32_t wrong = 0;
    std::size_t of_volume = 0;
};

TEST(event_relay, has_all_events_written_in_their_order) {
    for (const bool threads : {false, true}) {
        for (const std::uint32_t count : {0U, 1U, 300U, 6000U}) {
            reader taker;
            event_relay relay([&](const found_events& found) { taker.take(found); }, threads);
            finder finding(relay);
            finding.find(count);
            relay.finish();
            EXPECT_EQ(taker.taken, finding.found());
            EXPECT_EQ(taker.wrong, 0u) << count;
            EXPECT_EQ(taker.of_volume, finding.of_volume) << count;
        }
    }
}

// In the first batch, in the last one, and where nothing comes after.
TEST(event_relay, throws_what_the_writer_throws) {
    for (const bool threads : {false, true}) {
        for (const std::uint32_t bad : {3U, 511U, 998U}) {
            reader taker{.bad = bad};
            const auto run = [&] {
                event_relay relay([&](const found_events& found) { taker.take(found); }, threads);
                try {
                    finder(relay).find(999);
                    relay.finish();
                } catch (...) {
                    relay.finish();
                    throw;
                }
            };
            EXPECT_THROW(run(), std::length_error) << bad;
            EXPECT_EQ(taker.taken, bad) << "none after it";
        }
    }
}

TEST(event_relay, keeps_little_of_transactions_without_events) {
    for (const bool threads : {false, true}) {
        std::size_t most = 0;
        event_relay relay([](const found_events&) {}, threads);
        for (int number = 0; number < 20'000; ++number) {
            relay.found().subjects.push_back({});
            relay.found().runs.push_back({});
            relay.end_transaction();
            most = std::max({most, relay.found().subjects.size(), relay.found().runs.size()});
        }
        EXPECT_LT(most, 4096u);
    }
}

// Memory runs out in the middle of a transaction: what is whole is written.
TEST(event_relay, writes_no_half_transaction) {
    for (const bool threads : {false, true}) {
        reader taker;
        event_relay relay([&](const found_events& found) { taker.take(found); }, threads);
        finder finding(relay);
        finding.find(999);
        const std::uint32_t whole = finding.found();
        relay.found().subjects.push_back({});
        relay.found().events.push_back({.proof = whole});
        relay.finish();
        EXPECT_EQ(taker.taken, whole);
        EXPECT_EQ(taker.wrong, 0u);
    }
}

}  // namespace
}  // namespace kest
