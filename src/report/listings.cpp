#include "report/listings.h"

#include <algorithm>

#include "format/number.h"

namespace kest {

namespace {

constexpr std::size_t number_width = 10;  // bytes
constexpr std::uint32_t listing_level = 2;

// A table for the diagnostic file: fields right-aligned and joined by the report's separator, the name last.
class listing {
public:
    listing(const row_style& style, std::string_view title)
        : m_separator(style.separator), m_width(style.no_whitespace ? 0 : number_width) {
        m_text.append(title).append(1, '\n');
        for (const std::string_view column : {"src", "flag", "indx", "inode", "seq#", "parent", "seq#"})
            field(column);
        m_text += "name\n";
    }

    void field(std::string_view text) {
        m_text.append(m_width - std::min(m_width, text.size()), ' ').append(text).append(m_separator);
    }
    void field(std::uint64_t number) { field(format_number(number, false)); }

    std::string& text() { return m_text; }

private:
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
            m_table.text().append(stored.name).append(conflicting_name).append(1, '\n');
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
    listing table(style, "all_nodes");
    listing_rows rows(table, "mft");
    inodes.inodes_all.for_each([&](std::uint64_t, std::uint32_t position) {
        const inode_record& record = inodes.records[position];
        rows.write(record, position, record.ref(), record.is_directory ? "-d" : "", "");
    });
    diags.print(listing_level, table.text());
}

void merge_journal_data(const evidence& stores, std::span<const merged_record> merged, const row_style& style,
                        diagnostics& diags) {
    if (!diags.on(listing_level)) return;
    listing table(style, "logfile UsnJrnl data");
    listing_rows rows(table, "log");
    if (stores.log.log_inode_records.empty()) table.text() += "no logfile UsnJrnl entries to add\n";
    for (std::size_t at = 0; at < merged.size(); ++at) {
        const inode_record& element = stores.log.log_inode_records[at];
        const auto [store_index, unique] = merged[at];
        if (store_index == 0) continue;  // Kept: position 0 is not told from none
        const bool conflict = (store_index & _inode_collection::name_conflict) != 0;
        const std::uint64_t position = store_index & ~_inode_collection::name_conflict;
        const inode_record& stored = stores.inodes.records[position];
        std::string flags = unique ? "-" : "dup";
        if (conflict) flags += "-M";
        if (stored.is_directory) flags += "-d";
        rows.write(stored, position, element.ref(), flags, conflict ? " [" + element.name + "]" : "");
    }
    diags.print(listing_level, table.text());
}

}  // namespace kest
