#include "events/journal_folders.h"

#include <algorithm>
#include <iterator>

#include "events/name_order.h"

namespace kest {

uni::byte_view journal_folders::name_of(const folder_word& word) const {
    return uni::byte_view{std::span<const std::uint8_t>(m_names)}.slice(word.name, word.length);
}

void journal_folders::learn(const journal_record& record) {
    if (!record.is_directory()) return;
    const uni::byte_view name = record.usn.name();
    folder_word& last = m_last[record.usn.file().value()];
    if (last.length != 0 && last.parent == record.usn.parent() && compare_bytes(name_of(last), name) == 0) return;
    const std::uint32_t reasons = record.usn.get(&usn_layout::reason);
    const bool first = last.length == 0;
    last = {.place = record.place,
            .parent = record.usn.parent(),
            .name = m_names.size(),
            .length = static_cast<std::uint16_t>(name.size()),
            .new_name = (reasons & usn_reasons::new_name) != 0 && (reasons & usn_reasons::old_name) == 0};
    m_names.insert(m_names.end(), name.bytes().begin(), name.bytes().end());
    m_words.add(record.usn.file().value(), last);
    if (!first || last.new_name) m_renames.push_back(record.place);
}

void journal_folders::seal() {
    m_last = {};
    m_words.seal([](const folder_word& a, const folder_word& b) { return a.place < b.place; });
}

// The last word so far holds on. Ahead of the first the folder was called the same, unless that is a new name.
std::optional<held_name> journal_folders::name_at(inode_ref folder, std::uint64_t place) const {
    const std::span<const folder_word> words = m_words.find(folder.value());
    if (words.empty()) return std::nullopt;
    auto word = std::ranges::upper_bound(words, place, {}, &folder_word::place);
    if (word == words.begin() && word->new_name) return held_name{.known = known_by::part};
    if (word != words.begin()) --word;
    return held_name{.parent = word->parent, .units = name_of(*word), .known = known_by::journal};
}

std::uint64_t journal_folders::renames_until(std::uint64_t place) const {
    return static_cast<std::uint64_t>(std::ranges::upper_bound(m_renames, place) - m_renames.begin());
}

}  // namespace kest
