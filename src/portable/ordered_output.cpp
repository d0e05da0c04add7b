#include "portable/ordered_output.h"

#include <new>
#include <utility>

#include "portable/console.h"

namespace uni {

// False where there is no room, or no memory.
bool ordered_output::keep(std::size_t turn, std::string_view text) {
    if (m_kept_bytes + text.size() > most_kept) return false;
    try {
        m_turns[turn].pieces.emplace_back(text);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_kept_bytes += text.size();
    return true;
}

// By whoever has the turn: nobody else uses the target, and nobody waits for it meanwhile.
void ordered_output::pass_on(std::unique_lock<std::mutex>& lock, std::size_t turn, std::string_view more) {
    const std::vector<std::string> pieces = std::move(m_turns[turn].pieces);
    lock.unlock();
    std::size_t bytes = 0;
    for (const std::string& piece : pieces) {
        m_target.write(piece);
        bytes += piece.size();
    }
    m_target.write(more);
    if (!m_target.good()) m_good = false;
    lock.lock();
    m_kept_bytes -= bytes;
    if (bytes != 0) m_moved.notify_all();
}

bool ordered_output::write(std::size_t turn, std::string_view text) {
    std::unique_lock lock(m_mutex);
    bool kept = false;
    m_moved.wait(lock, [&] { return turn == m_turn || (kept = keep(turn, text)); });
    if (!kept) pass_on(lock, turn, text);
    return m_good;
}

void ordered_output::wait_for(std::size_t turn) {
    std::unique_lock lock(m_mutex);
    m_moved.wait(lock, [&] { return turn == m_turn; });
}

// Turns that have ended have no thread of their own any more: what they have kept is passed on by this one.
void ordered_output::end(std::size_t turn, std::string words) {
    std::unique_lock lock(m_mutex);
    m_turns[turn].words = std::move(words);
    m_turns[turn].ended = true;
    if (turn != m_turn) return;
    for (; m_turn < m_turns.size() && m_turns[m_turn].ended; ++m_turn) {
        pass_on(lock, m_turn, {});
        const std::string said = std::move(m_turns[m_turn].words);
        if (!said.empty()) console_write(said);
    }
    m_moved.notify_all();
}

std::size_t ordered_output::ended() {
    const std::lock_guard lock(m_mutex);
    return m_turn;
}

}  // namespace uni
