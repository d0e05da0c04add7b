#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "history/record_step.h"
#include "mft/record_layout.h"
#include "mft/run_reader.h"
#include "portable/byte_view.h"

namespace kest {

// A file record as far as it is known: its bytes, which of them are known, and where attributes begin. Attributes lie
// at multiples of 8 bytes. Each has an identifier, which stays as it moves.
class replayed_record {
public:
    struct attribute_start {
        std::uint32_t offset;
        std::uint32_t id;
    };
    // In an identifier: the attribute came to light with a record that changes it, and may have been there before; it
    // came with an image of the whole record. Neither: it was created.
    static constexpr std::uint32_t came_to_light = 0x8000'0000;
    static constexpr std::uint32_t of_image = 0x4000'0000;

    explicit replayed_record(std::uint32_t size) : m_bytes(size), m_known(size) {}

    void forget();
    // Takes the bytes of a whole file record; what is missing at its end is zeros if the attributes do not reach there.
    void load(uni::byte_view image, bool from_copy = false);
    // Adds what another state of the same moment knows. Where they contradict each other, the other one counts.
    void merge(const replayed_record& other);

    // Takes what a step says of the state before it, or after it. False: that contradicted it, and all was forgotten.
    bool learn_before(const record_step& step) { return learn(step, step.undo, step.redo); }
    bool learn_after(const record_step& step) { return learn(step, step.redo, step.undo); }
    // Carries a step out, or undoes it. Nothing is known afterwards if that does not fit.
    void redo(const record_step& step) { carry_out(step, step.redo, step.undo); }
    void undo(const record_step& step) { carry_out(step, step.undo, step.redo); }

    uni::byte_view bytes() const { return std::span<const std::uint8_t>(m_bytes); }
    bool knows(std::uint64_t offset, std::uint64_t width) const {
        if (!bytes().has(offset, width)) return false;
        return std::memchr(m_known.data() + offset, 0, static_cast<std::size_t>(width)) == nullptr;
    }
    bool knows_byte(std::uint64_t offset) const { return known().u8(offset) != 0; }
    // Whether all of these bytes are known, and the same in another state.
    bool same_bytes(std::uint64_t offset, std::uint64_t width, const replayed_record& other) const {
        if (!knows(offset, width) || !other.bytes().has(offset, width)) return false;
        return std::memcmp(m_bytes.data() + offset, other.m_bytes.data() + offset, static_cast<std::size_t>(width)) ==
               0;
    }
    // Whether only the MFT copy knows the byte.
    bool is_copied(std::uint64_t offset) const { return known().u8(offset) == by_copy; }
    // Whether a step wrote the byte as one of data within the record, and said what it wrote.
    bool is_stated_data(std::uint64_t offset) const { return known().u8(offset) == by_data_write; }
    // The identifier of the attribute that begins there; 0 for none.
    std::uint32_t attribute_at(std::uint32_t offset) const {
        const auto found = first_from(offset);
        return found != m_attributes.end() && found->offset == offset ? found->id : 0;
    }
    template <class integer>
    std::optional<integer> get(uni::field<integer> f, std::uint32_t base = 0) const {
        const std::uint64_t offset = std::uint64_t{base} + f.offset;
        if (!bytes().has(offset, sizeof(integer))) return std::nullopt;
        if ((load_as<integer>(m_known, offset) & all_known<integer>) != all_known<integer>) return std::nullopt;
        return load_as<integer>(m_bytes, offset);
    }
    std::optional<bool> in_use() const { return m_in_use; }
    // Nothing where no attribute can be, or where that is not known.
    std::optional<std::uint32_t> attribute_length(std::uint32_t offset) const;
    // Calls `visit(start)` for the attributes in their order, up to the end marker; none lies inside of another.
    template <class visitor>
    void for_each_attribute(visitor&& visit) const {
        std::uint32_t end = alignment * (file_record_layout::smallest_header / alignment);
        for (const attribute_start& one : m_attributes) {
            if (one.offset < end) continue;
            if (one.offset > end && get(attribute_layout::type, end) == attribute_type::end_of_attributes) return;
            visit(one);
            end = one.offset + attribute_length(one.offset).value_or(alignment);
        }
    }
    // Whether an attribute of known length is the same in another state of the record.
    bool same_attribute(std::uint32_t offset, const replayed_record& other, std::uint32_t its_offset) const;
    // The runs of a non-resident attribute, if they are known.
    std::optional<run_reader> runs_of(std::uint32_t attribute) const;
    // All attributes are known, up to the end marker.
    bool complete() const;
    // Differs once the state was forgotten or replaced: what is missing since then was not removed.
    std::uint32_t generation() const { return m_generation; }

private:
    static constexpr std::uint32_t alignment = 8;
    // What `m_known` holds of a byte: the first bit if it is known.
    static constexpr std::uint8_t by_log = 1;
    static constexpr std::uint8_t by_copy = 3;
    static constexpr std::uint8_t by_data_write = 5;

