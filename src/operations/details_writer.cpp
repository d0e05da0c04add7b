#include "operations/details_writer.h"

#include <algorithm>
#include <utility>

#include "format/json.h"
#include "format/number.h"
#include "format/put_text.h"
#include "format/safe_text.h"
#include "portable/unicode.h"

namespace kest {

namespace {

// A text that is put in place, piece by piece, into bytes that nothing was written to before.
class text_room {
public:
    // Room for `most` bytes after the text; `end_at` then says how far it goes.
    char* room(std::size_t most) {
        if (most > m_capacity - m_size) grow(most);
        return m_bytes.get() + m_size;
    }
    void end_at(const char* end) { m_size = offset_of(end); }
    std::size_t offset_of(const char* at) const { return static_cast<std::size_t>(at - m_bytes.get()); }
    void clear() { m_size = 0; }  // keeps the capacity

    std::size_t size() const { return m_size; }
    std::string_view text() const { return {m_bytes.get(), m_size}; }

private:
    [[gnu::noinline]] void grow(std::size_t most) {
        const std::size_t capacity = std::max(m_size + most, 2 * m_capacity);
        std::unique_ptr<char[]> bytes(new char[capacity]);
        std::copy_n(m_bytes.get(), m_size, bytes.get());
        m_bytes = std::move(bytes);
        m_capacity = capacity;
    }

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

// Says whether the text of a time is to be made anew; if so, it is empty.
bool begin_time(std::uint64_t ticks, std::uint64_t& known_ticks, std::string& text) {
    if (ticks == known_ticks && !text.empty()) return false;
    known_ticks = ticks;
    text.clear();
    return true;
}

// The notation of the details column: "key":"value" fields and key=[...] groups, joined by ";". The only place that
// knows its punctuation. A bare word is joined to nothing, and what follows is not separated from it either, unless
// something before the word already asked for it.
class text_details final : public details_writer {
public:
    text_details(const text_style& style, bool safe_names)
        : details_writer(style, safe_names, true), m_times(style.time_format) {}

    void clear() override {
        m_text.clear();
        m_separated = false;
    }
    std::string_view text() override { return m_text.text(); }

    void field(std::string_view key, std::string_view value) override {
        end_value(put_text(begin_value(key, value.size()), value));
    }
    void truth(std::string_view key, bool value) override { field(key, value ? "yes" : "no"); }
    void runs(std::string_view key, std::span<const cluster_run> list) override {
        std::string& out = begin_field(key);
        for (const cluster_run& run : list) {
            if (!out.empty()) out += ", ";
            append_number(out, run.vcn, style().base16);
            append_number(out.append(1, '+'), run.clusters, style().base16);
            if (run.lcn) append_number(out.append(1, '@'), *run.lcn, style().base16);
        }
        end_field();
    }
    void time(std::string_view key, std::uint64_t ticks) override {
        const std::string_view text = m_times.text(ticks);
        if (text.empty() && m_safe_names) return decimal(key, ticks);
        field(key, text);
    }
    void dump(std::string_view key, uni::byte_view bytes) override {
        end_value(put_dump(begin_value(key, most_dump_bytes(bytes)), bytes));
    }
    void close_group() override {
        char* const at = m_text.room(1);
        *at = ']';
        m_text.end_at(at + 1);
        m_separated = true;
    }
    void word(std::string_view text) override { m_text.end_at(put_text(m_text.room(text.size()), text)); }

private:
    void write_number(std::string_view key, std::uint64_t value, bool base16) override {
        char* const at = begin_value(key, most_number_bytes);
        end_value(at + put_number(at, value, base16));
    }
    void write_safe_text(std::string_view key, std::string_view value, uni::byte_view) override {
        std::string quoted;
        append_quoted_text(quoted, value);
        field(key, quoted);
    }
    void open(std::string_view key, bool) override {
        char* const at = put_separator(m_text.room(key.size() + 3));
        m_text.end_at(put_text(put_text(at, key), "=["));
        m_separated = false;
    }

    // Writes a field as far as its value, and makes room for that and its end.
    char* begin_value(std::string_view key, std::size_t most) {
        char* at = put_separator(m_text.room(1 + key.size() + 4 + most + 1));
        *at++ = '"';
        return put_text(put_text(at, key), "\":\"");
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

    text_room m_text;
    cv::time_texts m_times;
    bool m_separated = false;  // a separator goes before the next item
};

// The members of a JSON object: a field by its key, a group as an object of its own, a bare word as true. What has one
// key, or may have, becomes an array, and numbers and times have their types. A group ends where it is closed or where
// the next one begins, so that groups stand side by side.
class json_details final : public details_writer {
public:
    json_details(const text_style& style, bool safe_names) : details_writer(style, safe_names, true) {}

    void clear() override {
        m_text.clear();
        m_members.clear();
        m_first = true;
        m_in_group = m_listed = false;
    }
    // As it stands between the braces.
    std::string_view text() override {
        if (!m_members.repeat()) return m_text.text();
        m_ordered.clear();
        m_ordered.end_at(m_members.put(m_ordered.room(m_text.size()), m_text.text()));
        return m_ordered.text();
    }

