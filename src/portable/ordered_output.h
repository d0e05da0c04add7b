#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "portable/file.h"

namespace uni {

// Brings what several threads write at the same time into one order: that of their turns, which count from 0. Each turn
// is begun by one thread, in order, and ended by it. What is written before its turn has come is kept, of all turns
// together no more than `most_kept` bytes; beyond that the writer waits. Whoever has the turn never waits.
class ordered_output {
public:
    static constexpr std::size_t most_kept = 16 << 20;

    // The target must outlive it, and is used by nobody else meanwhile.
    ordered_output(fileio_output& target, std::size_t turns) : m_target(target), m_turns(turns) {}

    // False if the target takes no more.
    bool write(std::size_t turn, std::string_view text);
    // Returns when all earlier turns have ended.
    void wait_for(std::size_t turn);
    // `words` are for the operator, after those of earlier turns.
    void end(std::size_t turn, std::string words);

    // The turns that have ended with all before them.
    std::size_t ended();
    bool good() const { return m_good; }

private:
    struct kept_turn {
        std::vector<std::string> pieces = {};
        std::string words = {};
        bool ended = false;
    };

    bool keep(std::size_t turn, std::string_view text);
    void pass_on(std::unique_lock<std::mutex>& lock, std::size_t turn, std::string_view more);

    fileio_output& m_target;
    std::atomic<bool> m_good = true;
    std::mutex m_mutex;
    std::condition_variable m_moved;
    std::size_t m_turn = 0;
    std::size_t m_kept_bytes = 0;
    std::vector<kept_turn> m_turns;
};

}  // namespace uni
