#include "support/volume_file.h"

#include <bit>
#include <chrono>

namespace kest::disk {
namespace {

bytes packed(const file_times& t) {
    return pack(t.created, t.modified, t.changed, t.accessed);
}

u64 clusters_of(const std::vector<run>& runs) {
    u64 clusters = 0;
    for (const run& r : runs)
        clusters += r.clusters;
    return clusters;
}

// Each run is a byte of widths, its length, and the step from the run before; 0 ends the list.
bytes mapping_pairs(const std::vector<run>& runs) {
    bytes out;
    u64 before = 0;
    for (const run& r : runs) {
        const u64 step = r.lcn - before;
        const std::size_t length_width = (std::bit_width(r.clusters) + 7) / 8;
        const std::size_t step_width = std::bit_width(r.lcn < before ? ~step : step) / 8 + 1;
        append(out, {static_cast<u8>(length_width | step_width << 4)});
        append(out, part(pack(r.clusters), 0, length_width));
        append(out, part(pack(step), 0, step_width));
        before = r.lcn;
    }
    return pack(out, at{padded(out.size() + 1)});
}

bytes nonresident_attribute(u32 type, u16 id, const std::vector<run>& runs, u64 size, std::u16string_view name = {}) {
    const std::size_t pairs_begin = padded(64 + 2 * name.size());
    const bytes pairs = mapping_pairs(runs);
    const u64 clusters = clusters_of(runs);
    return pack(type, static_cast<u32>(pairs_begin + pairs.size()), u8{1}, static_cast<u8>(name.size()), u16{64},
                at{14}, id, at{24}, clusters - 1, static_cast<u16>(pairs_begin), at{40}, clusters * 4096, size, size,
                name, at{pairs_begin}, pairs);
}

bytes name_value(const volume_file& f, const file_name& name) {
    return pack(name.parent, f.duplicated_information(f.name_times), static_cast<u8>(name.name.size()), name.space,
                name.name);
}

bytes index_root_attribute(const volume_file& f, const bytes& entries) {
    const auto size = static_cast<u32>(32 + entries.size());
    return resident_attribute(attribute_type::index_root, 4,
                              pack(attribute_type::file_name, u32{1}, u32{4096}, u32{1}, u32{16}, size, size,
                                   u32{f.large_index}, entries, index_end_entry),
                              u"$I30");
}

}  // namespace

u64 ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second) {
    using namespace std::chrono;
    const auto days = (sys_days{std::chrono::year{year} / month / day} - sys_days{1601y / 1 / 1}).count();
    return ((static_cast<u64>(days) * 24 + hour) * 3600 + minute * 60 + second) * 10000000;
}

bytes resident_attribute(u32 type, u16 id, const bytes& value, std::u16string_view name) {
    const std::size_t value_begin = padded(24 + 2 * name.size());
    const std::size_t length = padded(value_begin + value.size());
    return pack(type, static_cast<u32>(length), u8{0}, static_cast<u8>(name.size()), u16{24}, u16{0}, id,
                static_cast<u32>(value.size()), static_cast<u16>(value_begin), at{24}, name, at{value_begin}, value,
                at{length});
}

u16 attribute_place(const bytes& record, u32 type) {
    std::size_t place = 56;
    for (u32 next = 0, length = 0; place + 8 <= record.size(); place += length) {
        std::memcpy(&next, record.data() + place, 4);
        std::memcpy(&length, record.data() + place + 4, 4);
        if (next >= type || length == 0) break;
    }
    return static_cast<u16>(place);
}

u64 volume_file::allocated_size() const {
    return runs.empty() ? padded(size) : clusters_of(runs) * 4096;
}

bytes volume_file::standard_information() const {
    const u32 security_id = 0x100 + number % 7;
    return pack(packed(times), attributes & 0xFFFF, at{52}, security_id, at{64}, usn);
}

bytes volume_file::duplicated_information(const file_times& t) const {
    return pack(packed(t), allocated_size(), size, attributes, u32{0});
}

bytes volume_file::name_attribute(const file_name& name) const {
    bytes out = resident_attribute(attribute_type::file_name, 2, name_value(*this, name));
    out[22] = 1;  // indexed
    return out;
}

bytes volume_file::data_attribute() const {
    if (!runs.empty()) return nonresident_attribute(attribute_type::data, 3, runs, size);
    bytes content(size);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<u8>("The quick brown fox. "[(i + number) % 21]);
    return resident_attribute(attribute_type::data, 3, content);
}

bytes volume_file::index_entry(const file_name& name) const {
    const bytes key = name_value(*this, name);
    const std::size_t length = padded(16 + key.size());
    return pack(reference(), static_cast<u16>(length), static_cast<u16>(key.size()), u32{0}, key, at{length});
}

bytes volume_file::open_record(const bytes& entries) const {
    std::map<u32, bytes> all = further;  // they stand in the order of their types
    if (!names.empty()) {
        all[attribute_type::standard_information] =
            resident_attribute(attribute_type::standard_information, 0, standard_information());
        for (const file_name& name : names)
            append(all[attribute_type::file_name], name_attribute(name));
        if (!directory) {
            all[attribute_type::data] = pack(data_attribute(), all[attribute_type::data]);  // named streams behind it
        } else {
            all[attribute_type::index_root] = index_root_attribute(*this, entries);
            if (large_index) {
                all[attribute_type::index_allocation] =
                    nonresident_attribute(attribute_type::index_allocation, 5, {{index_lcn(), 1}}, 4096, u"$I30");
                all[attribute_type::bitmap] = resident_attribute(attribute_type::bitmap, 6, pack(u64{1}), u"$I30");
            }
        }
    }
    bytes out = pack(u32{0x454C4946}, u16{48}, u16{3}, lsn, sequence, static_cast<u16>(names.size()), u16{56},
                     static_cast<u16>((in_use ? 1 : 0) | (directory ? 2 : 0)), at{28}, u32{1024}, base, u16{8}, at{44},
                     number, at{56});
    for (const auto& [type, attribute] : all)
        append(out, attribute);
    append(out, pack(u64{0xFFFFFFFF}));
    put(out, 24, static_cast<u32>(out.size()));
    return out;
}

bytes volume_file::image(const bytes& entries) const {
    bytes out = open_record(entries);
    out.resize(1024);
    protect_sectors(out, 48, static_cast<u16>(3 + number % 5));
    return out;
}

}  // namespace kest::disk
