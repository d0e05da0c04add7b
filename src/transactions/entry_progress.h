#pragma once

#include <cstdint>
#include <string>

#include "format/number.h"
#include "portable/console.h"

namespace kest {

// Tells the operator how many transactions have been reported.
class entry_progress {
public:
    void show(std::uint64_t done, std::uint64_t total) {
        m_status.assign("outputing entry: ");
        append_decimal(m_status, done);
        m_status += " of ";
        append_decimal(m_status, total);
        uni::progress_line(uni::status_width, m_status);
    }

private:
    std::string m_status;
};

}  // namespace kest
