#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "events/names.h"
#include "journal/journal_cursor.h"

namespace kest {

// What the records of a journal file called its folders, from which place in the file on. Takes memory by folders and
// their renames, not by records.
class journal_folders {
public:
    // The records come in the file's order; what is about no folder is passed over.
    void learn(const journal_record& record);
    // Behind the last record, and ahead of all questions.
    void seal();

    // What the folder was called when the record at `place` was written. Nothing if the journal does not tell; `part`,
    // without a name, if it tells that an earlier name is not known.
    std::optional<held_name> name_at(inode_ref folder, std::uint64_t place) const;

    // How many folders have got another name up to `place`: while that stays, so do all paths.
    std::uint64_t renames_until(std::uint64_t place) const;

private:
    struct folder_word {
        std::uint64_t place = 0;
        inode_ref parent;
        std::uint64_t name = 0;    // where it begins in `m_names`
        std::uint16_t length = 0;  // bytes
        bool new_name = false;     // the folder had another one before
    };

    uni::byte_view name_of(const folder_word& word) const;

    uni::key_groups<folder_word> m_words;     // by file reference, then place
    uni::seeded_map<folder_word> m_last;      // likewise: the last word so far
    uni::large_vector<std::uint8_t> m_names;  // UTF-16
    std::vector<std::uint64_t> m_renames;     // places, in order
};

}  // namespace kest
