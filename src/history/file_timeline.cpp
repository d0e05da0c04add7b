#include "history/file_timeline.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::size_t most_names = 16;  // of a file that are remembered at once, to come back to

// A record keeps its sequence number and its base record from when it is put to use until it is freed.
void complete(std::span<file_moment> moments, bool over_gaps) {
    record_header known;
    const auto take = [&known](file_moment& moment, bool apply) {
        record_header& header = moment.header;
        if (apply && !header.sequence) header.sequence = known.sequence;
        if (apply && !header.base) header.base = known.base;
    };
    const auto keep = [&known](const file_moment& moment, bool ends) {
        known.sequence = ends ? std::nullopt : moment.header.sequence;
        known.base = ends ? std::nullopt : moment.header.base;
    };
    for (file_moment& moment : moments) {
        if (moment.after_gap && !over_gaps) known = {};
        take(moment, !moment.born);
        keep(moment, moment.header.in_use == false);
    }
    known = {};
    for (std::size_t at = moments.size(); at-- != 0;) {
        file_moment& moment = moments[at];
        take(moment, moment.header.in_use != false);
        // The name of a file that is being made may come before its record.
        const bool made_next = at + 1 < moments.size() && moments[at + 1].born &&
                               moments[at + 1].header.sequence == moment.header.sequence;
        if (made_next && moment.what != file_moment::sign::name_removed && moment.header.in_use != false)
            moment.born = true;
        keep(moment, moment.born || moment.header.in_use == false || (moment.after_gap && !over_gaps));
    }
}

// The moment is one of a file with that sequence number.
bool is_of_file(const file_moment& moment) {
    const record_header& header = moment.header;
    return header.sequence && header.in_use != false && header.base.value_or(inode_ref{}) == inode_ref{};
}

// What the MFT copy says first the log itself may say soon after.
bool stays_copied(const timeline_name& name, std::span<const file_moment* const> later) {
    later = later.first(std::min(most_names, later.size()));
    const auto again = std::ranges::find_if(later, [&name](const file_moment* one) { return one->name == name; });
    return again == later.end() || (*again)->name->copied;
}

// Those of a group, which end where the ones of the next group begin.
template <class values, class groups, class first>
auto group_of(const values& all, const groups& of, std::size_t at, first begin) {
    const std::size_t end = at + 1 < of.size() ? of[at + 1].*begin : all.size();
    return std::span(all).subspan(of[at].*begin, end - of[at].*begin);
}

}  // namespace

bool timeline_name::operator==(const timeline_name& other) const {
    return parent == other.parent && name_space == other.name_space &&
           std::ranges::equal(units().bytes(), other.units().bytes());
}

bool file_moment::adds_to(const file_moment& earlier) const {
    const auto differs = [](const auto& now, const auto& then) { return now && now != then; };
    return differs(header.sequence, earlier.header.sequence) || differs(header.in_use, earlier.header.in_use) ||
           differs(header.directory, earlier.header.directory) || differs(header.base, earlier.header.base) ||
           differs(name, earlier.name);
}

void file_timeline::reserve(std::size_t moments) {
    uni::try_reserve(m_holders, moments);
    uni::try_reserve(m_names, moments);
}

void file_timeline::add(std::uint64_t number, std::vector<file_moment>& moments) {
    if (!std::ranges::is_sorted(moments, {}, &file_moment::lsn)) {
        std::ranges::stable_sort(moments, {}, &file_moment::lsn);
    }
    complete(moments, false);
    if (std::ranges::any_of(moments, &file_moment::after_gap)) complete(moments, true);
    m_numbers[number] = static_cast<std::uint32_t>(m_records.size());
    m_records.push_back({static_cast<std::uint32_t>(m_holders.size()), static_cast<std::uint32_t>(m_files.size())});
    m_moments.clear();
    for (const file_moment& moment : moments) {
        if (is_of_file(moment)) m_moments.push_back(&moment);
        const record_holder holder(moment);
        if (&moment == &moments.front() || !holder.repeats(m_holders.back())) m_holders.push_back(holder);
    }
    const auto sequence = [](const file_moment* moment) { return *moment->header.sequence; };
    if (!std::ranges::is_sorted(m_moments, {}, sequence)) std::ranges::stable_sort(m_moments, {}, sequence);
    for (auto begin = m_moments.begin(); begin != m_moments.end();) {
        const auto end = std::find_if(begin, m_moments.end(),
                                      [&](const file_moment* moment) { return sequence(moment) != sequence(*begin); });
        add_file({begin, end});
        begin = end;
    }
}

