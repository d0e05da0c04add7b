#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/number.h"
#include "format/put_text.h"
#include "portable/file.h"

namespace kest {

// JSON as RFC 8259 has it, in UTF-8. Keys are words of ours and need no escapes.

// Puts a text between quotes where there is room for `most_json_bytes`; returns the end. Whatever the bytes are, the
// result is valid: control characters, quotes and "\" are escaped, and a byte that belongs to no character of UTF-8
// becomes U+FFFD.
char* put_json_text(char* at, std::string_view text);
std::size_t most_json_bytes(std::string_view text);

// A time as RFC 3339 has it, in UTC and between quotes. A value without a calendar form is its ticks, between quotes,
// too, as many readers of JSON would round the number. Seven digits of fraction hold the tick; readers that look for
// times by themselves take six at most.
constexpr unsigned digits_of_ticks = 7, digits_to_be_found = 6;
void append_json_time(std::string& out, std::uint64_t ticks, unsigned digits);

// Puts a number where there is room for `most_number_bytes`; returns the end. All bits set is how evidence says that
// there is no value: null.
char* put_json_number(char* at, std::uint64_t number);

// "key": with a comma before it unless it is the first member of its object; takes at most `most_key_bytes`.
constexpr std::size_t most_key_bytes(std::string_view key) {
    return key.size() + 4;
}
inline char* put_json_key(char* at, std::string_view key, bool first) {
    if (!first) *at++ = ',';
    *at++ = '"';
    at = put_text(at, key);
    *at++ = '"';
    *at++ = ':';
    return at;
}

// Lines of a report that are one JSON object each, written member by member.
class json_writer {
public:
    explicit json_writer(uni::fileio_output& report_sink) : m_sink(report_sink) {}

    void begin_line();
    void end_line();

    // Without a key: an element of an array.
    void text(std::string_view key, std::string_view value);
    void text_if_any(std::string_view key, std::string_view value) {
        if (!value.empty()) text(key, value);
    }
    void number(std::string_view key, std::uint64_t value);
    void truth(std::string_view key, bool value);
    void time(std::string_view key, std::uint64_t ticks);         // cut to six digits; nothing for 0
    void value(std::string_view key, std::string_view json);      // JSON as it stands
    void object(std::string_view key, std::string_view members);  // likewise what stands between the braces
    void begin_object(std::string_view key);
    void end_object() { close('}'); }
    void begin_array(std::string_view key);
    void end_array() { close(']'); }

private:
    // Writes the key; room for `most` bytes is left after it.
    char* begin_member(std::string_view key, std::size_t most);
    void end_member(const char* end);
    void open(std::string_view key, char bracket);
    void close(char bracket);

    uni::fileio_output& m_sink;
    const char* m_begin = nullptr;  // of the member at hand
    bool m_first = true;            // the next member is its object's first
    std::uint64_t m_ticks = 0;
    std::string m_time;  // of `m_ticks`; many lines show the time of the line before
};

// What stands where in the members of an object, by key: so that a key that comes again makes an array of its values,
// in the order in which they came. A key that may come again is `listed`, and always an array.
class json_members {
public:
    void clear();
    // Notes a value that was written from `begin` to `end`; one that is `listed` stands between brackets, which are not
    // noted. The key must outlive the object. It is looked for among all keys, of which there are few, as they are
    // words of ours.
    void add(std::string_view key, std::size_t begin, std::size_t end, bool listed) {
        const std::uint64_t bit = std::uint64_t{1} << ((key.size() * 7 + static_cast<std::uint8_t>(key.back())) % 64);
        const std::size_t index = m_members.size();
        m_members.push_back({key, begin, end, none, index, none, listed});
        if ((m_seen & bit) != 0 && join_known(index)) return;
        m_seen |= bit;
        if (index != 0) m_members[m_last_key].next_key = index;
        m_last_key = index;
    }
    // Whether a key came again: the members are not what their text is.
    bool repeat() const { return m_repeat; }
    // Puts the members with their values out of `text` where there is room for as many bytes; returns the end.
    char* put(char* at, std::string_view text) const;

private:
    static constexpr std::size_t none = ~std::size_t{0};

    struct member {
        std::string_view key;
        std::size_t begin, end;
        std::size_t next;      // value of the same key
        std::size_t last;      // of the first of a key: the last value of that
        std::size_t next_key;  // likewise: the first of another key
        bool listed;
    };

    bool join_known(std::size_t index);

    std::vector<member> m_members;
    std::size_t m_last_key = 0;
    std::uint64_t m_seen = 0;  // a bit for what some keys have in common: one that is not set was never given
    bool m_repeat = false;
};

}  // namespace kest
