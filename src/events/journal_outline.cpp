#include "events/journal_outline.h"

#include <algorithm>
#include <utility>

namespace kest {

uni::byte_view journal_folders::name_of(const naming& one) const {
    return uni::byte_view{std::span<const std::uint8_t>(m_names)}.slice(one.name, one.length);
}

void journal_folders::learn(const journal_record& record) {
    if (!record.is_directory()) return;
    const auto name = record.usn.name().bytes();
    naming& last = m_last[record.usn.file().value()];
    const bool first = last.length == 0;
    if (!first && last.parent == record.usn.parent() && std::ranges::equal(name_of(last).bytes(), name)) return;
    const std::uint32_t reasons = record.usn.get(&usn_layout::reason);
    last = {.offset = record.place,
            .parent = record.usn.parent(),
            .name = m_names.size(),
            .length = static_cast<std::uint16_t>(name.size()),
            .new_name = (reasons & usn_reasons::new_name) != 0 && (reasons & usn_reasons::old_name) == 0};
    m_names.insert(m_names.end(), name.begin(), name.end());
    m_namings.add(record.usn.file().value(), last);
    if (!first || last.new_name) m_renames.push_back(record.place);
}

void journal_folders::seal() {
    m_last = {};
    m_namings.seal([](const naming& a, const naming& b) { return a.offset < b.offset; });
}

// A name holds until the next one. Before the first the folder was called the same, unless that is a new name.
std::optional<resolved_name> journal_folders::name_at(inode_ref folder, std::uint64_t offset) const {
    const std::span<const naming> namings = m_namings.find(folder.value());
    if (namings.empty()) return std::nullopt;
    auto one = std::ranges::upper_bound(namings, offset, {}, &naming::offset);
    if (one == namings.begin() && one->new_name) return resolved_name{.source = name_source::part};
    if (one != namings.begin()) --one;
    return resolved_name{.parent = one->parent, .units = name_of(*one), .source = name_source::journal};
}

std::uint64_t journal_folders::renames_until(std::uint64_t offset) const {
    return static_cast<std::uint64_t>(std::ranges::upper_bound(m_renames, offset) - m_renames.begin());
}

reason_delta reason_tracker::take(const journal_record& record, bool in_log) {
    const std::uint64_t file = record.usn.file().value();
    const std::uint32_t* const open = m_reasons.find(file);
    const std::uint32_t known = open != nullptr ? *open : 0;
    reason_delta delta{.known = known, .added = record.usn.get(&usn_layout::reason) & ~known & ~usn_reasons::closed};
    const std::uint32_t left = record.usn.reasons_after(known);
    if (open == nullptr && left == 0) return delta;  // opened and closed at once
    if (open == nullptr || left != known) m_reasons[file] = left;
    if (record.has_name()) take_names(record, in_log, delta);
    if (left != 0) return delta;
    m_reasons.erase(file);
    m_old_names.erase(file);
    return delta;
}

// Old name and new name are records of their own, the new one right after the old one on the same file. A new name
// that was given before the file was closed shows no second time.
void reason_tracker::take_names(const journal_record& record, bool in_log, reason_delta& delta) {
    using namespace usn_reasons;
    const std::uint64_t file = record.usn.file().value();
    const std::uint32_t reasons = record.usn.get(&usn_layout::reason);
    const former_name* const old = m_old_names.empty() ? nullptr : m_old_names.find(file);
    if (old != nullptr) {  // by then its reason is known
        const bool renames = (reasons & new_name) != 0 && !in_log;
        if (renames) delta.renamed_from = *old;
        if (renames || (reasons & old_name) == 0 || (reasons & closed) != 0) m_old_names.erase(file);
    }
    if ((delta.added & (old_name | new_name)) != old_name || in_log || (reasons & closed) != 0) return;
    const auto units = record.usn.name().bytes();
    m_old_names[file] = former_name{record.place, record.usn.parent(), {units.begin(), units.end()}};
    delta.waits = true;
}

journal_outline outline_journal(const uni::byte_source& file, log_facts& facts) {
    journal_outline outline;
    reason_tracker files;
    journal_cursor cursor(file, journal_resync::at_records);
    while (const journal_record* const record = cursor.next()) {
        const bool in_log = facts.holds(*record);
        const reason_delta delta = files.take(*record, in_log);
        if (in_log) facts.match(*record, delta.known);
        if (delta.renamed_from) outline.paired_names.push_back(delta.renamed_from->offset);
        outline.folders.learn(*record);
    }
    std::ranges::sort(outline.paired_names);
    outline.folders.seal();
    outline.reading = cursor.reading();
    return outline;
}

}  // namespace kest
