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
    }

    void field(std::string_view key, std::string_view value) {
        begin_field(key);
        m_text += value;
        end_field();
    }
    void number(std::string_view key, std::uint64_t value, const text_style& style) {
        begin_field(key);
        append_number(m_text, value, style.base16);
        end_field();
    }
    void decimal(std::string_view key, std::uint64_t value) {
        begin_field(key);
        append_decimal(m_text, value);
        end_field();
    }
    void time(std::string_view key, std::uint64_t ticks, const text_style& style) {
        begin_field(key);
        cv::append_time(m_text, ticks, style.time_format);
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
        append_pieces(m_separated ? ";\"" : "\"", key, "\":\"");
        return m_text;
    }
    void end_field() {
        m_text += '"';
        m_separated = true;
    }

    void open_group(std::string_view key) {
        append_pieces(m_separated ? ";" : "", key, "=[");
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

private:
    // One growth of the text for the three: keys are short, and there are many.
    void append_pieces(std::string_view before, std::string_view key, std::string_view behind) {
        const std::size_t begin = m_text.size();
        m_text.append(before.size() + key.size() + behind.size(), '\0');
        char* at = m_text.data() + begin;
        for (const std::string_view piece : {before, key, behind}) {
            at = std::copy_n(piece.data(), piece.size(), at);
        }
    }

    std::string m_text;
    bool m_separated = false;  // a ";" goes ahead of the next item
};

}  // namespace kest
