#include "events/lives.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include "journal/usn_record.h"
#include "mft/record_view.h"

namespace kest {

namespace {

std::uint16_t sequence_after(std::uint16_t sequence) {
    return sequence == 0xFFFF ? 1 : static_cast<std::uint16_t>(sequence + 1);
}

// What the log's journal records told of a file stands in the store too, but was read from no MFT.
bool is_stored_base(const inode_record* record) {
    return record != nullptr && record->is_base;
}

}  // namespace

const inode_record* stored_file(const _inode_collection& inodes, inode_ref file) {
    const inode_record* const exact = inodes.find_exact(file);
    if (is_stored_base(exact) && exact->in_use) return exact;
    const inode_record* const freed = inodes.find_exact({file.number(), sequence_after(file.sequence())});
    return is_stored_base(freed) && !freed->in_use ? freed : nullptr;
}

const inode_record* record_in_use(const _inode_collection& inodes, std::uint64_t number) {
    const inode_record* const first = inodes.find_first(number);
    const bool from_mft = first != nullptr && (first->is_base || !first->base_records.empty());
    return from_mft && first->in_use ? first : nullptr;
}

std::optional<bool> folder_by(const told_fact& fact) {
    switch (fact.kind) {
        case fact_kind::entry_added:
        case fact_kind::entry_removed:
            return file_name_view::read(fact.data)->names_directory();
        case fact_kind::journal_record:
            return (read_usn_record(fact.data)->get(&usn_layout::file_attributes) & usn_attributes::directory) != 0;
        case fact_kind::image: {
            const file_record_view record(fact.data);
            if (!record.in_use() || record.base() != inode_ref{}) return std::nullopt;
            return record.is_directory();
        }
        default:
            return std::nullopt;
    }
}

record_lives::record_lives(const told_log& told, const _inode_collection& inodes, bool guesses_allowed)
    : m_inodes(inodes), m_highest_lsn(told.highest_lsn), m_guesses_allowed(guesses_allowed) {
    for (const told_transaction& transaction : told.transactions)
        learn(told.facts_of(transaction));
    seal();
}

// An index entry of a file that its own transaction bears tells of the birth, whether the file record or the entry
// comes first.
void record_lives::learn(std::span<const told_fact> facts) {
    std::vector<std::uint64_t> born;
    for (const told_fact& fact : facts) {
        if (!fact.undone && fact.is_birth()) born.push_back(fact.file.value());
    }
    std::ranges::sort(born);
    for (const told_fact& fact : facts) {
        if (!fact.undone) learn_fact(fact, std::ranges::binary_search(born, fact.file.value()));
    }
}

void record_lives::learn_fact(const told_fact& fact, bool born_here) {
    if (const auto folder = folder_by(fact)) m_directories[fact.file.value()] = *folder;
    switch (fact.kind) {
        case fact_kind::entry_added:
        case fact_kind::entry_removed: {
            const auto name = file_name_view::read(fact.data);
            mark(fact.file, fact.lsn, born_here && fact.kind == fact_kind::entry_added ? sign::born : sign::seen);
            mark_folder(name->parent(), fact.lsn);
            break;
        }
        case fact_kind::journal_record: {
            const auto record = read_usn_record(fact.data);
            mark(fact.file, fact.lsn, sign::seen);
            mark_folder(record->parent(), fact.lsn);
            break;
        }
        case fact_kind::image:
        case fact_kind::image_before: {
            const file_record_view record(fact.data);
            if (!record.in_use()) break;
            if (record.base() != inode_ref{}) {
                if (fact.kind == fact_kind::image) m_extensions.add(fact.file.number(), {fact.lsn, record.base()});
                break;
            }
            mark(fact.file, fact.lsn, fact.is_birth() ? sign::born : sign::seen);
            break;
        }
        case fact_kind::freed:
            if (file_record_view(fact.data).in_use()) mark(fact.file, fact.lsn, sign::died);
            break;
        default:
            break;
    }
}

void record_lives::mark(inode_ref file, std::uint64_t lsn, sign what) {
    m_marks.add(file.number(), {lsn, file.sequence(), what});
    if (what == sign::born) m_births.add(file.number(), lsn);
}

void record_lives::mark_folder(inode_ref file, std::uint64_t lsn) {
    mark(file, lsn, sign::seen);
    m_directories[file.value()] = true;
}

void record_lives::seal() {
    m_marks.seal([](const life_mark& a, const life_mark& b) {
        return std::tuple(a.lsn, a.sequence, a.what) < std::tuple(b.lsn, b.sequence, b.what);
    });
    m_extensions.seal([](const extension_mark& a, const extension_mark& b) { return a.lsn < b.lsn; });
    m_births.seal(std::less{});
}

// What was told of the record last holds until it is given up; then what is told of it next, unless that is a birth.
// Nothing but a later birth tells nothing of who was there before it: not the MFT either.
record_holder record_lives::holder_at(std::uint64_t number, std::uint64_t lsn) const {
    const std::span<const life_mark> marks = m_marks.find(number);
    const auto after = std::ranges::upper_bound(marks, lsn, {}, &life_mark::lsn);
    if (after != marks.begin()) {
        const life_mark& before = *std::prev(after);
        if (before.what != sign::died || before.lsn == lsn) return {{number, before.sequence}, owner_source::log};
    }
    if (after != marks.end() && (after->what != sign::born || after != marks.begin())) {
        return {{number, after->sequence}, owner_source::log};
    }
    if (!marks.empty()) return {{number, 0}, owner_source::none};
    const inode_record* const stored = record_in_use(m_inodes, number);
    if (!is_stored_base(stored)) return {{number, 0}, owner_source::none};
    // A record that the MFT wrote later than the log goes may have another owner since.
    const bool certain = stored->lsn <= m_highest_lsn;
    if (!certain && !m_guesses_allowed) return {{number, 0}, owner_source::none};
    return {stored->ref(), certain ? owner_source::mft : owner_source::guess};
}

bool record_lives::born_between(std::uint64_t number, std::uint64_t first, std::uint64_t last) const {
    const std::span<const std::uint64_t> births = m_births.find(number);
    const auto birth = std::ranges::lower_bound(births, first);
    return birth != births.end() && *birth <= last;
}

inode_ref record_lives::base_in_log(std::uint64_t number, std::uint64_t lsn) const {
    const std::span<const extension_mark> marks = m_extensions.find(number);
    if (marks.empty()) return {};
    auto mark = std::ranges::upper_bound(marks, lsn, {}, &extension_mark::lsn);
    if (mark != marks.begin()) --mark;
    const bool earlier = mark->lsn <= lsn;
    const bool reused = earlier ? born_between(number, mark->lsn + 1, lsn) : born_between(number, lsn, mark->lsn - 1);
    return reused ? inode_ref{} : mark->base;
}

// Of an extension record its base record; 0 if it is none.
inode_ref record_lives::base_of(std::uint64_t number, std::uint64_t lsn) const {
    if (const inode_ref base = base_in_log(number, lsn); base != inode_ref{}) return base;
    if (!m_marks.find(number).empty()) return {};
    const inode_record* const extension = record_in_use(m_inodes, number);
    if (extension == nullptr || extension->is_base) return {};
    const inode_record* const base = record_in_use(m_inodes, *extension->base_records.begin());
    return is_stored_base(base) ? base->ref() : inode_ref{};
}

record_holder record_lives::owner_of(const told_fact& fact) const {
    const bool told = fact.file.sequence() != 0;
    if (told && fact.kind != fact_kind::freed) return {fact.file, owner_source::log};
    const inode_ref base = base_of(fact.file.number(), fact.lsn);
    if (base != inode_ref{}) return {base, owner_source::log};
    if (told) return {fact.file, owner_source::log};
    return holder_at(fact.file.number(), fact.lsn);
}

std::optional<bool> record_lives::is_directory(inode_ref file) const {
    if (const bool* const known = m_directories.find(file.value())) return *known;
    const inode_record* const stored = stored_file(m_inodes, file);
    return stored != nullptr ? std::optional(stored->is_directory) : std::nullopt;
}

}  // namespace kest
