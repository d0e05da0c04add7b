#include "operations/details_writer.h"

#include <utility>

#include "portable/utf16.h"

namespace kest {

std::string_view details_writer::members(text_room& room) const {
    if (!m_members.repeat()) return m_text.text();
    room.clear();
    room.end_at(m_members.put(room.room(m_text.size()), m_text.text()));
    return room.text();
}

void details_writer::clear_members() {
    m_members.clear();
    m_in_group = m_listed = false;
}

void details_writer::evidence_text(std::string_view key, uni::byte_view units, text_kind kind, std::string_view plain,
                                   std::string_view suffix) {
    if (!m_words && suffix.empty() && !plain.empty()) return field(key, plain);
    std::string& value = begin_field(key);
    if (!m_words) {
        value = plain;
        if (plain.empty()) uni::append_utf16_text(value, units);
        value += suffix;
        return end_field();
    }
    const bool marked = kind == text_kind::name ? append_safe_name(value, units) : append_safe_text(value, units);
    value += suffix;
    if (!m_as_json) {
        std::string quoted;
        append_quoted_text(quoted, value);
        return write_field(key, quoted);
    }
    add_text(key, value);
    if (marked && kind == text_kind::name) {
        append_digits(begin_field("name_hex"), units);
        end_field();
    }
}

char* details_writer::begin_member(std::string_view key, std::size_t most) {
    constexpr std::size_t brackets = 2;
    char* const at = put_json_key(m_text.room(most_key_bytes(key) + most + brackets), key, !m_separated);
    if (!m_listed) return at;
    *at = '[';
    return at + 1;
}

void details_writer::end_member(std::string_view key, const char* begin, char* end) {
    const bool listed = std::exchange(m_listed, false);
    (m_in_group ? m_group_members : m_members).add(key, m_text.place_of(begin), m_text.place_of(end), listed);
    if (listed) *end++ = ']';
    m_text.end_at(end);
    m_separated = true;
}

void details_writer::add_json(std::string_view key, std::string_view value) {
    char* const at = begin_member(key, value.size());
    end_member(key, at, std::copy_n(value.data(), value.size(), at));
}

void details_writer::add_text(std::string_view key, std::string_view value) {
    char* const at = begin_member(key, most_json_bytes(value));
    end_member(key, at, put_json_text(at, value));
}

void details_writer::add_dump(std::string_view key, uni::byte_view bytes) {
    char* const at = begin_member(key, most_dump_bytes(bytes) + 2);
    *at = '"';
    char* const end = put_dump(at + 1, bytes);
    *end = '"';
    end_member(key, at, end + 1);
}

void details_writer::add_number(std::string_view key, std::uint64_t value) {
    char* const at = begin_member(key, most_number_bytes);
    end_member(key, at, put_json_number(at, value));
}

void details_writer::add_time(std::string_view key, std::uint64_t ticks) {
    if (ticks != m_ticks || m_time.empty()) {
        m_time.clear();
        append_json_time(m_time, ticks, digits_of_ticks);
        m_ticks = ticks;
    }
    add_json(key, m_time);
}

void details_writer::begin_object(std::string_view key, bool listed) {
    if (m_in_group) end_object();
    m_listed = m_group_listed = listed;
    char* const at = begin_member(key, 1);
    *at = '{';
    m_listed = false;
    m_group_key = key;
    m_group = m_text.place_of(at);
    m_text.end_at(at + 1);
    m_separated = false;
    m_in_group = true;
    m_group_members.clear();
}

void details_writer::end_object() {
    if (m_group_members.repeat()) put_group_in_order();
    char* const end = m_text.room(2);
    *end = '}';
    m_in_group = false;
    m_listed = m_group_listed;
    end_member(m_group_key, m_text.text().data() + m_group, end + 1);
}

// Put after themselves first, and then in their own place.
void details_writer::put_group_in_order() {
    const std::size_t size = m_text.size() - m_group - 1;
    char* const copy = m_text.room(size);
    char* const end = m_group_members.put(copy, m_text.text());
    m_text.end_at(std::copy(copy, end, copy - size));
}

}  // namespace kest
