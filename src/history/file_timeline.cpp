#include "history/file_timeline.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::size_t most_names = 16;  // of a file that are remembered at once, to come back to

}  // namespace

bool timeline_name::operator==(const timeline_name& other) const {
    return parent == other.parent && name_space == other.name_space &&
           std::ranges::equal(units.bytes(), other.units.bytes());
}

bool file_moment::adds_to(const file_moment& earlier) const {
    const auto differs = [](const auto& now, const auto& then) { return now && now != then; };
    return differs(header.sequence, earlier.header.sequence) || differs(header.in_use, earlier.header.in_use) ||
           differs(header.directory, earlier.header.directory) || differs(header.base, earlier.header.base) ||
           differs(name, earlier.name);
}

void file_timeline::seal(const _inode_collection& inodes, std::uint64_t highest_lsn) {
    const auto by_lsn = [](const auto& a, const auto& b) { return a.lsn < b.lsn; };
    m_moments.seal(by_lsn);
    m_names.reserve(m_moments.size());
    m_moments.for_each([&](std::uint64_t number, std::span<file_moment> moments) {
        complete(moments);
        const inode_record* const stored = record_in_use(inodes, number);
        const bool counts = stored != nullptr && stored->is_base && stored->lsn <= highest_lsn &&
                            std::ranges::none_of(moments, [](const file_moment& m) {
                                return m.header.sequence || m.header.in_use == false || m.header.base;
                            });
        for (file_moment& moment : counts ? moments : std::span<file_moment>{}) {
            moment.header.sequence = stored->sequence;
            moment.copied = true;
        }
        std::optional<record_holder> last;
        for (const file_moment& moment : moments) {
            enter(number, moment);
            const record_holder holder(moment);
            if (last && holder.repeats(*last)) continue;
            m_holders.add(number, holder);
            last = holder;
        }
    });
    m_moments = {};
    m_holders.seal(by_lsn);
    m_names.seal(by_lsn);
    m_names.for_each(
        [this](std::uint64_t file, std::span<name_moment> names) { m_first_names[file] = replay_names(names); });
    m_names.take_out([](const name_moment& moment, const name_moment& earlier) {
        return moment.name.copied == earlier.name.copied && moment.name == earlier.name;
    });
}

// A record keeps its sequence number and its base record from when it is put to use until it is freed.
void file_timeline::complete(std::span<file_moment> moments) {
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
        keep(moment, moment.born || moment.header.in_use == false);
    }
}

void file_timeline::enter(std::uint64_t number, const file_moment& moment) {
    const record_header& header = moment.header;
    if (!header.sequence || header.in_use == false || (header.base && *header.base != inode_ref{})) return;
    const inode_ref file(number, *header.sequence);
    m_numbers[number] = true;
    if (header.directory) m_directories[file.value()] = *header.directory;
    if (moment.name) m_names.add(file.value(), {moment.lsn, *moment.name, moment.what});
}

// Replaces each name by what the file is called from then on: a name that is there, else the next that is
// known to have been there. Answers what it was called before.
file_timeline::found_name file_timeline::replay_names(std::span<name_moment> names) {
    // Of each moment the first later name that was not added there, a long one if there is one.
    std::vector<timeline_name> next(names.size() + 1);
    for (std::size_t at = names.size(); at-- != 0;) {
        const timeline_name& name = names[at].name;
        const bool counts = names[at].what != file_moment::sign::name_added &&
                            (!name.is_dos_name() || next[at + 1].units.empty() || next[at + 1].is_dos_name());
        next[at] = counts ? name : next[at + 1];
    }
    const found_name first{next[0].units.empty() ? names[0].name : next[0], next[0].units.empty()};
    // What the MFT copy says first the log itself may say soon after.
    for (std::size_t at = 0; at < names.size(); ++at) {
        if (!names[at].name.copied) continue;
        const auto later = names.subspan(at + 1, std::min(most_names, names.size() - at - 1));
        const auto again = std::ranges::find(later, names[at].name, &name_moment::name);
        names[at].name.copied = again == later.end() || again->name.copied;
    }
    std::vector<timeline_name> there;
    std::size_t at = 0;
    for (name_moment& moment : names) {
        std::erase(there, moment.name);
        if (moment.what != file_moment::sign::name_removed) {
            // A name as the record itself has it is the one that counts.
            if (there.size() == most_names) there.erase(there.begin());
            there.push_back(moment.name);
        }
        const auto found =
            std::find_if(there.rbegin(), there.rend(), [](const timeline_name& n) { return !n.is_dos_name(); });
        if (found != there.rend()) {
            moment.name = *found;
        } else if (!there.empty()) {
            moment.name = there.back();
        } else if (!next[at + 1].units.empty()) {
            moment.name = next[at + 1];
        }
        ++at;
    }
    return first;
}

const record_holder* file_timeline::holder(std::uint64_t number, std::uint64_t lsn) const {
    const std::span<const record_holder> holders = m_holders.find(number);
    const auto after = std::ranges::upper_bound(holders, lsn, {}, &record_holder::lsn);
    if (after != holders.begin()) {
        const auto last = std::prev(after);
        if (last->in_use != false || last->lsn == lsn) return &*last;
    }
    if (after != holders.end() && !after->born) return &*after;
    return after != holders.begin() ? &*std::prev(after) : nullptr;
}

std::optional<file_timeline::found_name> file_timeline::name(inode_ref file, std::uint64_t lsn) const {
    const std::span<const name_moment> names = m_names.find(file.value());
    if (names.empty()) return std::nullopt;
    const auto after = std::ranges::upper_bound(names, lsn, {}, &name_moment::lsn);
    if (after != names.begin()) return found_name{std::prev(after)->name};
    return *m_first_names.find(file.value());
}

std::optional<bool> file_timeline::is_directory(inode_ref file) const {
    const bool* const known = m_directories.find(file.value());
    return known != nullptr ? std::optional(*known) : std::nullopt;
}

}  // namespace kest
