#include "events/standard_changes.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "events/lives.h"

namespace kest {

namespace {

using namespace standard_information_layout;

// Bits above are marks of the index entry, which come and go by themselves.
constexpr std::uint32_t attribute_bits = 0x0FFF'FFFF;

// A further write that tells nothing new is rare. Whoever writes a file's values thousands of times piece by piece
// shall not keep the program busy.
constexpr std::size_t most_later_writes = 64;

void lay_time(standard_values& known, uni::field<std::uint64_t> f, std::uint64_t time) {
    std::array<std::uint8_t, sizeof time> bytes{};
    for (std::size_t at = 0; at < bytes.size(); ++at)
        bytes[at] = static_cast<std::uint8_t>(time >> (8 * at));
    known.fill(f.offset, std::span<const std::uint8_t>(bytes));
}

}  // namespace

standard_change find_standard_change(const log_store& log, std::span<const told_fact* const> facts) {
    standard_change change;
    standard_values written;  // the bytes known on both sides, as they are in the end
    for (const told_fact* const fact : facts) {
        if (fact->kind != fact_kind::standard_written) continue;
        const uni::byte_view undo = exact_undo(log.entries[fact->entry]);
        change.before.fill(fact->place, undo.slice(0, fact->data.size()));
        change.after.lay(fact->place, fact->data);
        written.lay(fact->place, fact->data.slice(0, undo.size()));
    }
    for (std::size_t at = 0; at < std::size(times); ++at) {
        const std::uint64_t was = change.before.known_bytes(times[at]);
        const std::uint64_t is = written.known_bytes(times[at]);
        if (is < was) change.set_back |= 1U << at;
    }
    change.new_creation = change.before.known_bytes(created) != written.known_bytes(created);
    const std::uint32_t was = change.before.known_bytes(flags) & attribute_bits;
    const std::uint32_t is = written.known_bytes(flags) & attribute_bits;
    change.flags_went = was & ~is;
    change.flags_came = is & ~was;
    return change;
}

void standard_lookup::complete(standard_change& change, inode_ref file, std::uint64_t lsn) {
    standard_values known;
    if (file.sequence() != 0) {
        if (const standard_values* const earlier = m_memory.standard_information(file)) known = *earlier;
        add_later(known, file, lsn);
    }
    change.before.fill(known);
    change.after.fill(change.before);
}

void standard_lookup::collect() {
    m_collected = true;
    for (std::uint32_t at = 0; at < m_told.facts.size(); ++at) {
        const told_fact& fact = m_told.facts[at];
        if (fact.undone || fact.kind != fact_kind::standard_written || fact.owner.sequence() == 0) continue;
        m_writes.push_back({fact.owner.value(), fact.lsn, at});
    }
    std::ranges::sort(m_writes, {}, [](const write& w) { return std::tuple(w.file, w.lsn, w.fact); });
}

// What a later write replaces was there; what no write replaces stands in the MFT still.
void standard_lookup::add_later(standard_values& known, inode_ref file, std::uint64_t lsn) {
    if (known.knows_all()) return;
    if (!m_collected) collect();
    auto at = std::ranges::upper_bound(m_writes, std::tuple(file.value(), lsn), {},
                                       [](const write& w) { return std::tuple(w.file, w.lsn); });
    for (std::size_t left = most_later_writes; at != m_writes.end() && at->file == file.value(); ++at, --left) {
        if (left == 0) {
            m_omitted.standard_values = true;
            return;
        }
        const told_fact& fact = m_told.facts[at->fact];
        known.fill(fact.place, exact_undo(m_log.entries[fact.entry]));
    }
    const inode_record* const stored = stored_file(m_inodes, file);
    if (stored == nullptr || stored->si_times.created == 0) return;
    lay_time(known, created, stored->si_times.created);
    lay_time(known, modified, stored->si_times.modified);
    lay_time(known, mft_changed, stored->si_times.mft_changed);
    lay_time(known, accessed, stored->si_times.accessed);
    std::array<std::uint8_t, 4> bits{};
    for (std::size_t k = 0; k < bits.size(); ++k)
        bits[k] = static_cast<std::uint8_t>(stored->file_attributes >> (8 * k));
    known.fill(flags.offset, std::span<const std::uint8_t>(bits));
}

}  // namespace kest