    template <class integer>
    static constexpr auto all_known = static_cast<integer>(static_cast<integer>(~integer{0}) / 0xFF * by_log);

    // They lie inside.
    template <class integer>
    static integer load_as(const std::vector<std::uint8_t>& cells, std::uint64_t offset) {
        integer loaded;
        std::memcpy(&loaded, cells.data() + offset, sizeof loaded);
        return loaded;
    }

    // Bytes that are to be at an offset; those from `lag_begin` to `lag_end` may be others, as they are not logged.
    struct piece {
        std::uint64_t offset = 0;
        uni::byte_view data = {};
        std::uint64_t lag_begin = 0;
        std::uint64_t lag_end = 0;
    };
    using piece_list = std::array<piece, 4>;

    bool learn(const record_step& step, const operation_side& there, const operation_side& other);
    void carry_out(const record_step& step, const operation_side& done, const operation_side& was);
    bool change(const record_step& step, const operation_side& done, const operation_side& was);
    std::size_t pieces_of(const record_step& step, const operation_side& there, piece_list& out) const;
    bool holds(const piece& one) const;
    bool may_target(std::uint32_t attribute, std::uint16_t operation) const;
    bool is_there(const piece& one) const;
    bool agrees(const record_step& step, const operation_side& there, const operation_side& other) const;
    void write(const record_step& step, const operation_side& there, const operation_side& other);
    void learn_first_vcn(const record_step& step, const operation_side& there);
    std::optional<std::uint32_t> data_offset(const record_step& step, std::uint16_t operation) const;

    bool contradicts(const replayed_record& other) const;
    bool attribute_may_begin(std::uint32_t offset) const;
    bool may_lag(std::uint32_t attribute, std::uint32_t offset) const;
    void put(std::uint64_t offset, uni::byte_view data, std::uint8_t known = by_log);
    template <class integer>
    void set(uni::field<integer> f, std::uint32_t base, integer value);
    void unknow(std::uint64_t begin, std::uint64_t end);
    bool shift(std::uint32_t from, std::int64_t by);
    bool resize_attribute(std::uint32_t attribute, std::uint64_t old_length, std::uint64_t new_length);
    bool resize_index_entry(const record_step& step, std::int64_t by);
    std::uint64_t run_list_end(std::uint32_t attribute) const;
    void set_highest_vcn(std::uint32_t attribute);
    std::uint32_t next_id(std::uint32_t kind);
    void begin_attribute(std::uint32_t offset, std::uint32_t kind);
    void walk_attributes(std::uint32_t offset, std::uint32_t kind);
    void count_links(uni::byte_view attribute, int by);
    void count_identifier(std::uint16_t used);
    void take_header(uni::byte_view image);

    uni::byte_view known() const { return std::span<const std::uint8_t>(m_known); }
    std::vector<attribute_start>::const_iterator first_from(std::uint32_t offset) const {
        return std::ranges::lower_bound(m_attributes, offset, {}, &attribute_start::offset);
    }
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_bytes.size()); }

    std::vector<std::uint8_t> m_bytes;
    std::vector<std::uint8_t> m_known;          // of each byte: 0, or what it is known by
    std::vector<attribute_start> m_attributes;  // by offset
    std::optional<bool> m_in_use;               // may be known where the other flags are not
    bool m_blank = true;                        // nothing is known
    std::uint32_t m_generation = 0;
    std::uint32_t m_last_id = 0;
};

}  // namespace kest
