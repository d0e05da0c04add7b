#include "support/volume.h"

#include <tuple>

namespace kest::disk {
namespace {

constexpr std::uint64_t mft_lcn = 4096;       // first cluster of the MFT
constexpr std::uint64_t journal_lcn = 12288;  // and of the journal

}  // namespace

volume::volume(const volume_settings& settings)
    : m_now(settings.begin),
      m_first_usn(settings.first_usn),
      m_log(settings.log_size, settings.log_round, settings.log_first_page) {
    constexpr const char16_t* system_files[] = {u"$MFT",     u"$MFTMirr", u"$LogFile", u"$Volume",
                                                u"$AttrDef", u".",        u"$Bitmap",  u"$Boot",
                                                u"$BadClus", u"$Secure",  u"$UpCase",  u"$Extend"};
    std::uint32_t number = 0;
    for (const char16_t* name : system_files) {
        place(number, 5, name, number == 5 || number == 11).sequence = static_cast<std::uint16_t>(number ? number : 1);
        ++number;
    }
    for (volume_file* f : {&at(5), &at(9), &at(11)}) {
        f->large_index = true;
    }
    for (auto& [n, f] : m_files) {
        f.names.front().parent = at(5).reference();
    }
    at(0).runs = {{mft_lcn, 64}};
    at(0).size = 64 * 4096;
    at(2).runs = {{2048, settings.log_size / 4096}};
    at(2).size = settings.log_size;
    bytes volume_information(12);
    volume_information[8] = 3;
    volume_information[9] = 1;
    at(3).further[0x60] = resident_attribute(0x60, 4, {'W', 0, 'O', 0, 'R', 0, 'K', 0});
    at(3).further[0x70] = resident_attribute(0x70, 5, volume_information);
    number = 24;
    for (const char16_t* name : {u"$Quota", u"$ObjId", u"$Reparse", u"$UsnJrnl"}) {
        place(number++, 11, name, false);
    }
}

volume_file& volume::place(std::uint32_t number, std::uint32_t parent, std::u16string name, bool directory) {
    volume_file& f = m_files[number];
    f.number = number;
    f.directory = directory;
    f.attributes = attribute_bits::system | attribute_bits::hidden | (directory ? attribute_bits::directory : 0);
    f.times = f.name_times = {m_now, m_now, m_now, m_now};
    f.names = {{parent == number ? f.reference() : m_files[parent].reference(), std::move(name), 3}};
    return f;
}

// What fits of a directory's entries stands in its record.
bytes volume::entries_of(const volume_file& f) const {
    bytes entries;
    for (const std::uint32_t child : f.children) {
        const volume_file& c = m_files.at(child);
        for (const file_name& name : c.names) {
            const bytes entry = index_entry(c, name);
            if ((name.parent & 0xFFFFFFFF) == f.number && entries.size() + entry.size() < 560) append(entries, entry);
        }
    }
    return entries;
}

bytes volume::file_record(const volume_file& f) const {
    return open_record(f, entries_of(f));
}

volume::transaction volume::begin() {
    m_now += 31250 + m_transactions % 7 * 1009;  // no two at the same time
    return {0x18 + 0x28 * (m_transactions++ % 16), 0};
}

std::uint64_t volume::log(transaction& t, record r) {
    r.previous = t.last;
    r.undo_next = t.last;
    r.transaction = t.id;
    t.last = m_log.add(std::move(r));
    return t.last;
}

record volume::change(operations ops, std::uint16_t target, bytes redo, bytes undo) {
    return {.redo_op = ops.redo,
            .undo_op = ops.undo,
            .target_attribute = target,
            .lcns_to_follow = 1,
            .redo = std::move(redo),
            .undo = std::move(undo)};
}

// A change to a file's record, four of which share a cluster. `type` is the attribute it is about, 0 for the record.
void volume::log_file(transaction& t, volume_file& f, operations ops, std::uint32_t type, std::uint16_t offset,
                      bytes redo, bytes undo) {
    record r = change(ops, 0x18, std::move(redo), std::move(undo));  // $MFT:$DATA
    if (type != 0) r.record_offset = attribute_place(file_record(f), type);
    r.attribute_offset = offset;
    r.cluster_block = static_cast<std::uint16_t>(f.number % 4 * 2);
    r.block_size = 2;
    r.vcn = f.number / 4;
    r.lcn = mft_lcn + r.vcn;
    f.lsn = log(t, std::move(r));
}

// A change in clusters of an attribute.
void volume::log_clusters(transaction& t, operations ops, std::uint16_t target, std::uint64_t vcn, std::uint64_t lcn,
                          std::uint16_t offset, bytes redo, bytes undo) {
    record r = change(ops, target, std::move(redo), std::move(undo));
    r.attribute_offset = offset;
    r.block_size = 8;
    r.vcn = vcn;
    r.lcn = lcn;
    log(t, std::move(r));
}

// The system names an attribute in the log when it touches it first.
std::uint16_t volume::open_attribute(const volume_file& f, std::uint32_t type, std::u16string_view name) {
    const auto [found, fresh] = m_open.try_emplace({f.number, type}, m_next_open);
    if (!fresh) return found->second;
    m_next_open = static_cast<std::uint16_t>(m_next_open >= 0x4000 ? 0x18 : m_next_open + 0x28);
    bytes entry(40);
    put<std::uint32_t>(entry, 0, 0xFFFFFFFF);
    put<std::uint32_t>(entry, 4, type);
    put<std::uint64_t>(entry, 16, f.reference());
    put<std::uint64_t>(entry, 24, m_last_checkpoint);
    m_log.add({.transaction = 0x18,
               .redo_op = 28,
               .target_attribute = found->second,
               .redo = entry,
               .undo = text_bytes(name)});
    return found->second;
}

// A change to a directory's entries, in its record or in its clusters; the operations in clusters are numbered two
// above those in the record, the copies of names one above.
void volume::log_index(transaction& t, volume_file& directory, std::uint16_t root_op, std::uint16_t root_undo,
                       bytes redo, bytes undo) {
    if (!directory.large_index) {
        return log_file(t, directory, {root_op, root_undo}, attribute_type::index_root, 64, redo, undo);
    }
    const auto above = [](std::uint16_t op) { return static_cast<std::uint16_t>(op + (op == 19 ? 1 : 2)); };
    const std::uint16_t target = open_attribute(directory, attribute_type::index_allocation, u"$I30");
    const auto place = static_cast<std::uint16_t>(64 + m_transactions % 30 * 104);
    log_clusters(t, {above(root_op), above(root_undo)}, target, 0, index_lcn(directory), place, std::move(redo),
                 std::move(undo));
}

// Bits of the volume's clusters ($Bitmap) or of file records ($MFT:$BITMAP), set by operation 21, cleared by 22.
void volume::log_bits(transaction& t, std::uint16_t op, bool clusters, std::uint64_t first, std::uint64_t count) {
    bytes range(8);
    put<std::uint32_t>(range, 0, static_cast<std::uint32_t>(first));
    put<std::uint32_t>(range, 4, static_cast<std::uint32_t>(count));
    const std::uint16_t target =
        clusters ? open_attribute(at(6), attribute_type::data, {}) : open_attribute(at(0), attribute_type::bitmap, {});
    const std::uint64_t lcn = clusters ? 3000 : 4095;
    log_clusters(t, {op, static_cast<std::uint16_t>(op == 21 ? 22 : 21)}, target, 0, lcn, 0, range, range);
}

// A journal record never crosses a page of the journal; where it would, the journal is made longer first.
void volume::log_journal(transaction& t, volume_file& f, const file_name& name, std::uint32_t reason) {
    const std::size_t size = padded(60 + 2 * name.name.size());
    if (m_journal.size() % 4096 + size > 4096 || m_journal.empty()) {
        m_journal.resize((m_journal.size() + 4095) / 4096 * 4096);
        volume_file& journal = at(27);
        journal.size = m_journal.size() + 4096;
        journal.runs = {{journal_lcn, journal.size / 4096}};
        bytes sizes = number_bytes(journal.size);
        append(sizes, number_bytes(journal.size));
        append(sizes, number_bytes(journal.size));
        log_file(t, journal, {11, 11}, attribute_type::data, 40, sizes, bytes(24));
    }
    f.usn = m_first_usn + m_journal.size();
    const bytes image = journal_record{.file = f.reference(),
                                       .parent = name.parent,
                                       .usn = f.usn,
                                       .time = m_now,
                                       .reason = reason,
                                       .attributes = f.attributes,
                                       .name = name.name}
                            .image();
    const auto place = static_cast<std::uint16_t>(m_journal.size() % 4096);
    log_clusters(t, {8, 0}, open_attribute(at(27), attribute_type::data, u"$J"), f.usn / 4096,
                 journal_lcn + m_journal.size() / 4096, place, image, {});
    append(m_journal, image);
}

// $STANDARD_INFORMATION from its second time on.
void volume::log_times(transaction& t, volume_file& f) {
    const bytes value = standard_information_value(f);
    log_file(t, f, {7, 7}, attribute_type::standard_information, 32, part(value, 8), bytes(64));
}

// The copy of times and sizes that the directory keeps.
void volume::log_name_copy(transaction& t, volume_file& f) {
    f.name_times.modified = f.times.modified;
    volume_file& parent = at(static_cast<std::uint32_t>(f.names.front().parent));
    log_index(t, parent, 19, 19, duplicated_information(f, f.times), bytes(56));
}

void volume::commit(transaction& t) {
    log(t, {.redo_op = 27, .undo_op = 1});
}

void volume::close(volume_file& f, std::uint32_t reason) {
    transaction t = begin();
    log_journal(t, f, f.names.front(), reason | reasons::closed);
    log_times(t, f);
    commit(t);
}

void volume::index(transaction& t, volume_file& f, const file_name& name) {
    volume_file& parent = at(static_cast<std::uint32_t>(name.parent));
    log_index(t, parent, 12, 13, index_entry(f, name), {});
    if (!parent.large_index) parent.children.push_back(f.number);
}

void volume::unindex(transaction& t, volume_file& f, const file_name& name) {
    volume_file& parent = at(static_cast<std::uint32_t>(name.parent));
    log_index(t, parent, 13, 12, {}, index_entry(f, name));
    std::erase(parent.children, f.number);
}

std::uint32_t volume::make(std::uint32_t parent, std::u16string name, std::uint32_t attributes, bool large_index) {
    const std::uint32_t number = m_free.empty() ? m_next_number++ : m_free.extract(m_free.begin()).value();
    volume_file& f = m_files[number];
    const std::uint16_t sequence = f.sequence;  // raised when the record was given back
    f = {.number = number,
         .sequence = sequence,
         .directory = (attributes & attribute_bits::directory) != 0,
         .large_index = large_index,
         .attributes = attributes};
    transaction t = begin();
    f.times = f.name_times = {m_now, m_now, m_now, m_now};
    f.names = {{at(parent).reference(), std::move(name)}};
    log_bits(t, 21, false, number, 1);
    log_file(t, f, {2, 0}, 0, 0, file_record(f), {});
    index(t, f, f.names.front());
    log_journal(t, f, f.names.front(), reasons::created);
    log_file(t, f, {7, 7}, attribute_type::standard_information, 88, number_bytes(f.usn), bytes(8));
    commit(t);
    close(f, reasons::created);
    return number;
}

std::uint32_t volume::create(std::uint32_t parent, std::u16string name, std::uint32_t attributes) {
    return make(parent, std::move(name), attributes, false);
}

std::uint32_t volume::create_directory(std::uint32_t parent, std::u16string name, bool large_index) {
    return make(parent, std::move(name), attribute_bits::directory, large_index);
}

void volume::resize(std::uint32_t file, std::uint64_t size) {
    volume_file& f = at(file);
    const std::uint32_t reason = size < f.size ? reasons::truncated : reasons::extended;
    const std::uint64_t wanted = size > 600 || !f.runs.empty() ? (size + 4095) / 4096 : 0;
    const std::uint64_t held = f.runs.empty() ? 0 : allocated_size(f) / 4096;
    const bytes before = data_attribute(f);
    transaction t = begin();
    f.size = size;
    f.times.modified = f.times.changed = m_now;
    if (wanted > held) {
        f.runs.push_back({m_next_cluster, wanted - held});
        log_bits(t, 21, true, m_next_cluster, wanted - held);
        m_next_cluster += wanted - held + 3;  // the gap makes the next growth a run of its own
    }
    const bytes after = data_attribute(f);
    if (f.runs.empty()) {  // a resident value grows in its record
        log_file(t, f, {7, 7}, attribute_type::data, 24, part(after, 24), part(before, 24));
    } else if (held == 0) {  // and moves out
        log_file(t, f, {6, 5}, attribute_type::data, 0, {}, before);
        log_file(t, f, {5, 6}, attribute_type::data, 0, after, {});
    } else if (wanted > held) {
        log_file(t, f, {9, 9}, attribute_type::data, 64, part(after, 64), part(before, 64));
    }
    if (!f.runs.empty()) {
        log_file(t, f, {11, 11}, attribute_type::data, 40, part(after, 40, 64),
                 before[8] != 0 ? part(before, 40, 64) : bytes(24));
    }
    log_name_copy(t, f);
    log_journal(t, f, f.names.front(), reason);
    commit(t);
    close(f, reason);
}

void volume::overwrite(std::uint32_t file) {
    volume_file& f = at(file);
    transaction t = begin();
    f.times.modified = f.times.changed = m_now;
    log_journal(t, f, f.names.front(), reasons::overwritten);
    log_times(t, f);
    log_name_copy(t, f);
    commit(t);
}

void volume::rename(std::uint32_t file, std::uint32_t parent, std::u16string name) {
    volume_file& f = at(file);
    const file_name before = f.names.front();
    const file_name after{at(parent).reference(), std::move(name)};
    transaction t = begin();
    f.times.changed = m_now;
    log_journal(t, f, before, reasons::old_name);
    unindex(t, f, before);
    log_file(t, f, {6, 5}, attribute_type::file_name, 0, {}, file_name_attribute(f, before));
    f.names.front() = after;
    log_file(t, f, {5, 6}, attribute_type::file_name, 0, file_name_attribute(f, after), {});
    index(t, f, after);
    log_journal(t, f, after, reasons::new_name);
    log_times(t, f);
    commit(t);
    close(f, reasons::new_name);
}

void volume::link(std::uint32_t file, std::uint32_t parent, std::u16string name) {
    volume_file& f = at(file);
    transaction t = begin();
    f.names.push_back({at(parent).reference(), std::move(name)});
    log_file(t, f, {5, 6}, attribute_type::file_name, 0, file_name_attribute(f, f.names.back()), {});
    index(t, f, f.names.back());
    log_journal(t, f, f.names.back(), reasons::hard_link);
    commit(t);
    close(f, reasons::hard_link);
}

void volume::set_information(std::uint32_t file, const file_times& times, std::uint32_t attributes) {
    volume_file& f = at(file);
    transaction t = begin();
    const bytes before = standard_information_value(f);
    f.times = times;
    f.times.changed = m_now;
    f.attributes = attributes;
    const bytes after = standard_information_value(f);
    log_file(t, f, {7, 7}, attribute_type::standard_information, 24, part(after, 0, 48), part(before, 0, 48));
    log_name_copy(t, f);
    log_journal(t, f, f.names.front(), reasons::basic_info);
    commit(t);
    close(f, reasons::basic_info);
}

void volume::add_stream(std::uint32_t file, std::u16string_view name, const bytes& content) {
    volume_file& f = at(file);
    transaction t = begin();
    const bytes attribute = resident_attribute(attribute_type::data, 7, content, name);
    log_file(t, f, {5, 6}, attribute_type::data, 0, attribute, {});
    append(f.further[attribute_type::data], attribute);
    log_journal(t, f, f.names.front(), reasons::stream | reasons::stream_extended);
    commit(t);
    close(f, reasons::stream | reasons::stream_extended);
}

void volume::add_attribute(std::uint32_t file, std::uint32_t type, const bytes& value, std::uint32_t reason) {
    volume_file& f = at(file);
    transaction t = begin();
    f.further[type] = resident_attribute(type, 7, value);
    log_file(t, f, {5, 6}, type, 0, f.further[type], {});
    if (type == attribute_type::reparse_point) {  // the index of all reparse points: the tag and the file
        f.attributes |= attribute_bits::reparse;
        bytes entry(32);
        put<std::uint16_t>(entry, 8, 32);
        put<std::uint16_t>(entry, 10, 12);
        lay(entry, 16, part(value, 0, 4));
        put<std::uint64_t>(entry, 20, f.reference());
        log_index(t, at(26), 12, 13, entry, {});
    }
    log_journal(t, f, f.names.front(), reason);
    commit(t);
    close(f, reason);
}

// A descriptor is found by its hash ($SDH) and by its id ($SII); both entries repeat where it lies in $SDS.
void volume::secure(std::uint32_t file) {
    volume_file& f = at(file);
    const std::uint32_t id = 0x200 + file;
    bytes place(24);
    put<std::uint32_t>(place, 0, id * 0x9E3779B9);  // hash
    put<std::uint32_t>(place, 4, id);
    put<std::uint64_t>(place, 8, 0x40000 + id * std::uint64_t{0x80});
    put<std::uint32_t>(place, 16, 0x78);
    const auto entry = [&](std::size_t key_begin, std::uint16_t key_length) {
        bytes out(16);
        put<std::uint16_t>(out, 8, static_cast<std::uint16_t>(padded(16 + key_length + 20)));
        put<std::uint16_t>(out, 10, key_length);
        lay(out, 16, part(place, key_begin, 8));
        lay(out, out.size(), place);
        out.resize(padded(16 + key_length + 20));
        return out;
    };
    transaction t = begin();
    log_index(t, at(9), 12, 13, entry(0, 8), {});
    log_index(t, at(9), 12, 13, entry(4, 4), {});
    bytes number(4);
    put<std::uint32_t>(number, 0, id);
    log_file(t, f, {7, 7}, attribute_type::standard_information, 76, number, bytes(4));
    log_file(t, at(24), {33, 33}, attribute_type::index_root, 96, number_bytes(f.size), bytes(8));
    log_journal(t, f, f.names.front(), reasons::security);
    commit(t);
    close(f, reasons::security);
}

void volume::move_index_out(std::uint32_t directory) {
    volume_file& f = at(directory);
    bytes entries = entries_of(f);
    append(entries, index_end_entry());
    transaction t = begin();
    log_file(t, f, {37, 37}, 0, 0, bytes(24), {});
    log_bits(t, 21, true, index_lcn(f), 1);
    f.large_index = true;
    f.children.clear();
    const bytes record = file_record(f);
    const std::size_t begin = attribute_place(record, attribute_type::index_allocation),
                      end = attribute_place(record, attribute_type::bitmap);
    log_file(t, f, {5, 6}, attribute_type::index_allocation, 0, part(record, begin, end), {});
    log_file(t, f, {5, 6}, attribute_type::bitmap, 0, part(record, end, record.size() - 8), {});
    log_file(t, f, {4, 4}, 0xFFFFFFFF, 0, part(record, record.size() - 8), {});
    log_file(t, f, {17, 17}, attribute_type::index_root, 64, number_bytes(0), bytes(8));
    const std::uint16_t target = open_attribute(f, attribute_type::index_allocation, u"$I30");
    log_clusters(t, {16, 16}, target, 0, index_lcn(f), 64, entries, bytes(8));
    log_clusters(t, {18, 18}, target, 0, index_lcn(f), 64, number_bytes(1), bytes(8));
    commit(t);
}

// The file's own record then begins with a list of where its attributes are.
void volume::spill_link(std::uint32_t file, std::uint32_t parent, std::u16string name) {
    volume_file& f = at(file);
    volume_file& extension = m_files[m_next_number];
    extension = {.number = m_next_number++, .base = f.reference()};
    f.names.push_back({at(parent).reference(), std::move(name)});
    extension.further[attribute_type::file_name] = file_name_attribute(f, f.names.back());
    bytes list;
    for (const auto& [type, id, owner] : {std::tuple{attribute_type::standard_information, 0, &f},
                                          {attribute_type::file_name, 2, &f},
                                          {attribute_type::file_name, 2, &extension},
                                          {attribute_type::data, 3, &f}}) {
        bytes entry(32);
        put<std::uint32_t>(entry, 0, type);
        put<std::uint16_t>(entry, 4, 32);
        entry[7] = 26;
        put<std::uint64_t>(entry, 16, owner->reference());
        put<std::uint16_t>(entry, 24, static_cast<std::uint16_t>(id));
        append(list, entry);
    }
    f.further[attribute_type::attribute_list] = resident_attribute(attribute_type::attribute_list, 8, list);
    transaction t = begin();
    log_bits(t, 21, false, extension.number, 1);
    log_file(t, extension, {2, 0}, 0, 0, file_record(extension), {});
    log_file(t, f, {5, 6}, attribute_type::attribute_list, 0, f.further[attribute_type::attribute_list], {});
    index(t, f, f.names.back());
    log_journal(t, f, f.names.back(), reasons::hard_link);
    commit(t);
    f.names.pop_back();  // it stands in the other record
    close(f, reasons::hard_link);
}

void volume::remove(std::uint32_t file) {
    volume_file& f = at(file);
    transaction t = begin();
    log_journal(t, f, f.names.front(), reasons::deleted | reasons::closed);
    for (const file_name& name : f.names) {
        unindex(t, f, name);
    }
    for (const run& r : f.runs) {
        log_bits(t, 22, true, r.lcn, r.clusters);
        bytes range = number_bytes(r.lcn);
        append(range, number_bytes(r.clusters));
        log(t, {.redo_op = 10, .redo = range});
    }
    const bytes record = file_record(f);
    f.in_use = false;
    log_file(t, f, {3, 2}, 0, 0, {}, part(record, 0, 24));
    ++f.sequence;
    log_bits(t, 22, false, file, 1);
    commit(t);
    m_free.insert(file);
}

void volume::remove_on_hold(std::uint32_t file) {
    volume_file& f = at(file);
    const bytes entry = index_entry(f, f.names.front());
    volume_file& parent = at(static_cast<std::uint32_t>(f.names.front().parent));
    transaction t = begin();
    log_index(t, parent, 13, 12, {}, entry);
    log(t, {.redo_op = 25});
    log(t, {.redo_op = static_cast<std::uint16_t>(parent.large_index ? 14 : 12), .undo_op = 1, .redo = entry});
    log(t, {.redo_op = 24, .undo_op = 1});
    log(t, {.redo_op = 26, .undo_op = 1, .redo = number_bytes(t.last)});
    commit(t);
}

// The tables that the system would begin to replay from, and the client's own restart record, whose 64 bytes are
// no operation: they lie where a record has its client header.
void volume::checkpoint() {
    const auto table = [](std::uint16_t entry_size, const bytes& entries) {
        bytes out(24);
        put<std::uint16_t>(out, 0, entry_size);
        put<std::uint16_t>(out, 2, static_cast<std::uint16_t>(entries.size() / entry_size));
        append(out, entries);
        return out;
    };
    bytes open, names;
    for (const auto& [attribute, place] : m_open) {
        bytes entry(40);
        put<std::uint32_t>(entry, 0, 0xFFFFFFFF);
        put<std::uint32_t>(entry, 4, attribute.second);
        put<std::uint64_t>(entry, 16, m_files.at(attribute.first).reference());
        append(open, entry);
        if (attribute.second == attribute_type::index_allocation) append(names, tail_name(place | 8u << 16, "$I30"));
        if (open.size() > 4000) break;
    }
    const std::uint64_t open_lsn = m_log.add({.redo_op = 29, .redo = table(40, open)});
    const std::uint64_t names_lsn = m_log.add({.redo_op = 30, .redo = names});
    const std::uint64_t pages_lsn = m_log.add({.redo_op = 31, .redo = table(40, bytes(40))});
    const std::uint64_t transactions_lsn = m_log.add({.redo_op = 32, .redo = table(40, bytes(40))});
    const auto word = [](std::uint64_t value, int i) { return static_cast<std::uint16_t>(value >> 16 * i); };
    bytes rest = number_bytes(transactions_lsn);
    append(rest, bytes(16));
    m_log.add({.type = 2,
               .redo_op = 1,  // the version
               .redo_offset = 0,
               .redo_length = 0,
               .undo_offset = word(open_lsn, 0),
               .undo_length = word(open_lsn, 1),
               .target_attribute = word(open_lsn, 2),
               .lcns_to_follow = word(open_lsn, 3),
               .record_offset = word(open_lsn, 0),
               .attribute_offset = word(open_lsn, 1),
               .cluster_block = word(open_lsn, 2),
               .block_size = word(open_lsn, 3),
               .vcn = names_lsn,
               .lcn = pages_lsn,
               .redo = rest});
    m_last_checkpoint = open_lsn;
}

bytes volume::log_image() {
    bytes names;
    for (const auto& [attribute, place] : m_open) {
        if (attribute.second == attribute_type::index_allocation && names.size() < 200) {
            append(names, tail_name(place | 8u << 16, "$I30"));
        }
    }
    return m_log.image(names);
}

bytes volume::mft_image() const {
    const std::uint32_t count = (m_next_number + 63) / 64 * 64;  // the MFT grows by 64 records
    bytes out;
    for (std::uint32_t number = 0; number < count; ++number) {
        const auto found = m_files.find(number);
        append(out, found == m_files.end() ? file_record_image({.number = number, .in_use = false})
                                           : file_record_image(found->second, entries_of(found->second)));
    }
    return out;
}

}  // namespace kest::disk
