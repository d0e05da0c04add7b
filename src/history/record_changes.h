#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "history/file_timeline.h"
#include "history/record_state.h"
#include "portable/kept_bytes.h"
#include "portable/kept_values.h"

namespace kest {

struct standard_change {
    const standard_information& before;
    const standard_information& after;
    std::uint32_t proof = 0;  // position in the log: the last record that writes to it
};

// The runs of an attribute, from the first on that is not the same before and after. None: it is not there, or lies in
// the file record.
struct run_change {
    run_reader before;
    run_reader after;
};

// What an attribute is called in its file.
struct attribute_key {
    uni::packed_optional<std::uint32_t> type;
    uni::packed_optional<uni::byte_view> name;  // UTF-16
    bool continues = false;                     // a further piece of the attribute, which has no sizes

    bool operator==(const attribute_key&) const = default;  // of the name where it lies, not its bytes
};

// An attribute that is not the same before and after.
struct attribute_change {
    const attribute_state& before;
    const attribute_state& after;
    const attribute_key& key;
    std::uint32_t proof = 0;  // position in the log: the record that creates it, else the last that writes to it
    std::uint32_t runs = 0;   // from 1; 0: the same before and after, or unknown

    std::optional<std::uint32_t> type() const { return key.type; }
    uni::byte_view name() const { return key.name.value_or(uni::byte_view{}); }
};

// What a transaction did to a file record: the states before its first and after its last record that was not rolled
// back; or before the first and after the last of those in a row that were rolled back. Where transactions take turns
// at one file record, one for each turn.
struct record_change {
    static constexpr std::uint32_t none = 0xFFFF'FFFF;

    std::uint32_t number = 0;  // of the file record
    std::uint32_t transaction = 0;
    std::uint32_t first = none;  // positions in the log
    std::uint32_t last = 0;
    std::uint32_t image = none;  // of the first record that writes all of it
    std::uint32_t freed = none;  // of the last one that frees it
    std::uint32_t first_attribute = 0;
    std::uint32_t attribute_count = 0;
    std::uint32_t standard = 0;  // from 1; 0: the same before and after, or unknown
    bool rolled_back = false;
    bool copied = false;  // whose record it is is known by the MFT copy only
    const record_header* before = &record_header::unknown;
    const record_header* after = &record_header::unknown;

    // It is another file's than before.
    bool is_birth() const {
        return image != none && after->in_use == true && after->base == inode_ref{} &&
               (before->in_use != true || (before->sequence && before->sequence != after->sequence));
    }
    // It is no longer the file's that had it.
    bool is_end() const {
        return freed != none && before->in_use != false && before->base.value_or(inode_ref{}) == inode_ref{} &&
               (after->in_use == false || (after->in_use == true && before->sequence != after->sequence));
    }
};

// The changes of a log, and what they show.
struct record_changes {
    uni::large_vector<record_change> records;
    std::vector<standard_change> standards;
    std::vector<attribute_change> attributes;
    std::vector<run_change> runs;
    uni::kept_bytes kept;
    uni::kept_bytes kept_data;  // of files, where it is asked for
    uni::kept_values<record_header> headers;
    uni::kept_values<standard_information> standard_states;
    uni::kept_values<attribute_key> attribute_keys;
    uni::kept_values<attribute_state> attribute_states;

    // Takes over others, but for the states that they show.
    void append(record_changes& others);
};

// Finds what differs between two states of a file record, and enters it.
class change_finder {
public:
    // A log record that wrote to an attribute.
    struct write {
        std::uint32_t attribute;  // identifier
        std::uint32_t position;   // in the log
    };

    change_finder(record_changes& changes, bool with_data) : m_changes(changes), m_with_data(with_data) {}

    // Completes `change` by the states, and enters it unless they are the same. `writes` are those in between.
    // `may_be_base`: what is not known is taken for a base record.
    void add(record_change change, const replayed_record& before, const replayed_record& after, bool may_be_base,
             std::span<const write> writes);

private:
    // One of the two states; of its attributes those that are not the same in the other one.
    struct side {
        record_header header;
        const replayed_record* record = nullptr;
        std::optional<bool> complete;  // nothing else is in the record; found once it is asked for
        standard_information standard;
        std::uint32_t standard_id = 0;                         // of the attribute; 0: none
        std::vector<replayed_record::attribute_start> starts;  // by identifier
        std::vector<found_attribute> attributes;               // likewise
        std::vector<const found_attribute*> unpaired;

        bool is_complete() {
            if (!complete) complete = record->complete();
            return *complete;
        }
    };
    void list(side& out, const replayed_record& record) const;
    void skip_same_attributes(const replayed_record& before, const replayed_record& after);
    void read(side& out, const replayed_record& record, bool may_be_base) const;
    template <class order>
    void pair_up(order&& compare);
    void add_attribute(const found_attribute* before, const found_attribute* after);
    std::optional<uni::byte_view> keep_name(const std::optional<uni::byte_view>& name);
    const attribute_state& keep(attribute_state state, bool is_data);
    std::uint32_t keep(run_change runs);
    std::uint32_t write_to(std::uint32_t attribute, bool created) const;

    record_changes& m_changes;
    const bool m_with_data;
    record_change m_change;
    std::span<const write> m_writes;
    bool m_replaced = false;                     // the state was forgotten or replaced in between
    std::optional<uni::byte_view> m_last_name;   // that was kept
    std::optional<uni::byte_view> m_last_value;  // likewise
    side m_before;
    side m_after;
};

}  // namespace kest
