#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "events/file_names.h"
#include "journal/journal_cursor.h"
#include "operations/log_facts.h"
#include "portable/key_groups.h"
#include "portable/seeded_map.h"

namespace kest {

// What the records of a journal file called its folders, from which offset in the file on. Takes memory by folders and
// their renames, not by records.
class journal_folders {
public:
    // The records come in the file's order; what is about no folder is passed over.
    void learn(const journal_record& record);
    // After the last record, and before all questions.
    void seal();

    // What the folder was called when the record at the offset was written. Nothing if the journal does not state it;
    // `part`, without a name, if it states only that there was an earlier name.
    std::optional<resolved_name> name_at(inode_ref folder, std::uint64_t offset) const;

    // How many folders have got another name up to the offset: while that stays, so do all paths.
    std::uint64_t renames_until(std::uint64_t offset) const;

private:
    struct naming {
        std::uint64_t offset = 0;
        inode_ref parent;
        std::uint64_t name = 0;    // where it begins in `m_names`
        std::uint16_t length = 0;  // bytes
        bool new_name = false;     // the folder had another one before
    };

    uni::byte_view name_of(const naming& one) const;

    uni::key_groups<naming> m_namings;        // by file reference, then offset
    uni::seeded_map<naming> m_last;           // likewise: the last one so far
    uni::large_vector<std::uint8_t> m_names;  // UTF-16
    std::vector<std::uint64_t> m_renames;     // offsets, in order
};

// What a file was called before a rename, and the journal record that states it.
struct former_name {
    std::uint64_t offset = 0;
    inode_ref parent;
    std::vector<std::uint8_t> units;  // UTF-16
};

// What a journal record states that those before it on the same file, since it was last closed, did not.
struct reason_delta {
    std::uint32_t known = 0;                       // reasons given before it
    std::uint32_t added = 0;                       // given anew
    bool waits = false;                            // it gives an old name, which may get a new one
    std::optional<former_name> renamed_from = {};  // the name that its new name replaces
};

// Follows the files of a journal from record to record: what is kept of a file goes when it is closed.
class reason_tracker {
public:
    // Takes the record that comes next. One that the log has, too, is reported there, and pairs with none.
    reason_delta take(const journal_record& record, bool in_log);

private:
    void take_names(const journal_record& record, bool in_log, reason_delta& delta);

    // Apart, as few files wait for a new name and many are open: each record looks for its file's reasons in memory.
    uni::seeded_map<std::uint32_t> m_reasons;  // of open files, by file reference
    uni::seeded_map<former_name> m_old_names;  // that wait for a new one, likewise
};

// What has to be known of a journal file as a whole before its first event is reported.
struct journal_outline {
    journal_folders folders;
    std::vector<std::uint64_t> paired_names;  // offsets of the old names that a new one follows, in order
    journal_reading reading;
};

// Goes through the file once. Matches its records with those of the log.
journal_outline outline_journal(const uni::byte_source& file, log_facts& facts);

}  // namespace kest
