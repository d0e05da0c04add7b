#include "journal/journal_probe.h"

#include <algorithm>

#include "format/time.h"

namespace kest {

namespace {

constexpr std::size_t window = 65'536;        // bytes, read at once
constexpr std::uint64_t reach = 16'777'216;   // bytes of data, searched at each end
constexpr std::size_t longest_record = 4096;  // bytes
constexpr std::size_t record_grain = 8;       // bytes: where records begin in the journal

// Bytes in the middle of a record are not to be taken for one.
std::optional<usn_record> sound_record(uni::byte_view bytes) {
    const std::optional<usn_record> record = read_usn_record(bytes);
    if (!record || !record->has(&usn_layout::name) || record->length() > bytes.size()) return std::nullopt;
    const bool sound = record->length() % record_grain == 0 && record->file().sequence() != 0 &&
                       cv::has_calendar_form(record->get(&usn_layout::time)) &&
                       record->get(&usn_layout::name_offset) == record->name_begin() &&
                       record->name_begin() + record->get(&usn_layout::name_length) <= record->length();
    return sound ? record : std::nullopt;
}

}  // namespace

journal_probe::journal_probe(const uni::file& file) : m_file(file), m_buffer(window) {
    find_first();
    if (m_first) find_last();
}

std::optional<usn_record> journal_probe::find(std::uint64_t usn) {
    const std::uint64_t offset = usn - m_first->shift;  // before the file's begin it wraps, and is behind its end
    if (offset >= m_file.size()) return std::nullopt;
    const std::optional<usn_record> record = sound_record(read(offset, longest_record));
    return record && record->get(&usn_layout::usn) == usn ? record : std::nullopt;
}

uni::byte_view journal_probe::read(std::uint64_t offset, std::size_t length) {
    const std::span<std::uint8_t> room = std::span(m_buffer).first(length);
    return uni::byte_view(room).slice(0, m_file.read_at(room, offset).bytes);
}

// False if there is no record.
bool journal_probe::scan(std::uint64_t offset, std::size_t length) {
    const uni::byte_view bytes = read(offset, length);
    bool found = false;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::optional<usn_record> record = sound_record(bytes.from(at));
        if (!record) {
            at += record_grain;
            continue;
        }
        const std::uint64_t usn = record->get(&usn_layout::usn);
        m_last = {usn - (offset + at)};
        if (!m_first) m_first = m_last;
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
        offset = m_file.next_data(offset) / record_grain * record_grain;
        if (offset >= m_file.size() || scan(offset, window)) return;
    }
}

// Windows overlap, so that no record is cut by all of them.
void journal_probe::find_last() {
    std::uint64_t end = (m_file.size() + record_grain - 1) / record_grain * record_grain;
    for (std::uint64_t searched = 0; searched < reach && end != 0; searched += window - longest_record) {
        const std::uint64_t begin = end > window ? end - window : 0;
        if (scan(begin, static_cast<std::size_t>(end - begin)) || begin == 0) return;
        end = begin + longest_record;
    }
}

}  // namespace kest
