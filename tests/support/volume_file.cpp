#include "support/volume_file.h"

#include <bit>

namespace kest::disk {
namespace {

void put_times(bytes& out, std::size_t offset, const file_times& times) {
    put<std::uint64_t>(out, offset, times.created);
    put<std::uint64_t>(out, offset + 8, times.modified);
    put<std::uint64_t>(out, offset + 16, times.changed);
    put<std::uint64_t>(out, offset + 24, times.accessed);
}

}  // namespace

bytes part(const bytes& whole, std::size_t begin, std::size_t end) {
    return {whole.begin() + static_cast<std::ptrdiff_t>(begin),
            whole.begin() + static_cast<std::ptrdiff_t>(std::min(end, whole.size()))};
}

void append(bytes& out, const bytes& part) {
    lay(out, out.size(), part);
}

bytes text_bytes(std::u16string_view text) {
    bytes out(2 * text.size());
    if (!text.empty()) std::memcpy(out.data(), text.data(), out.size());
    return out;
}

bytes number_bytes(std::uint64_t value) {
    bytes out(8);
    put<std::uint64_t>(out, 0, value);
    return out;
}

bytes standard_information_value(const volume_file& f) {
    bytes out(72);
    put_times(out, 0, f.times);
    put<std::uint32_t>(out, 32, f.attributes & 0xFFFF);
    put<std::uint32_t>(out, 52, 0x100 + f.number % 7);  // security id
    put<std::uint64_t>(out, 64, f.usn);
    return out;
}

std::uint64_t allocated_size(const volume_file& f) {
    std::uint64_t clusters = 0;
    for (const run& r : f.runs) {
        clusters += r.clusters;
    }
    return f.runs.empty() ? padded(f.size) : clusters * 4096;
}

// What a name repeats of the file: times, sizes, attribute bits.
bytes duplicated_information(const volume_file& f, const file_times& times) {
    bytes out(56);
    put_times(out, 0, times);
    put<std::uint64_t>(out, 32, allocated_size(f));
    put<std::uint64_t>(out, 40, f.size);
    put<std::uint32_t>(out, 48, f.attributes);
    return out;
}

namespace {

bytes file_name_value(const volume_file& f, const file_name& name) {
    bytes out(66);
    put<std::uint64_t>(out, 0, name.parent);
    lay(out, 8, duplicated_information(f, f.name_times));
    out[64] = static_cast<std::uint8_t>(name.name.size());
    out[65] = name.space;
    lay(out, 66, text_bytes(name.name));
    return out;
}

}  // namespace

bytes file_name_attribute(const volume_file& f, const file_name& name) {
    bytes out = resident_attribute(attribute_type::file_name, 2, file_name_value(f, name));
    out[22] = 1;  // indexed
    return out;
}

bytes data_attribute(const volume_file& f) {
    if (!f.runs.empty()) return nonresident_attribute(attribute_type::data, 3, f.runs, f.size);
    bytes content(f.size);
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<std::uint8_t>("The quick brown fox. "[(i + f.number) % 21]);
    }
    return resident_attribute(attribute_type::data, 3, content);
}

bytes index_end_entry() {
    bytes out(16);
    put<std::uint16_t>(out, 8, 16);
    put<std::uint16_t>(out, 12, 2);
    return out;
}

namespace {

bytes index_root_attribute(const volume_file& f, const bytes& entries) {
    bytes value(32);
    put<std::uint32_t>(value, 0, attribute_type::file_name);
    put<std::uint32_t>(value, 4, 1);
    put<std::uint32_t>(value, 8, 4096);
    value[12] = 1;
    append(value, entries);
    append(value, index_end_entry());
    put<std::uint32_t>(value, 16, 16);
    put<std::uint32_t>(value, 20, static_cast<std::uint32_t>(value.size() - 16));
    put<std::uint32_t>(value, 24, static_cast<std::uint32_t>(value.size() - 16));
    value[28] = f.large_index ? 1 : 0;
    return resident_attribute(attribute_type::index_root, 4, value, u"$I30");
}

}  // namespace

