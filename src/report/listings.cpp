#include "report/listings.h"

#include <algorithm>

#include "format/number.h"

namespace kest {

namespace {

constexpr std::size_t number_width = 10;  // bytes
constexpr std::uint32_t listing_level = 2;
constexpr std::size_t written_at_once = 65'536;  // bytes, or a line more

// A table for the diagnostic file: fields right-aligned and joined by the report's separator, the name last. It is
// written while it is made.
class listing {
public:
    listing(const row_style& style, diagnostics& diags, std::string_view title)
        : m_diags(diags), m_separator(style.separator), m_width(style.no_whitespace ? 0 : number_width) {
        m_text.append("->").append(title).append(1, '\n');
        for (const std::string_view column : {"src", "flag", "indx", "inode", "seq#", "parent", "seq#"})
            field(column);
        end_line("name", {});
    }

    void field(std::string_view text) {
        m_text.append(m_width - std::min(m_width, text.size()), ' ').append(text).append(m_separator);
    }
    void field(std::uint64_t number) { field(format_number(number, false)); }

    void end_line(std::string_view name, std::string_view after) {
        m_text.append(name).append(after).append(1, '\n');
        if (m_text.size() >= written_at_once) write();
    }
    void end() {
        m_text += '\n';
        write();
    }

private:
    void write() {
        m_diags.write(m_text);
        m_text.clear();
    }

    diagnostics& m_diags;
    std::string_view m_separator;
    std::size_t m_width;
    std::string m_text;
};

// A line for each parent that the store knows of the record. `last_inode` marks a further line of one file.
class listing_rows {
public:
    listing_rows(listing& table, std::string_view source) : m_table(table), m_source(source) {}

    void write(const inode_record& stored, std::uint64_t position, inode_ref ref, std::string_view flags,
               std::string_view conflicting_name) {
        for (const inode_ref parent : stored.parents) {
            std::string flag_text;
            if (m_any && m_last_inode == ref.number()) flag_text = "*";
            flag_text += flags;
            m_any = true;
            m_last_inode = ref.number();
            m_table.field(m_source);
            m_table.field(flag_text);
            m_table.field(position);
            m_table.field(ref.number());
            m_table.field(ref.sequence());
            m_table.field(parent.number());
            m_table.field(parent.sequence());
            m_table.end_line(stored.name, conflicting_name);
        }
    }

private:
    listing& m_table;
    std::string_view m_source;
    bool m_any = false;
    std::uint64_t m_last_inode = 0;
};

}  // namespace

void merge_mft_data(const _inode_collection& inodes, const row_style& style, diagnostics& diags) {
    if (!diags.on(listing_level)) return;
    listing table(style, diags, "all_nodes");
    listing_rows rows(table, "mft");
    inodes.inodes_all.for_each([&](std::uint64_t, std::uint32_t position) {
        const inode_record& record = inodes.records[position];
        rows.write(record, position, record.ref(), record.is_directory ? "-d" : "", "");
    });
    table.end();
}

void merge_journal_data(const evidence& stores, std::span<const merged_record> merged, const row_style& style,
                        diagnostics& diags) {
    if (!diags.on(listing_level)) return;
    listing table(style, diags, "logfile UsnJrnl data");
    listing_rows rows(table, "log");
    if (stores.log.journal_records.empty()) table.end_line("no logfile UsnJrnl entries to add", {});
    for (std::size_t at = 0; at < merged.size(); ++at) {
        const inode_record element = file_of_journal_record(stores.log.entries[stores.log.journal_records[at]]);
        const auto [store_index, unique] = merged[at];
        if (store_index == 0) continue;  // Kept: position 0 counts as none
        const bool conflict = (store_index & _inode_collection::name_conflict) != 0;
        const std::uint64_t position = store_index & ~_inode_collection::name_conflict;
        const inode_record& stored = stores.inodes.records[position];
        std::string flags = unique ? "-" : "dup";
        if (conflict) flags += "-M";
        if (stored.is_directory) flags += "-d";
        rows.write(stored, position, element.ref(), flags, conflict ? " [" + element.name + "]" : "");
    }
    table.end();
}

}  // namespace kest
