#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <vector>

#include "history/replayed_record.h"
#include "mft/record_view.h"
#include "mft/run_reader.h"
#include "portable/packed_optional.h"

namespace kest {

// What a file record holds, as far as it is known: empty is unknown.

// A number of which some bytes may be known only.
template <class integer>
class partial_number {
public:
    partial_number() = default;
    explicit partial_number(integer whole) : m_bytes(std::bit_cast<bytes>(whole)), m_known(all) {}

    void set_byte(std::size_t at, std::uint8_t byte) {
        m_bytes[at] = byte;
        m_known = static_cast<std::uint8_t>(m_known | 1U << at);
    }
    integer value() const { return std::bit_cast<integer>(m_bytes); }  // zeros for what is not known
    integer known() const {                                            // the bits that are
        if (m_known == all) return static_cast<integer>(~integer{0});
        integer bits = 0;
        for (std::size_t at = 0; at < sizeof bits; ++at)
            if ((m_known >> at & 1) != 0) bits |= static_cast<integer>(integer{0xFF} << 8 * at);
        return bits;
    }
    std::optional<integer> whole() const { return m_known == all ? std::optional(value()) : std::nullopt; }
    bool operator==(const partial_number&) const = default;

private:
    using bytes = std::array<std::uint8_t, sizeof(integer)>;
    static constexpr auto all = static_cast<std::uint8_t>((1U << sizeof(integer)) - 1);

    bytes m_bytes{};
    std::uint8_t m_known = 0;  // a bit for each byte
};

struct record_header {
    uni::packed_optional<std::uint16_t> sequence;
    uni::packed_optional<std::uint16_t> links;
    uni::packed_optional<bool> in_use;
    uni::packed_optional<bool> directory;
    uni::packed_optional<inode_ref> base;  // 0: this is a base record

    bool operator==(const record_header&) const = default;

    static const record_header unknown;
};
inline constexpr record_header record_header::unknown{};

struct standard_information {
    std::array<partial_number<std::uint64_t>, 4> times;  // ticks: created, modified, mft_changed, accessed
    partial_number<std::uint32_t> flags;
    uni::packed_optional<std::uint32_t> owner_id;
    uni::packed_optional<std::uint32_t> security_id;
    uni::packed_optional<std::uint64_t> usn;

    bool operator==(const standard_information&) const = default;
};

enum class presence : std::uint8_t { unknown, absent, present };

// One attribute at one moment. Sizes in bytes.
struct attribute_state {
    presence present = presence::unknown;
    bool copied = false;  // the value is known by the MFT copy only
    uni::packed_optional<bool> resident = {};
    uni::packed_optional<std::uint64_t> file_size = {};  // of a resident attribute its length
    uni::packed_optional<std::uint64_t> valid_length = {};
    uni::packed_optional<std::uint64_t> allocated_size = {};
    // Of small attributes, such as names, reparse points, identifiers and extended attributes.
    uni::packed_optional<uni::byte_view> value = {};

    bool operator==(const attribute_state&) const = default;  // of the value where it lies, not its bytes
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
