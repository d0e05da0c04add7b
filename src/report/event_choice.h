#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "events/event.h"
#include "options/logfile_options.h"
#include "report/path_matcher.h"

namespace kest {

struct events_left_out {
    std::uint64_t of_system = 0;
    std::uint64_t not_chosen = 0;

    void operator+=(const events_left_out& more) {
        of_system += more.of_system;
        not_chosen += more.not_chosen;
    }
};

// Which events are shown, by what the options say of them. Where an event's time or file is not wholly known, what it
// may be counts for what is wanted, and what it is for certain for what is not. Of two paths one is enough for what is
// wanted; both must be what is not.
class event_choice {
public:
    // The options must outlive it.
    explicit event_choice(const logfile_options& options);

    // Counts what it does not take, if that is to be counted.
    bool takes(const event& shown, bool counted = true);

    const events_left_out& left_out() const { return m_left_out; }

private:
    bool is_chosen(const event& shown);

    struct of_both_paths {
        path_matcher path;
        path_matcher old_path;
    };

    const logfile_options& m_options;
    of_both_paths m_wanted;
    of_both_paths m_unwanted;
    events_left_out m_left_out;
    std::string m_word;  // of the event at hand
};

// Why these options choose nothing that can be chosen, as lines for the operator; empty if they do.
std::string words_on_choice(const logfile_options& options);

}  // namespace kest