std::uint64_t index_lcn(const volume_file& directory) {
    return 8000 + directory.number % 4000;
}

// A file record up to its end marker, sectors not protected.
bytes open_record(const volume_file& f, const bytes& entries) {
    bytes out(56);
    std::memcpy(out.data(), "FILE", 4);
    put<std::uint16_t>(out, 4, 48);
    put<std::uint16_t>(out, 6, 3);
    put<std::uint64_t>(out, 8, f.lsn);
    put<std::uint16_t>(out, 16, f.sequence);
    put<std::uint16_t>(out, 18, static_cast<std::uint16_t>(f.names.size()));
    put<std::uint16_t>(out, 20, 56);
    put<std::uint16_t>(out, 22, static_cast<std::uint16_t>((f.in_use ? 1 : 0) | (f.directory ? 2 : 0)));
    put<std::uint32_t>(out, 28, 1024);
    put<std::uint64_t>(out, 32, f.base);
    put<std::uint16_t>(out, 40, 8);
    put<std::uint32_t>(out, 44, f.number);

    std::map<std::uint32_t, bytes> attributes = f.further;  // they stand in the order of their types
    if (!f.names.empty()) {
        attributes[attribute_type::standard_information] =
            resident_attribute(attribute_type::standard_information, 0, standard_information_value(f));
        bytes& names = attributes[attribute_type::file_name];
        for (const file_name& name : f.names) {
            append(names, file_name_attribute(f, name));
        }
        if (f.directory) {
            attributes[attribute_type::index_root] = index_root_attribute(f, entries);
            if (f.large_index) {
                attributes[attribute_type::index_allocation] =
                    nonresident_attribute(attribute_type::index_allocation, 5, {{index_lcn(f), 1}}, 4096, u"$I30");
                attributes[attribute_type::bitmap] =
                    resident_attribute(attribute_type::bitmap, 6, number_bytes(1), u"$I30");
            }
        } else {
            bytes whole = data_attribute(f);
            append(whole, attributes[attribute_type::data]);  // named streams stand behind the attribute_type::data
            attributes[attribute_type::data] = whole;
        }
    }
    for (const auto& [type, attribute] : attributes) {
        append(out, attribute);
    }
    append(out, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0});
    put<std::uint32_t>(out, 24, static_cast<std::uint32_t>(out.size()));
    return out;
}

// Where the first attribute of a type begins in a file record; its end if there is none.
std::uint16_t attribute_place(const bytes& record, std::uint32_t type) {
    std::size_t at = 56;
    for (std::uint32_t next = 0, length = 0; at + 8 <= record.size(); at += length) {
        std::memcpy(&next, record.data() + at, 4);
        std::memcpy(&length, record.data() + at + 4, 4);
        if (next >= type || length == 0) break;
    }
    return static_cast<std::uint16_t>(at);
}

std::uint64_t ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second) {
    using namespace std::chrono;
    const sys_days date = std::chrono::year{year} / month / day;
    const auto days = (date - sys_days{std::chrono::year{1601} / 1 / 1}).count();
    return ((static_cast<std::uint64_t>(days) * 24 + hour) * 3600 + minute * 60 + second) * 10000000;
}

bytes resident_attribute(std::uint32_t type, std::uint16_t id, const bytes& value, std::u16string_view name) {
    const std::size_t value_begin = padded(24 + 2 * name.size());
    bytes out(padded(value_begin + value.size()));
    put<std::uint32_t>(out, 0, type);
    put<std::uint32_t>(out, 4, static_cast<std::uint32_t>(out.size()));
    out[9] = static_cast<std::uint8_t>(name.size());
    put<std::uint16_t>(out, 10, 24);
    put<std::uint16_t>(out, 14, id);
    put<std::uint32_t>(out, 16, static_cast<std::uint32_t>(value.size()));
    put<std::uint16_t>(out, 20, static_cast<std::uint16_t>(value_begin));
    lay(out, 24, text_bytes(name));
    lay(out, value_begin, value);
    return out;
}

