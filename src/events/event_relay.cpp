#include "events/event_relay.h"

#include <algorithm>
#include <span>
#include <utility>

#include "portable/ending_signals.h"

namespace kest {

namespace {

constexpr std::size_t most_events = 256;
constexpr std::size_t most_bytes = std::size_t{1} << 20;

}  // namespace

void event_relay::put(const event& shown) {
    m_filling->add(shown);
    if (m_filling->is_full()) hand_over();
}

void event_relay::finish() {
    if (m_thread) m_thread->wait();
    pass_on(*m_filling);
    m_filling->clear();
}

void event_relay::hand_over() {
    if (m_thread) {
        m_thread->wait();
    } else {
        const uni::signals_held held;  // from the thread: the main one holds them where it must
        m_thread.emplace([this] { pass_on(*m_taken); });
    }
    std::swap(m_filling, m_taken);
    m_filling->clear();
    m_thread->begin();
}

void event_relay::pass_on(const batch& taken) {
    if (m_failed) return;
    m_failed = true;
    for (const event& shown : std::span(taken.events).first(taken.count))
        m_listener(shown);
    m_failed = false;
}

void event_relay::batch::add(const event& shown) {
    if (count == events.size()) events.emplace_back();
    event& kept = events[count];
    kept = shown;
    bytes += kept.path.size() + kept.name_hex.size() + kept.old_path.size() + kept.old_name_hex.size();
    keep(kept.before);
    keep(kept.after);
    ++count;  // not what memory ran out for: it may refer to what goes
}

bool event_relay::batch::is_full() const {
    return count == most_events || bytes > most_bytes;
}

void event_relay::batch::clear() {
    if (bytes > most_bytes) events.clear();  // their memory would stay otherwise
    copies.release();
    count = bytes = 0;
}

void event_relay::batch::keep(uni::byte_view& view) {
    if (view.empty()) return;
    bytes += view.size();
    const std::span copy(static_cast<std::uint8_t*>(copies.allocate(view.size(), 1)), view.size());
    std::ranges::copy(view.bytes(), copy.begin());
    view = copy;
}

void event_relay::batch::keep(event_values& values) {
    for (uni::byte_view* const view : {&values.name, &values.object_id, &values.value, &values.owner, &values.twin})
        keep(*view);
    std::span<const cluster_run>& runs = values.place.runs;
    if (runs.empty()) return;
    bytes += runs.size_bytes();
    std::pmr::polymorphic_allocator<cluster_run> memory(&copies);
    cluster_run* const copy = memory.allocate(runs.size());
    std::ranges::uninitialized_copy(runs, std::span(copy, runs.size()));
    runs = {copy, runs.size()};
}

}  // namespace kest
