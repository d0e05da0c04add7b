#include "events/open_files.h"

#include <utility>

namespace kest {

namespace {

using namespace usn_reasons;

}  // namespace

record_news open_files::take(const journal_record& record, bool in_log) {
    const std::uint32_t reasons = record.usn.get(&usn_layout::reason);
    open_file* state = find(record.usn.file());
    const std::uint32_t known = state != nullptr ? state->reasons : 0;
    record_news news{.known = known, .reasons = reasons & ~known & ~closed};
    const std::uint32_t left = record.usn.reasons_behind(known);
    if (state == nullptr && left == 0) return news;  // opened and closed at once
    if (state == nullptr) state = &open(record.usn.file());
    state->reasons = left;
    if (record.has_name()) take_names(*state, record, in_log, news);
    if (left == 0) close(record.usn.file());
    return news;
}

// Old name and new name are records of their own, the new one right behind the old one on the same file. A new name
// that was given before the file was closed shows no second time.
void open_files::take_names(open_file& state, const journal_record& record, bool in_log, record_news& news) {
    const std::uint32_t reasons = record.usn.get(&usn_layout::reason);
    if (state.old) {  // by then its reason is known, and no news
        if ((reasons & new_name) != 0 && !in_log) {
            news.of = std::exchange(state.old, std::nullopt);
        } else if ((reasons & old_name) == 0 || (reasons & closed) != 0) {
            news.left_alone = std::exchange(state.old, std::nullopt)->place;
        }
    }
    if ((news.reasons & old_name) == 0 || in_log || (news.reasons & new_name) != 0 || (reasons & closed) != 0) return;
    const auto units = record.usn.name().bytes();
    state.old = former_name{record.place, record.usn.parent(), {units.begin(), units.end()}};
    news.waits = true;
}

std::vector<std::uint64_t> open_files::waiting() const {
    std::vector<std::uint64_t> places;
    for (const open_file& file : m_files) {
        if (file.old) places.push_back(file.old->place);
    }
    return places;
}

open_files::open_file* open_files::find(inode_ref file) {
    const std::uint32_t* const place = m_places.find(file.value());
    return place != nullptr ? &m_files[*place] : nullptr;
}

open_files::open_file& open_files::open(inode_ref file) {
    if (m_free.empty()) {
        m_free.push_back(static_cast<std::uint32_t>(m_files.size()));
        m_files.emplace_back();
    }
    const std::uint32_t place = m_free.back();
    m_free.pop_back();
    m_places[file.value()] = place;
    return m_files[place];
}

void open_files::close(inode_ref file) {
    const std::uint32_t place = *m_places.find(file.value());
    m_files[place] = {};
    m_free.push_back(place);
    m_places.erase(file.value());
}

}  // namespace kest
