#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "format/number.h"
#include "format/text_style.h"
#include "portable/byte_view.h"

namespace kest {

// Writes the notation of the details column: "key":"value" fields and key=[...] groups, joined by ";". This is
// the only place that knows its punctuation.
class details_writer {
public:
    void clear() {  // keeps the capacity
        m_text.clear();
        m_separated = false;
        m_last_time = {};
    }
    void release() {  // its memory too
        clear();
        std::string().swap(m_text);
    }

    void field(std::string_view key, std::string_view value) {
        char* at = begin_field(key, value.size() + 1);
        at = std::copy_n(value.data(), value.size(), at);
        *at = '"';
        m_separated = true;
    }
    void number(std::string_view key, std::uint64_t value, const text_style& style) {
        char text[most_number_bytes];
        field(key, {text, put_number(text, value, style.base16)});
    }
    void decimal(std::string_view key, std::uint64_t value) {
        char text[most_number_bytes];
        field(key, {text, put_number(text, value, false)});
    }
    // Many a record holds one time several times: it is converted once.
    void time(std::string_view key, std::uint64_t ticks, const text_style& style) {
        begin_field(key);
        const std::size_t begin = m_text.size();
        if (ticks == m_last_time.ticks && m_last_time.size != 0) {
            m_text.append(m_text, m_last_time.begin, m_last_time.size);
        } else {
            cv::append_time(m_text, ticks, style.time_format);
        }
        m_last_time = {ticks, begin, m_text.size() - begin};
        end_field();
    }
    // One byte as it stands, whatever character it makes.
    void character(std::string_view key, std::uint8_t value) {
        begin_field(key) += static_cast<char>(value);
        end_field();
    }
    void dump(std::string_view key, uni::byte_view bytes) {
        begin_field(key);
        append_dump(m_text, bytes);
        end_field();
    }

    // For a value built in place: append it to what `begin_field` returns, then `end_field`.
    std::string& begin_field(std::string_view key) {
        begin_field(key, 0);
        return m_text;
    }
    void end_field() {
        m_text += '"';
        m_separated = true;
    }

    void open_group(std::string_view key) {
        char* at = grow(1 + key.size() + 2);
        at = std::copy_n(key.data(), key.size(), at);
        *at++ = '=';
        *at = '[';
        m_separated = false;
    }
    void close_group() {
        m_text += ']';
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
    void word(std::string_view text) { m_text += text; }

    bool empty() const { return m_text.empty(); }
    std::string_view text() const { return m_text; }
    std::size_t capacity() const { return m_text.capacity(); }  // bytes

private:
    // A time as it stands in the text, which has one style.
    struct written_time {
        std::uint64_t ticks = 0;
        std::size_t begin = 0;  // bytes
        std::size_t size = 0;   // bytes; 0: none
    };

    // Writes a field as far as its value, in one growth of the text that leaves room for `behind` bytes more. Says
    // where they go.
    char* begin_field(std::string_view key, std::size_t behind) {
        char* at = grow(2 + key.size() + 3 + behind);
        *at++ = '"';
        at = std::copy_n(key.data(), key.size(), at);
        return std::copy_n("\":\"", 3, at);
    }

    // Room for at most `size` bytes, of which the first is the separator if one is due.
    char* grow(std::size_t size) {
        const std::size_t begin = m_text.size();
        m_text.append(size - (m_separated ? 0 : 1), '\0');
        char* const at = m_text.data() + begin;
        if (!m_separated) return at;
        *at = ';';
        return at + 1;
    }

    std::string m_text;
    bool m_separated = false;  // a ";" goes ahead of the next item
    written_time m_last_time;
};

}  // namespace kest