// Each run is a byte of widths, its length, and the step from the run before; 0 ends the list.
bytes mapping_pairs(const std::vector<run>& runs) {
    bytes out;
    std::uint64_t before = 0;
    for (const run& r : runs) {
        const std::uint64_t step = r.lcn - before;
        const bool backward = r.lcn < before;
        const auto length_width = static_cast<std::uint8_t>((std::bit_width(r.clusters) + 7) / 8);
        const auto step_width = static_cast<std::uint8_t>(std::bit_width(backward ? ~step : step) / 8 + 1);
        out.push_back(static_cast<std::uint8_t>(length_width | step_width << 4));
        for (int i = 0; i < length_width; ++i) {
            out.push_back(static_cast<std::uint8_t>(r.clusters >> 8 * i));
        }
        for (int i = 0; i < step_width; ++i) {
            out.push_back(static_cast<std::uint8_t>(step >> 8 * i));
        }
        before = r.lcn;
    }
    out.push_back(0);
    out.resize(padded(out.size()));
    return out;
}

bytes nonresident_attribute(std::uint32_t type, std::uint16_t id, const std::vector<run>& runs, std::uint64_t size,
                            std::u16string_view name) {
    std::uint64_t clusters = 0;
    for (const run& r : runs) {
        clusters += r.clusters;
    }
    const std::size_t pairs_begin = padded(64 + 2 * name.size());
    bytes out(pairs_begin);
    append(out, mapping_pairs(runs));
    put<std::uint32_t>(out, 0, type);
    put<std::uint32_t>(out, 4, static_cast<std::uint32_t>(out.size()));
    out[8] = 1;
    out[9] = static_cast<std::uint8_t>(name.size());
    put<std::uint16_t>(out, 10, 64);
    put<std::uint16_t>(out, 14, id);
    put<std::uint64_t>(out, 24, clusters - 1);
    put<std::uint16_t>(out, 32, static_cast<std::uint16_t>(pairs_begin));
    put<std::uint64_t>(out, 40, clusters * 4096);
    put<std::uint64_t>(out, 48, size);
    put<std::uint64_t>(out, 56, size);
    lay(out, 64, text_bytes(name));
    return out;
}

bytes journal_record::image() const {
    bytes out(padded(60 + 2 * name.size()));
    put<std::uint32_t>(out, 0, static_cast<std::uint32_t>(out.size()));
    put<std::uint16_t>(out, 4, 2);
    put<std::uint64_t>(out, 8, file);
    put<std::uint64_t>(out, 16, parent);
    put<std::uint64_t>(out, 24, usn);
    put<std::uint64_t>(out, 32, time);
    put<std::uint32_t>(out, 40, reason);
    put<std::uint32_t>(out, 52, attributes == attribute_bits::directory ? 0x10 : attributes & 0xFFFF);
    put<std::uint16_t>(out, 56, static_cast<std::uint16_t>(2 * name.size()));
    put<std::uint16_t>(out, 58, 60);
    lay(out, 60, text_bytes(name));
    return out;
}

bytes file_record_image(const volume_file& f, const bytes& entries) {
    bytes out = open_record(f, entries);
    out.resize(1024);
    protect_sectors(out, 48, static_cast<std::uint16_t>(3 + f.number % 5));
    return out;
}

bytes index_entry(const volume_file& f, const file_name& name) {
    const bytes key = file_name_value(f, name);
    bytes out(padded(16 + key.size()));
    put<std::uint64_t>(out, 0, f.reference());
    put<std::uint16_t>(out, 8, static_cast<std::uint16_t>(out.size()));
    put<std::uint16_t>(out, 10, static_cast<std::uint16_t>(key.size()));
    lay(out, 16, key);
    return out;
}

}  // namespace kest::disk
