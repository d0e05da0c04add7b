#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "history/replayed_record.h"
#include "mft/record_view.h"
#include "mft/run_reader.h"

namespace kest {

// What a file record holds, as far as it is known: empty is unknown.

// A number of which some bytes may be known only.
template <class integer>
struct partial_number {
    integer value = 0;  // zeros for what is not known
    integer known = 0;  // the bits that are

    std::optional<integer> whole() const {
        return known == static_cast<integer>(~integer{0}) ? std::optional(value) : std::nullopt;
    }
    bool operator==(const partial_number&) const = default;
};

struct record_header {
    std::optional<std::uint16_t> sequence;
    std::optional<std::uint16_t> links;
    std::optional<bool> in_use;
    std::optional<bool> directory;
    std::optional<inode_ref> base;  // 0: this is a base record

    bool operator==(const record_header&) const = default;
};

struct standard_information {
    std::array<partial_number<std::uint64_t>, 4> times;  // ticks: created, modified, mft_changed, accessed
    partial_number<std::uint32_t> flags;
    std::optional<std::uint32_t> owner_id;
    std::optional<std::uint32_t> security_id;
    std::optional<std::uint64_t> usn;

    bool operator==(const standard_information&) const = default;
};

enum class presence : std::uint8_t { unknown, absent, present };

// One attribute at one moment. Sizes in bytes.
struct attribute_state {
    presence present = presence::unknown;
    bool copied = false;  // the value is known by the MFT copy only
    std::optional<bool> resident = {};
    std::optional<std::uint64_t> file_size = {};  // of a resident attribute its length
    std::optional<std::uint64_t> valid_length = {};
    std::optional<std::uint64_t> allocated_size = {};
    // Of small attributes, such as names, reparse points, identifiers and extended attributes.
    std::optional<uni::byte_view> value = {};

    std::optional<file_name_view> file_name() const { return value ? file_name_view::read(*value) : std::nullopt; }
    std::optional<std::uint32_t> reparse_tag() const {
        return value && value->has(0, 4) ? std::optional(value->get(reparse_layout::tag)) : std::nullopt;
    }
};

// An attribute as it is found in a file record; shows the record's bytes.
struct found_attribute {
    std::uint32_t offset = 0;  // in the file record
    std::uint32_t id = 0;
    std::optional<std::uint32_t> type;
    std::optional<uni::byte_view> name;  // UTF-16
    std::uint64_t lowest_vcn = 0;        // not 0: a further piece of an attribute
    attribute_state state;
    std::optional<run_reader> runs = {};  // of an attribute that lies elsewhere
};

record_header read_header(const replayed_record& record);
// `is_base`: in a base record the first attribute is $STANDARD_INFORMATION, whatever is known of it. `with_data`: the
// value of data, too, as far as the log knows it.
found_attribute read_attribute(const replayed_record& record, const replayed_record::attribute_start& start,
                               bool is_base, bool with_data = false);
standard_information read_standard(const replayed_record& record, std::uint32_t attribute);
// The file's name: a long one rather than a DOS one, of several the one that came last.
std::optional<found_attribute> newest_name(const replayed_record& record);

}  // namespace kest