void file_timeline::add_file(std::span<const file_moment* const> moments) {
    held_file& file = m_files.emplace_back();
    file = {static_cast<std::uint32_t>(m_names.size()), *moments.front()->header.sequence, {}};
    m_named.clear();
    for (const file_moment* const moment : moments) {
        if (moment->header.directory) file.is_directory = moment->header.directory;
        if (moment->name) m_named.push_back(moment);
    }
    if (!m_named.empty()) add_names();
}

// Enters what the file was called before the first moment, and from each one on: a name that is there, else the next
// that is known to have been there.
void file_timeline::add_names() {
    // Of each moment the first later name that was not added there, a long one if there is one.
    m_next.assign(m_named.size() + 1, {});
    for (std::size_t at = m_named.size(); at-- != 0;) {
        const timeline_name& name = *m_named[at]->name;
        const timeline_name& later = m_next[at + 1];
        const bool counts = m_named[at]->what != file_moment::sign::name_added &&
                            (!name.is_dos_name() || later.units().empty() || later.is_dos_name());
        m_next[at] = counts ? name : later;
    }
    timeline_name first = m_next[0];
    if (first.units().empty()) {
        first = *m_named[0]->name;
        first.weak = true;
    }
    m_names.push_back({0, first});
    m_there.clear();
    for (std::size_t at = 0; at < m_named.size(); ++at) {
        timeline_name name = *m_named[at]->name;
        if (name.copied) name.copied = stays_copied(name, std::span(m_named).subspan(at + 1));
        std::erase(m_there, name);
        if (m_named[at]->what != file_moment::sign::name_removed) {
            // A name as the record itself has it is the one that counts.
            if (m_there.size() == most_names) m_there.erase(m_there.begin());
            m_there.push_back(name);
        }
        const auto found =
            std::find_if(m_there.rbegin(), m_there.rend(), [](const timeline_name& n) { return !n.is_dos_name(); });
        if (found != m_there.rend()) {
            name = *found;
        } else if (!m_there.empty()) {
            name = m_there.back();
        } else if (!m_next[at + 1].units().empty()) {
            name = m_next[at + 1];
        }
        const timeline_name& last = m_names.back().name;
        if (name == last && name.copied == last.copied && !last.weak) continue;
        m_names.push_back({m_named[at]->lsn, name});
    }
}

std::span<const file_timeline::held_file> file_timeline::files_of(std::uint64_t number) const {
    const file_timeline& part = part_of(number);
    const std::uint32_t* const at = part.m_numbers.find(number);
    return at != nullptr ? group_of(part.m_files, part.m_records, *at, &known_record::first_file)
                         : std::span<const held_file>{};
}

const file_timeline::held_file* file_timeline::find(inode_ref file) const {
    const std::span<const held_file> files = files_of(file.number());
    const auto found = std::ranges::lower_bound(files, file.sequence(), {}, &held_file::sequence);
    return found != files.end() && found->sequence == file.sequence() ? &*found : nullptr;
}

const record_holder* file_timeline::holder(std::uint64_t number, std::uint64_t lsn) const {
    const file_timeline& part = part_of(number);
    const std::uint32_t* const at = part.m_numbers.find(number);
    if (at == nullptr) return nullptr;
    const auto holders = group_of(part.m_holders, part.m_records, *at, &known_record::first_holder);
    const auto after = std::ranges::upper_bound(holders, lsn, {}, &record_holder::lsn);
    if (after != holders.begin()) {
        const auto last = std::prev(after);
        if (last->in_use != false || last->lsn == lsn) return &*last;
    }
    if (after != holders.end() && !after->born) return &*after;
    return after != holders.begin() ? &*std::prev(after) : nullptr;
}

std::optional<timeline_name> file_timeline::name(inode_ref file, std::uint64_t lsn) const {
    const held_file* const held = find(file);
    if (held == nullptr) return std::nullopt;
    const file_timeline& part = part_of(file.number());
    const auto at = static_cast<std::size_t>(held - part.m_files.data());
    const auto names = group_of(part.m_names, part.m_files, at, &held_file::first_name);
    if (names.empty()) return std::nullopt;
    return std::prev(std::ranges::upper_bound(names, lsn, {}, &name_moment::lsn))->name;
}

std::optional<bool> file_timeline::is_directory(inode_ref file) const {
    const held_file* const held = find(file);
    if (held == nullptr) return std::nullopt;
    return held->is_directory;
}

}  // namespace kest
