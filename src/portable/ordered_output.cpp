#include "portable/ordered_output.h"

#include <new>
#include <utility>

#include "portable/console.h"

namespace uni {

// The memory goes, too.
void ordered_output::pass_on(std::string& text) {
    if (text.empty()) return;
    m_target.write(text);
    m_kept_bytes -= text.size();
    text = {};
    m_moved.notify_all();
}

// False where there is no room, or no memory.
bool ordered_output::keep(std::size_t turn, std::string_view text) {
    if (turn == m_turn || m_kept_bytes + text.size() > most_kept) return false;
    try {
        m_turns[turn].text += text;
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_kept_bytes += text.size();
    return true;
}

bool ordered_output::write(std::size_t turn, std::string_view text) {
    std::unique_lock lock(m_mutex);
    bool kept = false;
    m_moved.wait(lock, [&] { return turn == m_turn || (kept = keep(turn, text)); });
    if (!kept) {
        pass_on(m_turns[turn].text);
        m_target.write(text);
    }
    return m_target.good();
}

void ordered_output::wait_for(std::size_t turn) {
    std::unique_lock lock(m_mutex);
    m_moved.wait(lock, [&] { return turn == m_turn; });
}

void ordered_output::end(std::size_t turn, std::string words) {
    const std::lock_guard lock(m_mutex);
    m_turns[turn].words = std::move(words);
    m_turns[turn].ended = true;
    for (; m_turn < m_turns.size() && m_turns[m_turn].ended; ++m_turn) {
        kept_turn& next = m_turns[m_turn];
        pass_on(next.text);
        if (!next.words.empty()) console_write(next.words);
        next.words = {};
    }
    m_moved.notify_all();
}

std::size_t ordered_output::ended() {
    const std::lock_guard lock(m_mutex);
    return m_turn;
}

bool ordered_output::good() {
    const std::lock_guard lock(m_mutex);
    return m_target.good();
}

}  // namespace uni
