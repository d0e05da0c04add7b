#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "history/record_state.h"
#include "mft/inode_collection.h"
#include "portable/large_pages.h"
#include "portable/seeded_map.h"

namespace kest {

struct timeline_name {
    inode_ref parent;
    std::uint8_t name_space = 0;
    bool copied = false;  // known by the MFT copy only
    bool weak = false;    // it came later than what it stands for

    timeline_name() = default;
    explicit timeline_name(const file_name_view& name) : timeline_name(name.parent(), name.name()) {
        name_space = name.get(file_name_layout::name_space);
    }
    // UTF-16; no more of it than a name's 16 bits of length can say.
    timeline_name(inode_ref folder, uni::byte_view name) : parent(folder) { set_units(name); }

    void set_units(uni::byte_view name) {
        m_size = static_cast<std::uint16_t>(std::min<std::size_t>(name.size(), 0xFFFF));
        m_units = name.bytes().data();
    }
    uni::byte_view units() const { return std::span(m_units, m_size); }
    bool is_dos_name() const { return name_space == file_name_layout::dos_name_space; }
    bool operator==(const timeline_name& other) const;

private:
    std::uint16_t m_size = 0;  // bytes
    const std::uint8_t* m_units = nullptr;
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
    std::optional<timeline_name> name;
    record_header header;  // sequence number: filled in from the moments around it where they leave no doubt
    sign what = sign::state;
    bool born = false;       // the record was put to use
    bool after_gap = false;  // the log lacks what came before
    bool copied = false;     // the sequence number is known by the MFT copy only

    // Whether the log says anything of whose record it is.
    bool says_holder() const { return header.sequence || header.in_use == false || header.base; }
    // Whether something is known of it that the earlier moment does not hold.
    bool adds_to(const file_moment& earlier) const;
};

// What holds a file record from some LSN on.
struct record_holder {
    std::uint64_t lsn = 0;  // 0: since before the log
    uni::packed_optional<inode_ref> base;
    uni::packed_optional<std::uint16_t> sequence;
    uni::packed_optional<bool> in_use;
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
    // `moments` are expected at most.
    void reserve(std::size_t moments);
    // All that is known of a file record, by LSN or nearly so; each is added once.
    void add(std::uint64_t number, std::vector<file_moment>& moments);

    // Has file records from a number on in a part of their own, which may be filled at the same time.
    void begin_other(std::uint64_t first_number) {
        m_other = std::make_unique<file_timeline>();
        m_first_of_other = first_number;
    }
    file_timeline* other() { return m_other.get(); }

    // What held the record at that LSN; else what held it next, unless that is put to use only then. Null: nothing is
    // known.
    const record_holder* holder(std::uint64_t number, std::uint64_t lsn) const;
    // Whether the log names a file that holds the record at any time.
    bool names_holder(std::uint64_t number) const { return !files_of(number).empty(); }
    // The file's name at that LSN: a long one rather than a DOS one, of several the one that came last. Where none is
    // known so early, the first that is known to have been there, or a weak one.
    std::optional<timeline_name> name(inode_ref file, std::uint64_t lsn) const;
    std::optional<bool> is_directory(inode_ref file) const;

private:
    const file_timeline& part_of(std::uint64_t number) const { return number < m_first_of_other ? *this : *m_other; }

    struct name_moment {
        std::uint64_t lsn;
        timeline_name name;
    };
    struct held_file {
        std::uint32_t first_name = 0;
        std::uint16_t sequence = 0;
        uni::packed_optional<bool> is_directory;
    };
    struct known_record {
        std::uint32_t first_holder;
        std::uint32_t first_file;
    };
    void add_file(std::span<const file_moment* const> moments);
    void add_names();
    std::span<const held_file> files_of(std::uint64_t number) const;
    const held_file* find(inode_ref file) const;

    std::unique_ptr<file_timeline> m_other;
    std::uint64_t m_first_of_other = ~std::uint64_t{0};
    uni::seeded_map<std::uint32_t> m_numbers;    // of file records: where they stand in `m_records`
    std::vector<known_record> m_records;         // the end of each is where the next one begins
    std::vector<record_holder> m_holders;        // by file record, then LSN
    std::vector<held_file> m_files;              // by file record, then sequence number
    std::vector<name_moment> m_names;            // by file, then LSN; with the name from then on
    std::vector<const file_moment*> m_moments;   // of the file record at hand, by file
    std::vector<const file_moment*> m_named;     // of the file at hand: those with a name
    std::vector<timeline_name> m_next, m_there;  // likewise
};

}  // namespace kest