    void field(std::string_view key, std::string_view value) override {
        char* const at = begin_member(key, most_json_bytes(value));
        end_member(key, at, put_json_text(at, value));
    }
    void truth(std::string_view key, bool value) override { write_value(key, value ? "true" : "false"); }
    void runs(std::string_view key, std::span<const cluster_run> list) override {
        std::string json;
        for (const cluster_run& run : list) {
            append_decimal(json.append(json.empty() ? "[{\"vcn\":" : ",{\"vcn\":"), run.vcn);
            if (run.lcn) append_decimal(json.append(",\"lcn\":"), *run.lcn);
            append_decimal(json.append(",\"clusters\":"), run.clusters);
            json += '}';
        }
        write_value(key, json.append(json.empty() ? "[]" : "]"));
    }
    void time(std::string_view key, std::uint64_t ticks) override {
        if (begin_time(ticks, m_ticks, m_time)) append_json_time(m_time, ticks, digits_of_ticks);
        write_value(key, m_time);
    }
    void dump(std::string_view key, uni::byte_view bytes) override {
        char* const at = begin_member(key, most_dump_bytes(bytes) + 2);
        *at = '"';
        char* const end = put_dump(at + 1, bytes);
        *end = '"';
        end_member(key, at, end + 1);
    }
    void close_group() override {
        if (m_group_members.repeat()) put_group_in_order();
        char* const end = m_text.room(2);
        *end = '}';
        m_in_group = false;
        m_listed = m_group_listed;
        end_member(m_group_key, m_text.text().data() + m_group, end + 1);
    }
    void word(std::string_view text) override {
        if (!text.empty()) write_value(text, "true");
    }

private:
    void write_number(std::string_view key, std::uint64_t value, bool) override {
        char* const at = begin_member(key, most_number_bytes);
        end_member(key, at, put_json_number(at, value));
    }
    void write_safe_text(std::string_view key, std::string_view value, uni::byte_view changed) override {
        field(key, value);
        if (changed.empty()) return;
        append_digits(begin_field("name_hex"), changed);
        end_field();
    }
    void open(std::string_view key, bool listed) override {
        if (m_in_group) close_group();
        m_listed = m_group_listed = listed;
        char* const at = begin_member(key, 1);
        *at = '{';
        m_listed = false;
        m_group_key = key;
        m_group = m_text.offset_of(at);
        m_text.end_at(at + 1);
        m_first = m_in_group = true;
        m_group_members.clear();
    }
    // After themselves first, and then where they belong.
    void put_group_in_order() {
        const std::size_t size = m_text.size() - m_group - 1;
        char* const after = m_text.room(size);
        char* const end = m_group_members.put(after, m_text.text());
        m_text.end_at(std::copy(after, end, after - size));
    }

    // Writes a member as far as its value, and leaves room for `most` bytes more.
    char* begin_member(std::string_view key, std::size_t most) {
        constexpr std::size_t brackets = 2;
        char* const at = put_json_key(m_text.room(most_key_bytes(key) + most + brackets), key, m_first);
        if (!m_listed) return at;
        *at = '[';
        return at + 1;
    }
    void end_member(std::string_view key, const char* begin, char* end) {
        const bool listed = std::exchange(m_listed, false);
        (m_in_group ? m_group_members : m_members).add(key, m_text.offset_of(begin), m_text.offset_of(end), listed);
        if (listed) *end++ = ']';
        m_text.end_at(end);
        m_first = false;
    }
    void write_value(std::string_view key, std::string_view json) {
        char* const at = begin_member(key, json.size());
        end_member(key, at, put_text(at, json));
    }

    text_room m_text;     // the members as they come
    text_room m_ordered;  // and by key, where one came again
    json_members m_members;
    bool m_first = true;  // the next member is its object's first
    bool m_in_group = false;
    bool m_group_listed = false;
    std::string_view m_group_key;
    std::size_t m_group = 0;  // where its object begins
    json_members m_group_members;
};

}  // namespace

void details_writer::character(std::string_view key, std::uint8_t value) {
    const char c = static_cast<char>(value);
    const std::uint8_t unit[] = {value, 0};
    evidence_text(key, std::span<const std::uint8_t>(unit), text_kind::path, {&c, 1});
}

void details_writer::evidence_text(std::string_view key, uni::byte_view units, text_kind kind, std::string_view plain,
                                   std::string_view suffix) {
    if (!m_writes) return;
    if (!m_safe_names && suffix.empty() && !plain.empty()) return field(key, plain);
    std::string& value = begin_field(key);
    if (!m_safe_names) {
        value = plain;
        if (plain.empty()) uni::append_utf16_text(value, units);
        value += suffix;
        return end_field();
    }
    const bool is_name = kind == text_kind::name;
    const bool changed = is_name ? append_safe_name(value, units) : append_safe_text(value, units);
    value += suffix;
    write_safe_text(key, value, changed && is_name ? units : uni::byte_view());
}

void details_writer::dump_group(std::string_view label, uni::byte_view bytes) {
    if (bytes.empty()) return;
    open_group(label);
    dump("data", bytes);
    close_group();
}

std::unique_ptr<details_writer> make_details(details_notation notation, const text_style& style, bool safe_names) {
    switch (notation) {
        case details_notation::text:
            return std::make_unique<text_details>(style, safe_names);
        case details_notation::json:
            return std::make_unique<json_details>(style, safe_names);
        case details_notation::none:
            break;
    }
    return std::make_unique<details_writer>(style, safe_names);
}

}  // namespace kest
