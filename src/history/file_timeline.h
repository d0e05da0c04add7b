#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "history/record_state.h"
#include "mft/inode_collection.h"
#include "portable/key_groups.h"

namespace kest {

struct timeline_name {
    inode_ref parent;
    std::uint8_t name_space = 0;
    bool copied = false;   // known by the MFT copy only
    uni::byte_view units;  // UTF-16

    timeline_name() = default;
    explicit timeline_name(const file_name_view& name)
        : parent(name.parent()), name_space(name.get(file_name_layout::name_space)), units(name.name()) {}

    timeline_name(inode_ref folder, uni::byte_view name) : parent(folder), units(name) {}

    bool is_dos_name() const { return name_space == file_name_layout::dos_name_space; }
    bool operator==(const timeline_name& other) const;
};

// What is known of a file record from some LSN on.
struct file_moment {
    enum class sign : std::uint8_t {
        state,         // the file record itself
        name_added,    // an index entry
        name_removed,  // likewise
        mentioned      // a journal record, or a folder as somebody's parent
    };

    std::uint64_t lsn = 0;  // 0: since before the log
    record_header header;   // sequence number: filled in from the moments around it where they leave no doubt
    std::optional<timeline_name> name;
    sign what = sign::state;
    bool born = false;    // the record was put to use
    bool copied = false;  // the sequence number is known by the MFT copy only

    // Whether something is known of it that the earlier moment does not hold.
    bool adds_to(const file_moment& earlier) const;
};

// What holds a file record from some LSN on.
struct record_holder {
    std::uint64_t lsn = 0;  // 0: since before the log
    std::optional<inode_ref> base;
    std::optional<std::uint16_t> sequence;
    std::optional<bool> in_use;
    bool born = false;    // the record was put to use
    bool copied = false;  // the sequence number is known by the MFT copy only

    record_holder() = default;
    explicit record_holder(const file_moment& moment)
        : lsn(moment.lsn),
          base(moment.header.base),
          sequence(moment.header.sequence),
          in_use(moment.header.in_use),
          born(moment.born),
          copied(moment.copied) {}

    // Nothing that is asked of the holder changes with it.
    bool repeats(const record_holder& earlier) const {
        return !born && in_use != false && in_use == earlier.in_use && sequence == earlier.sequence &&
               base == earlier.base && copied == earlier.copied;
    }
};

// Which file each file record held when, and what it was called, by what the log says of it.
class file_timeline {
public:
    void reserve(std::size_t moments) { m_moments.reserve(moments); }
    void add(std::uint64_t number, const file_moment& moment) { m_moments.add(number, moment); }
    // Where the log names no holder of a record at all, the MFT does, unless it was written later.
    void seal(const _inode_collection& inodes, std::uint64_t highest_lsn);

    // What held the record at that LSN; else what held it next, unless that is put to use only then. Null: nothing is
    // known.
    const record_holder* holder(std::uint64_t number, std::uint64_t lsn) const;
    // Whether the log names a file that holds the record at any time.
    bool names_holder(std::uint64_t number) const { return m_numbers.find(number) != nullptr; }
    // The file's name at that LSN: a long one rather than a DOS one, of several the one that came last. Where none is
    // known so early, the first that is known to have been there; `weak`: it came later.
    struct found_name {
        timeline_name name;
        bool weak = false;
    };
    std::optional<found_name> name(inode_ref file, std::uint64_t lsn) const;
    std::optional<bool> is_directory(inode_ref file) const;

private:
    struct name_moment {
        std::uint64_t lsn;
        timeline_name name;
        file_moment::sign what;
    };
    void complete(std::span<file_moment> moments);
    void enter(std::uint64_t number, const file_moment& moment);
    static found_name replay_names(std::span<name_moment> names);

    uni::key_groups<file_moment> m_moments;     // by record number, then LSN; until they are sealed
    uni::key_groups<record_holder> m_holders;   // likewise
    uni::key_groups<name_moment> m_names;       // by file reference, then LSN; with the name from then on
    uni::seeded_map<bool> m_directories;        // by file reference
    uni::seeded_map<found_name> m_first_names;  // by file reference: before the first moment
    uni::seeded_map<bool> m_numbers;            // of records whose holder is known
};

}  // namespace kest
