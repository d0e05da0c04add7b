#include "journal/journal_probe.h"

#include <algorithm>

#include "format/time.h"

namespace kest {

namespace {

constexpr std::size_t window = 65'536;        // bytes, read at once
constexpr std::uint64_t reach = 16'777'216;   // bytes of data, searched at each end
constexpr std::size_t longest_record = 4096;  // bytes

// A record with a name and a time: what stands around it is not looked at, and bytes in the middle of a record are not
// to be taken for one.
std::optional<usn_record> named_record(uni::byte_view bytes) {
    const std::optional<usn_record> record = sound_usn_record(bytes);
    if (!record || !record->has(&usn_layout::name)) return std::nullopt;
    return cv::has_calendar_form(record->get(&usn_layout::time)) ? record : std::nullopt;
}

}  // namespace

journal_probe::journal_probe(const uni::byte_source& file) : m_file(file), m_buffer(window) {
    find_first();
    if (any()) find_last();
}

std::optional<usn_record> journal_probe::find(std::uint64_t usn) {
    const std::uint64_t offset = usn - *m_first_shift;  // before the file's begin it wraps, and is after its end
    if (offset >= m_file.size()) return std::nullopt;
    const std::optional<usn_record> record = named_record(read(offset, longest_record));
    return record && record->get(&usn_layout::usn) == usn ? record : std::nullopt;
}

uni::byte_view journal_probe::read(std::uint64_t offset, std::size_t length) {
    const std::span<std::uint8_t> room = std::span(m_buffer).first(length);
    const uni::read_result got = m_file.read_at(room, offset);
    m_incomplete = m_incomplete || got.failed;
    return uni::byte_view(room).slice(0, got.bytes);
}

// False if there is no record.
bool journal_probe::scan(std::uint64_t offset, std::size_t length) {
    const uni::byte_view bytes = read(offset, length);
    bool found = false;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::optional<usn_record> record = named_record(bytes.from(at));
        if (!record) {
            at += usn_granule;
            continue;
        }
        const std::uint64_t usn = record->get(&usn_layout::usn);
        m_last_shift = usn - (offset + at);
        if (!m_first_shift) m_first_shift = m_last_shift;
        const std::uint64_t time = record->get(&usn_layout::time);
        if (usn <= m_lowest) m_first_time = time;
        if (usn >= m_highest) m_last_time = time;
        m_lowest = std::min(m_lowest, usn);
        m_highest = std::max(m_highest, usn);
        found = true;
        at += record->length();
    }
    return found;
}

void journal_probe::find_first() {
    std::uint64_t searched = 0;
    for (std::uint64_t offset = 0; searched < reach; offset += window, searched += window) {
        offset = m_file.next_data(offset) / usn_granule * usn_granule;
        if (offset >= m_file.size() || scan(offset, window)) return;
    }
}

// Windows overlap, so that no record is cut by all of them.
void journal_probe::find_last() {
    std::uint64_t end = (m_file.size() + usn_granule - 1) / usn_granule * usn_granule;
    for (std::uint64_t searched = 0; searched < reach && end != 0; searched += window - longest_record) {
        const std::uint64_t begin = end > window ? end - window : 0;
        if (scan(begin, static_cast<std::size_t>(end - begin)) || begin == 0) return;
        end = begin + longest_record;
    }
}

}  // namespace kest
