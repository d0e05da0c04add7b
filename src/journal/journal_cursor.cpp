#include "journal/journal_cursor.h"

#include <algorithm>

#include "journal/usn_journal.h"

namespace kest {

namespace {

constexpr std::size_t buffer_size = 1 << 20;                    // bytes
constexpr std::uint64_t highest_number = 0xFFFF'FFFF;           // of a file record
constexpr std::uint32_t longest_name = 255 * sizeof(char16_t);  // bytes
static_assert(buffer_size % journal_block_size == 0 && journal_block_size % journal_page_size == 0);

bool name_sound(const usn_record& record) {
    const std::uint32_t length = record.get(&usn_layout::name_length);
    return record.get(&usn_layout::name_offset) == record.name_begin() && length != 0 && length % 2 == 0 &&
           length <= longest_name && record.name().size() == length;
}

bool is_sound(const usn_record& record) {
    const inode_ref file = record.file();
    return file.number() <= highest_number && file.sequence() != 0 && record.parent().number() <= highest_number &&
           (!record.has(&usn_layout::name) || name_sound(record));
}

}  // namespace

journal_cursor::journal_cursor(const uni::file& file)
    : m_reader(file, 0, file.size(), journal_block_size), m_buffer(buffer_size) {}

const journal_record* journal_cursor::next() {
    do {
        while (m_at < m_block.size()) {
            if (next_in_page()) return &*m_record;
        }
    } while (read_block());
    return nullptr;
}

// False where there is none at hand; then `m_at` has moved on.
bool journal_cursor::next_in_page() {
    if (m_at >= m_page_end) m_page_end = std::min(m_block.size(), (m_at / journal_page_size + 1) * journal_page_size);
    const uni::byte_view rest = m_block.slice(m_at, m_page_end - m_at);
    const std::uint32_t length = stated_usn_length(rest);
    const std::optional<usn_record> record = read_usn_record(rest.slice(0, length));
    if (!record || length > rest.size()) {
        m_at = m_page_end;
        return false;
    }
    const std::uint64_t place = m_offset + m_at;
    m_at += length;
    if (!is_sound(*record)) return false;
    m_record = {place, *record};
    return true;
}

bool journal_cursor::read_block() {
    if (!m_reader.advance()) return false;
    const uni::block_reader::block block = m_reader.read(m_buffer);
    m_incomplete = m_incomplete || block.failed;
    m_offset = block.offset;
    m_block = uni::byte_view{m_buffer}.slice(0, block.bytes);
    m_at = m_page_end = 0;
    return !block.failed || block.bytes != 0;
}

}  // namespace kest
