#pragma once

#include <string_view>

#include "coverage/coverage.h"
#include "events/event.h"
#include "options/logfile_options.h"
#include "report/provenance.h"

namespace kest {

class field_sink;

// What a log is, and what it was read from.
struct log_source {
    const logfile_options& options;  // of this log, and of what comes with it
    std::string_view log_path;
    const provenance& made_of;
    const log_coverage& coverage;  // empty where there is no log
};

// A report of its own form beside the usual one, or in place of it: of the events of one log after another.
class event_report {
public:
    event_report() = default;
    event_report(const event_report&) = delete;
    event_report& operator=(const event_report&) = delete;
    virtual ~event_report() = default;

    // Begins the next log; what it is given need not outlive the call, but for the options.
    virtual void begin_log(const log_source& source) = 0;
    virtual void write(const event& shown) = 0;
    // Where rows go in a run on rows; null: it takes none.
    virtual field_sink* row_sink() { return nullptr; }
    // After the last log. `limits` says what guards have left out. False if the report is not whole.
    [[nodiscard]] virtual bool finish(std::string_view limits) = 0;
};

}  // namespace kest
