#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "format/json.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "format/text_room.h"
#include "format/text_style.h"
#include "portable/byte_view.h"

namespace kest {

// Writes the notation of the details column: "key":"value" fields and key=[...] groups, joined by ";". This is
// the only place that knows its punctuation.
//
// As JSON it writes the members of an object: a field by its key, a group as an object of its own, a bare word as true.
// What has one key, or may have, becomes an array, and numbers and times have their types. A group ends where it is
// closed or where the next one begins, so that groups stand side by side.
//
// With words no text of the evidence looks like another (`append_safe_name`), and a time without a calendar form is its
// ticks.
//
// Keys and labels are not copied: they must outlive the text.
class details_writer {
public:
    void clear(bool as_json = false) {  // keeps the capacity
        m_text.clear();
        m_separated = false;
        m_ticks = 0;
        m_time.clear();
        m_as_json = as_json;
        m_words = false;
        if (as_json) clear_members();
    }
    void use_words() { m_words = true; }  // until it is cleared
    void release() { *this = {}; }        // its memory too

    void field(std::string_view key, std::string_view value) {
        if (m_as_json) [[unlikely]]
            return add_text(key, value);
        write_field(key, value);
    }
    void number(std::string_view key, std::uint64_t value, const text_style& style) {
        write_number(key, value, style.base16);
    }
    void decimal(std::string_view key, std::uint64_t value) { write_number(key, value, false); }
    void time(std::string_view key, std::uint64_t ticks, const text_style& style) {
        if (m_as_json) [[unlikely]]
            return add_time(key, ticks);
        if (ticks != m_ticks || (m_words && m_time.empty())) {
            m_time.clear();
            cv::append_time(m_time, ticks, style.time_format);
            if (m_words && !cv::has_calendar_form(ticks)) append_decimal(m_time, ticks);
            m_ticks = ticks;
        }
        write_field(key, m_time);
    }
    // One byte as it stands, whatever character it makes.
    void character(std::string_view key, std::uint8_t value) {
        const char c = static_cast<char>(value);
        const std::uint8_t unit[] = {value, 0};
        evidence_text(key, std::span<const std::uint8_t>(unit), text_kind::path, {&c, 1});
    }
    void dump(std::string_view key, uni::byte_view bytes) {
        if (m_as_json) [[unlikely]]
            return add_dump(key, bytes);
        end_value(put_dump(begin_value(key, most_dump_bytes(bytes)), bytes));
    }

    // For a value built in place: append it to what `begin_field` returns, then `end_field`.
    std::string& begin_field(std::string_view key) {
        m_key = key;
        m_value.clear();
        return m_value;
    }
    void end_field() { field(m_key, m_value); }

    void open_group(std::string_view key) { open(key, false); }
    // One of which there may be several.
    void open_listed_group(std::string_view key) { open(key, true); }
    // The same for a field: `in_list().number(...)`.
    details_writer& in_list() {
        m_listed = true;
        return *this;
    }

    enum class text_kind : std::uint8_t { name, path };
    // A text out of the evidence: a name, or what may hold names with separators between them. `plain` is what it is
    // without words, where that is known already; `suffix` is ours.
    void evidence_text(std::string_view key, uni::byte_view units, text_kind kind, std::string_view plain = {},
                       std::string_view suffix = {});

    void close_group() {
        if (m_as_json) [[unlikely]]
            return end_object();
        char* const at = m_text.room(1);
        *at = ']';
        m_text.end_at(at + 1);
        m_separated = true;
    }
    // A group that holds nothing but a dump; none for no bytes.
    void dump_group(std::string_view label, uni::byte_view bytes) {
        if (bytes.empty()) return;
        open_group(label);
        dump("data", bytes);
        close_group();
    }

    // A bare word, joined to nothing. What follows is not separated from it either, unless something before
    // the word already asked for it.
    void word(std::string_view text) {
        if (text.empty()) return;
        if (m_as_json) return add_json(text, "true");
        m_text.end_at(std::copy_n(text.data(), text.size(), m_text.room(text.size())));
    }

    std::string_view text() const { return m_text.text(); }
    // As JSON: the members as they stand between the braces of an object. `room` holds them where they had to be put in
    // order, by key.
    std::string_view members(text_room& room) const;

    std::size_t capacity() const {  // bytes
        return m_text.capacity() + m_value.capacity() + m_members.capacity() + m_group_members.capacity();
    }

private:
    void open(std::string_view key, bool listed) {
        if (m_as_json) [[unlikely]]
            return begin_object(key, listed);
        char* at = put_separator(m_text.room(key.size() + 3));
        at = std::copy_n(key.data(), key.size(), at);
        *at++ = '=';
        *at++ = '[';
        m_text.end_at(at);
        m_separated = false;
    }
    void write_number(std::string_view key, std::uint64_t value, bool base16) {
        if (m_as_json) [[unlikely]]
            return add_number(key, value);
        char* const at = begin_value(key, most_number_bytes);
        end_value(at + put_number(at, value, base16));
    }
    void write_field(std::string_view key, std::string_view value) {
        end_value(std::copy_n(value.data(), value.size(), begin_value(key, value.size())));
    }

    // Writes a field as far as its value, and makes room for that and its end.
    char* begin_value(std::string_view key, std::size_t most) {
        char* at = put_separator(m_text.room(1 + key.size() + 4 + most + 1));
        *at++ = '"';
        at = std::copy_n(key.data(), key.size(), at);
        return std::copy_n("\":\"", 3, at);
    }
    void end_value(char* at) {
        *at = '"';
        m_text.end_at(at + 1);
        m_separated = true;
    }
    char* put_separator(char* at) const {
        if (m_separated) *at++ = ';';
        return at;
    }

    void clear_members();
    // Writes a member as far as its value, and leaves room for `most` bytes more; notes where that stands.
    char* begin_member(std::string_view key, std::size_t most);
    void end_member(std::string_view key, const char* begin, char* end);
    void add_json(std::string_view key, std::string_view value);
    void add_text(std::string_view key, std::string_view value);
    void add_dump(std::string_view key, uni::byte_view bytes);
    void add_number(std::string_view key, std::uint64_t value);
    void add_time(std::string_view key, std::uint64_t ticks);
    void begin_object(std::string_view key, bool listed);
    void end_object();
    void put_group_in_order();

    text_room m_text;
    bool m_separated = false;  // a separator goes ahead of the next item
    bool m_as_json = false;
    bool m_words = false;
    std::uint64_t m_ticks = 0;  // many a record holds one time several times
    std::string m_time;         // of `m_ticks`; none for 0
    std::string_view m_key;     // of the value that is built in place
    std::string m_value;

    // As JSON; `m_text` holds the members in the order in which they came.
    json_members m_members;
    bool m_listed = false;  // the next member is one of several
    bool m_in_group = false;
    bool m_group_listed = false;
    std::string_view m_group_key;
    std::size_t m_group = 0;  // where its object begins
    json_members m_group_members;
};

}  // namespace kest
