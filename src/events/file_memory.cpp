#include "events/file_memory.h"

#include <algorithm>

#include "journal/usn_record.h"
#include "mft/record_view.h"

namespace kest {

void file_memory::remember(std::span<const told_fact> facts) {
    ++m_transaction;
    for (const told_fact& fact : facts) {
        if (!fact.undone) remember_fact(fact);
    }
}

void file_memory::remember_fact(const told_fact& fact) {
    if (fact.owner.sequence() != 0 && fact.kind != fact_kind::sizes_written && fact.kind != fact_kind::taken)
        touch(fact);
    switch (fact.kind) {
        case fact_kind::image:
            remember_image(fact);
            break;
        case fact_kind::attribute_added:
        case fact_kind::attribute_removed:
            remember_attribute(fact);
            break;
        case fact_kind::standard_written:
            if (fact.owner.sequence() != 0) standard_of(fact.owner).lay(fact.place, fact.data);
            break;
        case fact_kind::freed:
            attributes_of(fact.file.number()).clear();
            break;
        case fact_kind::journal_record:
            remember_journal(fact);
            break;
        default:
            break;
    }
}

void file_memory::touch(const told_fact& fact) {
    last_touch& touched = m_touches[fact.owner.value()];
    if (touched.transaction != m_transaction) touched = {m_transaction, false};
    if (!fact.is_birth()) return;
    touched.created = true;
    std::uint64_t& birth = m_births[fact.owner.value()];
    if (birth != 0) return;
    const uni::byte_view value = file_record_view(fact.data).standard_information();
    for (const auto& time : standard_information_layout::times)
        birth = std::max(birth, value.get(time));
}

void file_memory::remember_image(const told_fact& fact) {
    const file_record_view record(fact.data);
    if (!record.in_use()) return;
    std::vector<attribute_place>& attributes = attributes_of(fact.file.number());
    attributes.clear();
    record.for_each_attribute([&attributes](std::uint32_t offset, const attribute_view& attribute) {
        attributes.push_back({offset, {attribute.type(), attribute.name()}});
    });
    const uni::byte_view value = record.standard_information();
    if (value.empty() || record.base() != inode_ref{}) return;
    standard_values& known = standard_of(fact.owner);
    known = {};
    known.lay(0, value);
}

// What lies at the attribute's place or behind it moves.
void file_memory::remember_attribute(const told_fact& fact) {
    std::vector<attribute_place>& attributes = attributes_of(fact.file.number());
    while (!attributes.empty() && attributes.back().offset >= fact.place)
        attributes.pop_back();
    if (fact.kind == fact_kind::attribute_removed) return;
    const auto attribute = attribute_view::read(fact.data);
    attributes.push_back({fact.place, {attribute->type(), attribute->name()}});
    if (attribute->type() != attribute_type::standard_information || fact.owner.sequence() == 0) return;
    standard_values& known = standard_of(fact.owner);
    known = {};
    known.lay(0, attribute->value());
}

void file_memory::remember_journal(const told_fact& fact) {
    std::uint32_t& reasons = m_reasons[fact.owner.value()];
    reasons = read_usn_record(fact.data)->reasons_behind(reasons);
}

bool file_memory::just_created(inode_ref file) const {
    return value_or_zero(m_touches, file.value()).created;
}

const standard_values* file_memory::standard_information(inode_ref file) const {
    const std::uint32_t place = value_or_zero(m_standard_places, file.value());
    return place != 0 ? &m_standard[place - 1] : nullptr;
}

standard_values& file_memory::standard_of(inode_ref file) {
    std::uint32_t& place = m_standard_places[file.value()];
    if (place == 0) {
        m_standard.emplace_back();
        place = static_cast<std::uint32_t>(m_standard.size());
    }
    return m_standard[place - 1];
}

std::vector<file_memory::attribute_place>& file_memory::attributes_of(std::uint64_t record) {
    std::uint32_t& place = m_attribute_places[record];
    if (place == 0) {
        m_attributes.emplace_back();
        place = static_cast<std::uint32_t>(m_attributes.size());
    }
    return m_attributes[place - 1];
}

std::optional<attribute_key> file_memory::attribute_at(std::uint64_t record, std::uint32_t offset) const {
    const std::uint32_t place = value_or_zero(m_attribute_places, record);
    if (place == 0) return std::nullopt;
    const std::vector<attribute_place>& attributes = m_attributes[place - 1];
    const auto found = std::ranges::lower_bound(attributes, offset, {}, &attribute_place::offset);
    if (found == attributes.end() || found->offset != offset) return std::nullopt;
    return found->key;
}

}  // namespace kest
