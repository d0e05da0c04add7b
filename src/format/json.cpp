#include "format/json.h"

#include <bit>
#include <cstring>
#include <utility>

#include "format/time.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

constexpr std::uint64_t each_byte(std::uint8_t value) {
    return std::uint64_t{value} * 0x0101'0101'0101'0101;
}

// A top bit for each byte of the word that cannot stand in a text as it is; above the lowest of them bits may be set
// without cause.
constexpr std::uint64_t special_bytes(std::uint64_t word) {
    const auto zeros = [](std::uint64_t bytes) { return (bytes - each_byte(1)) & ~bytes; };
    return (((word - each_byte(0x20)) & ~word) | zeros(word ^ each_byte('"')) | zeros(word ^ each_byte('\\')) | word) &
           each_byte(0x80);
}

// The first bytes of a text that is not empty; after a shorter one stand spaces.
std::uint64_t first_word(std::string_view text) {
    const char* const begin = text.data();
    const std::size_t size = text.size();
    std::uint64_t word = 0;
    if (size >= sizeof word) {
        std::memcpy(&word, begin, sizeof word);
        return word;
    }
    const auto byte_at = [begin](std::size_t at) {
        return std::uint64_t{static_cast<std::uint8_t>(begin[at])} << 8 * at;
    };
    if (size >= 4) {
        std::uint32_t first = 0, last = 0;
        std::memcpy(&first, begin, sizeof first);
        std::memcpy(&last, begin + size - sizeof last, sizeof last);
        word = first | std::uint64_t{last} << 8 * (size - sizeof last);
    } else {
        word = byte_at(0) | byte_at(size / 2) | byte_at(size - 1);
    }
    return word | each_byte(' ') << 8 * size;
}

constexpr bool is_special(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return byte < 0x20 || byte >= 0x80 || c == '"' || c == '\\';
}

char* put_control(char* at, char c) {
    *at++ = '\\';
    switch (c) {
        case '\n':
            *at++ = 'n';
            return at;
        case '\r':
            *at++ = 'r';
            return at;
        case '\t':
            *at++ = 't';
            return at;
        default:
            return put_hex(put_text(at, "u00"), static_cast<std::uint8_t>(c), 2);
    }
}

// Puts what the text begins with and what cannot stand as it is, and takes it from the text.
char* put_special(char* at, std::string_view& text) {
    const char c = text.front();
    std::size_t size = 1;
    if (c == '"' || c == '\\') {
        *at++ = '\\';
        *at++ = c;
    } else if (static_cast<std::uint8_t>(c) < 0x80) {
        at = put_control(at, c);
    } else {
        const std::size_t sound = uni::utf8_character_bytes(text);
        at = put_text(at, sound != 0 ? text.substr(0, sound) : replacement);
        size = std::max<std::size_t>(sound, 1);
    }
    text.remove_prefix(size);
    return at;
}

}  // namespace

// Of a long text what has to be escaped is counted.
std::size_t most_json_bytes(std::string_view text) {
    constexpr std::size_t long_text = 1024, longest_escape = 6;
    const std::size_t rest = 2 + sizeof(std::uint64_t);  // quotes; texts are copied a word at a time
    if (text.size() < long_text) return rest + longest_escape * text.size();
    const auto specials = static_cast<std::size_t>(std::ranges::count_if(text, is_special));
    return rest + text.size() + (longest_escape - 1) * specials;
}

char* put_json_text(char* at, std::string_view text) {
    *at++ = '"';
    while (!text.empty()) {
        const std::uint64_t word = first_word(text);
        std::memcpy(at, &word, sizeof word);
        const std::uint64_t special = special_bytes(word);
        const std::size_t plain =
            special == 0 ? std::min(text.size(), sizeof word) : static_cast<std::size_t>(std::countr_zero(special)) / 8;
        at += plain;
        text.remove_prefix(plain);
        if (special != 0) at = put_special(at, text);
    }
    *at++ = '"';
    return at;
}

void append_json_time(std::string& out, std::uint64_t ticks, unsigned digits) {
    out += '"';
    if (cv::has_calendar_form(ticks)) {
        cv::append_internet_time(out, ticks, digits);
    } else {
        append_decimal(out, ticks);
    }
    out += '"';
}

char* put_json_number(char* at, std::uint64_t number) {
    return number == ~std::uint64_t{0} ? put_text(at, "null") : at + put_number(at, number, false);
}

void json_writer::begin_line() {
    char* const at = m_sink.room(1);
    *at = '{';
    m_sink.advance(1);
    m_first = true;
}

void json_writer::end_line() {
    put_text(m_sink.room(2), "}\n");
    m_sink.advance(2);
}

char* json_writer::begin_member(std::string_view key, std::size_t most) {
    char* const at = m_sink.room(most_key_bytes(key) + most);
    m_begin = at;
    const bool first = std::exchange(m_first, false);
    if (!key.empty()) return put_json_key(at, key, first);
    return std::fill_n(at, first ? 0 : 1, ',');
}

void json_writer::end_member(const char* end) {
    m_sink.advance(static_cast<std::size_t>(end - m_begin));
}

void json_writer::text(std::string_view key, std::string_view text) {
    end_member(put_json_text(begin_member(key, most_json_bytes(text)), text));
}

void json_writer::number(std::string_view key, std::uint64_t number) {
    end_member(put_json_number(begin_member(key, most_number_bytes), number));
}

void json_writer::truth(std::string_view key, bool truth) {
    value(key, truth ? "true" : "false");
}

void json_writer::time(std::string_view key, std::uint64_t ticks) {
    if (ticks == 0) return;
    if (ticks != m_ticks) {
        m_time.clear();
        append_json_time(m_time, ticks, digits_to_be_found);
        m_ticks = ticks;
    }
    value(key, m_time);
}

void json_writer::value(std::string_view key, std::string_view json) {
    end_member(put_text(begin_member(key, json.size()), json));
}

void json_writer::object(std::string_view key, std::string_view members) {
    char* at = begin_member(key, members.size() + 2);
    *at++ = '{';
    at = put_text(at, members);
    *at++ = '}';
    end_member(at);
}

void json_writer::begin_object(std::string_view key) {
    open(key, '{');
}

void json_writer::begin_array(std::string_view key) {
    open(key, '[');
}

void json_writer::open(std::string_view key, char bracket) {
    value(key, {&bracket, 1});
    m_first = true;
}

void json_writer::close(char bracket) {
    *m_sink.room(1) = bracket;
    m_sink.advance(1);
    m_first = false;
}

void json_members::clear() {
    m_members.clear();
    m_seen = 0;
    m_repeat = false;
}

bool json_members::join_known(std::size_t index) {
    for (std::size_t at = 0; at != none; at = m_members[at].next_key) {
        member& known = m_members[at];
        if (at == index || known.key != m_members[index].key) continue;
        m_members[known.last].next = index;
        known.last = index;
        m_repeat = true;
        return true;
    }
    return false;
}

char* json_members::put(char* at, std::string_view text) const {
    if (m_members.empty()) return at;
    for (std::size_t key = 0; key != none; key = m_members[key].next_key) {
        const bool several = m_members[key].listed || m_members[key].last != key;
        at = put_json_key(at, m_members[key].key, key == 0);
        if (several) *at++ = '[';
        for (std::size_t value = key; value != none; value = m_members[value].next) {
            if (value != key) *at++ = ',';
            at = kest::put_text(at, text.substr(m_members[value].begin, m_members[value].end - m_members[value].begin));
        }
        if (several) *at++ = ']';
    }
    return at;
}

}  // namespace kest
