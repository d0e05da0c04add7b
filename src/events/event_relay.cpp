#include "events/event_relay.h"

#include <algorithm>
#include <utility>

#include "portable/ending_signals.h"

namespace kest {

namespace {

constexpr std::size_t most_waiting = 256;
constexpr std::size_t most_kept = 8 * most_waiting;

// The memory of one large transaction would stay otherwise.
template <class list>
void clear_list(list& values) {
    values.clear();
    if (values.capacity() > most_kept) values.shrink_to_fit();
}

// Files have subjects also where no event of them is found, and runs are many for one event.
bool is_full(const found_events& found) {
    return std::max(found.events.size(), found.of_volume.size()) >= most_waiting ||
           std::max(found.subjects.size(), found.runs.size()) >= most_kept;
}

void clear(found_events& found) {
    clear_list(found.events);
    clear_list(found.subjects);
    clear_list(found.runs);
    clear_list(found.of_volume);
}

}  // namespace

void event_relay::end_transaction() {
    m_whole = m_found.events.size();
    if (!m_threads_allowed) {
        finish();
    } else if (is_full(m_found)) {
        hand_over();
    }
}

void event_relay::finish() {
    if (m_thread) m_thread->wait();
    m_found.events.resize(m_whole);  // without those of a transaction that memory ran out for
    write(m_found);
    clear(m_found);
    m_whole = 0;
}

void event_relay::hand_over() {
    if (m_thread) {
        m_thread->wait();
    } else {
        const uni::signals_held held;  // from the thread: the main one holds them where it must
        m_thread.emplace([this] { write(m_taken); });
    }
    std::swap(m_found, m_taken);
    clear(m_found);
    m_whole = 0;
    m_thread->begin();
}

void event_relay::write(const found_events& found) {
    if (m_failed) return;
    m_failed = true;
    m_write(found);
    m_failed = false;
}

}  // namespace kest
