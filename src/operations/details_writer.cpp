#include "operations/details_writer.h"

#include <utility>

#include "portable/utf16.h"

namespace kest {

std::string_view details_writer::members(text_room& room) const {
    if (!m_members.put_anew()) return m_text.text();
    room.clear();
    room.end_at(m_members.put(room.room(m_members.most_bytes(m_text.size())), m_text.text()));
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
    return put_json_key(m_text.room(most_key_bytes(key) + most), key, !m_separated);
}

void details_writer::end_member(std::string_view key, const char* begin, const char* end) {
    const std::size_t place = m_text.place_of(begin);
    m_text.end_at(end);
    (m_in_group ? m_group_members : m_members).add(key, place, m_text.size(), std::exchange(m_listed, false));
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
    char* const at = begin_member(key, 1);
    *at = '{';
    m_group_key = key;
    m_group_listed = listed;
    m_group = m_text.place_of(at);
    m_text.end_at(at + 1);
    m_separated = false;
    m_in_group = true;
    m_group_members.clear();
}

void details_writer::end_object() {
    if (m_group_members.put_anew()) put_group_in_order();
    char* const end = m_text.room(1);
    *end = '}';
    m_in_group = false;
    m_listed = m_group_listed;
    end_member(m_group_key, m_text.text().data() + m_group, end + 1);
}

// Behind themselves first, and then in their own place.
void details_writer::put_group_in_order() {
    const std::size_t size = m_text.size() - m_group - 1;
    char* const behind = m_text.room(m_group_members.most_bytes(size));
    char* const end = m_group_members.put(behind, m_text.text());
    m_text.end_at(std::copy(behind, end, behind - size));
}

}  // namespace kest
