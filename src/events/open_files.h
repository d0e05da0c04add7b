#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "journal/journal_cursor.h"
#include "portable/seeded_map.h"

namespace kest {

// What a file was called ahead of a rename, and the journal record that says so.
struct former_name {
    std::uint64_t place = 0;
    inode_ref parent;
    std::vector<std::uint8_t> units;  // UTF-16
};

// What a journal record says that those ahead of it on the same file, since it was last closed, did not.
struct record_news {
    std::uint32_t known = 0;             // reasons given ahead of it
    std::uint32_t reasons = 0;           // given anew
    bool waits = false;                  // its old name waits for the new one
    std::optional<former_name> of = {};  // the name that its new name replaces
    // Where a name was told to be an old one, and no new one has come: until now, or any more.
    std::optional<std::uint64_t> left_alone = {};
};

// The files of a journal that are open at some moment: what is kept of a file goes when it is closed.
class open_files {
public:
    // Takes the record that comes next. One that the log has, too, is told there, and pairs with none.
    record_news take(const journal_record& record, bool in_log);

    // The places of all old names that still wait.
    std::vector<std::uint64_t> waiting() const;

private:
    struct open_file {
        std::uint32_t reasons = 0;
        std::optional<former_name> old;
    };

    open_file* find(inode_ref file);  // null if it is not open
    open_file& open(inode_ref file);
    void close(inode_ref file);
    static void take_names(open_file& state, const journal_record& record, bool in_log, record_news& news);

    uni::seeded_map<std::uint32_t> m_places;  // by file reference
    std::vector<open_file> m_files;
    std::vector<std::uint32_t> m_free;  // places in `m_files`
};

}  // namespace kest
