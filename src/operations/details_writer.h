#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "format/time.h"
#include "mft/inode_ref.h"
#include "mft/run_reader.h"
#include "portable/byte_view.h"

namespace kest {

enum class details_notation : std::uint8_t { none, text, json };

// Where the decoded data of a record go: fields, in groups or not. This one writes nothing; the others have the
// notation of a report. Keys and labels are not copied: they must outlive the text.
class details_writer {
public:
    enum class text_kind : std::uint8_t { name, path };

    // With `safe_names` no text of the evidence looks like another (`append_safe_name`), and a time without a calendar
    // form is its ticks.
    details_writer(const text_style& style, bool safe_names, bool writes = false)
        : m_safe_names(safe_names), m_writes(writes), m_style(style) {}
    details_writer(const details_writer&) = delete;
    details_writer& operator=(const details_writer&) = delete;
    virtual ~details_writer() = default;

    virtual void clear() {}  // keeps the capacity
    virtual std::string_view text() { return {}; }
    const text_style& style() const { return m_style; }
    bool writes() const { return m_writes; }  // otherwise no text need be made for it

    virtual void field(std::string_view /*key*/, std::string_view /*value*/) {}
    void number(std::string_view key, std::uint64_t value) {
        if (m_writes) write_number(key, value, m_style.base16);
    }
    void decimal(std::string_view key, std::uint64_t value) {
        if (m_writes) write_number(key, value, false);
    }
    // A file, or the folder that it is in.
    void file(inode_ref ref) {
        number("inode", ref.number());
        number("seq", ref.sequence());
    }
    void parent(inode_ref ref) {
        number("parent_inode", ref.number());
        number("parent_seq", ref.sequence());
    }
    virtual void truth(std::string_view /*key*/, bool /*value*/) {}
    // Runs of clusters: "vcn+clusters@lcn" each, a hole without its place.
    virtual void runs(std::string_view /*key*/, std::span<const cluster_run> /*list*/) {}
    virtual void time(std::string_view /*key*/, std::uint64_t /*ticks*/) {}
    virtual void dump(std::string_view /*key*/, uni::byte_view /*bytes*/) {}
    // One byte as it stands, whatever character it makes.
    void character(std::string_view key, std::uint8_t value);
    // A text out of the evidence: a name, or what may hold names with separators between them. `plain` is what it is
    // where names are not made safe, if that is known already; `suffix` is ours.
    void evidence_text(std::string_view key, uni::byte_view units, text_kind kind, std::string_view plain = {},
                       std::string_view suffix = {});
    // For a value built in place: append it to what `begin_field` returns, then `end_field`.
    std::string& begin_field(std::string_view key) {
        m_key = key;
        m_value.clear();
        return m_value;
    }
    void end_field() { field(m_key, m_value); }
    // The same for the words of a value, which `append` appends.
    void words(std::string_view key, void (*append)(std::string& out, std::uint32_t value), std::uint32_t value) {
        if (!m_writes) return;
        append(begin_field(key), value);
        end_field();
    }

    void open_group(std::string_view key) { open(key, false); }
    // One of which there may be several.
    void open_listed_group(std::string_view key) { open(key, true); }
    // The same for a field: `in_list().number(...)`.
    details_writer& in_list() {
        m_listed = true;
        return *this;
    }
    virtual void close_group() {}
    // A group that holds nothing but a dump; none for no bytes.
    void dump_group(std::string_view label, uni::byte_view bytes);
    // A bare word; nothing for an empty one.
    virtual void word(std::string_view /*text*/) {}

protected:
    virtual void write_number(std::string_view /*key*/, std::uint64_t /*value*/, bool /*base16*/) {}
    virtual void open(std::string_view /*key*/, bool /*listed*/) {}
    // A text that was made safe. `changed`: the UTF-16 of a name that does not show it as it is.
    virtual void write_safe_text(std::string_view /*key*/, std::string_view /*value*/, uni::byte_view /*changed*/) {}

    const bool m_safe_names;
    const bool m_writes;
    bool m_listed = false;      // the next item is one of several
    std::uint64_t m_ticks = 0;  // many a record holds one time several times
    std::string m_time;         // of `m_ticks`; empty: not yet written

private:
    const text_style m_style;
    std::string_view m_key;  // of the value that is built in place
    std::string m_value;
};

std::unique_ptr<details_writer> make_details(details_notation notation, const text_style& style, bool safe_names);

}  // namespace kest
