#pragma once

// A small NTFS volume at work: what is done to its files leaves the log records, journal records and file records that
// the system leaves. Everything follows from the calls, so two runs give the same bytes.

#include <set>
#include <tuple>
#include <utility>

#include "file.h"
#include "log_writer.h"
#include "support/usn_image.h"

namespace kest::disk {

namespace reasons {
inline constexpr u32 overwritten = 0x1, extended = 0x2, truncated = 0x4, stream_extended = 0x20, created = 0x100,
                     deleted = 0x200, security = 0x800, old_name = 0x1000, new_name = 0x2000, basic_info = 0x8000,
                     hard_link = 0x10000, object_id = 0x80000, reparse = 0x100000, stream = 0x200000,
                     closed = 0x80000000;
}  // namespace reasons

struct volume_settings {
    u32 log_size = 64 * 1024;
    u32 log_first_page = 16384;
    u64 log_round = 1;
    u64 first_usn = 0;
    u64 begin = {};  // ticks
};

class volume {
public:
    // Formats: the system's own files stand in records 0 to 27, the root in record 5.
    explicit volume(const volume_settings& settings)
        : m_now(settings.begin),
          m_first_usn(settings.first_usn),
          m_log(settings.log_size, settings.log_round, settings.log_first_page) {
        u32 number = 0;
        for (const char16_t* name : {u"$MFT", u"$MFTMirr", u"$LogFile", u"$Volume", u"$AttrDef", u".", u"$Bitmap",
                                     u"$Boot", u"$BadClus", u"$Secure", u"$UpCase", u"$Extend"}) {
            place(number, 5, name, number == 5 || number == 11).sequence = static_cast<u16>(number ? number : 1);
            ++number;
        }
        for (const u32 large : {5u, 9u, 11u})
            at(large).large_index = true;
        for (auto& [n, f] : m_files)
            f.names.front().parent = at(5).reference();
        at(0).runs = {{mft_lcn, 64}};
        at(0).size = 64 * 4096;
        at(2).runs = {{2048, settings.log_size / 4096}};
        at(2).size = settings.log_size;
        at(3).further[0x60] = resident(0x60, pack(u"WORK"), {.id = 4});
        at(3).further[0x70] = resident(0x70, pack(u64{0}, u8{3}, u8{1}, u16{0}), {.id = 5});
        number = 24;
        for (const char16_t* name : {u"$Quota", u"$ObjId", u"$Reparse", u"$UsnJrnl"})
            place(number++, 11, name, false);
    }

    void wait(u64 milliseconds) { m_now += milliseconds * 10000; }
    void set_clock(u64 now) { m_now = now; }
    volume_file& at(u32 number) { return m_files.at(number); }
    u64 log_round() const { return m_log.round(); }
    const bytes& journal() const { return m_journal; }

    // Each is one transaction, or one and a second that closes the file. Files are known by their record number.

    u32 create(u32 parent, std::u16string name, u32 attributes = attribute_bits::archive, bool large_index = false) {
        const u32 number = m_free.empty() ? m_next_number++ : m_free.extract(m_free.begin()).value();
        volume_file& f = m_files[number];
        f = {.number = number,
             .sequence = f.sequence,  // raised when the record was given back
             .directory = (attributes & attribute_bits::directory) != 0,
             .large_index = large_index,
             .names = {{at(parent).reference(), std::move(name)}},
             .attributes = attributes};
        begin();
        f.times = f.name_times = {m_now, m_now, m_now, m_now};
        log_bits(21, false, number, 1);
        log_file(f, {2, 0}, 0, 0, open_record(f), {});
        index(f, f.names.front());
        log_journal(f, f.names.front(), reasons::created);
        log_file(f, {7, 7}, types::standard_information, 88, pack(f.usn), bytes(8));
        commit();
        close(f, reasons::created);
        return number;
    }

    u32 create_directory(u32 parent, std::u16string name, bool large_index = false) {
        return create(parent, std::move(name), attribute_bits::directory, large_index);
    }

    void resize(u32 file, u64 size) {
        volume_file& f = at(file);
        const u32 reason = size < f.size ? reasons::truncated : reasons::extended;
        const u64 wanted = size > 600 || !f.runs.empty() ? (size + 4095) / 4096 : 0;
        const u64 held = f.clusters();
        const bytes before = f.data_attribute();
        begin();
        f.size = size;
        f.times.modified = f.times.changed = m_now;
        if (wanted > held) {
            f.runs.push_back({m_next_cluster, wanted - held});
            log_bits(21, true, m_next_cluster, wanted - held);
            m_next_cluster += wanted - held + 3;  // the gap makes the next growth a run of its own
        }
        const bytes after = f.data_attribute();
        if (f.runs.empty()) {  // a resident value grows in its record
            log_file(f, {7, 7}, types::data, 24, part(after, 24), part(before, 24));
        } else if (held == 0) {  // and moves out
            log_file(f, {6, 5}, types::data, 0, {}, before);
            log_file(f, {5, 6}, types::data, 0, after, {});
        } else if (wanted > held) {
            log_file(f, {9, 9}, types::data, 64, part(after, 64), part(before, 64));
        }
        if (!f.runs.empty()) {
            log_file(f, {11, 11}, types::data, 40, part(after, 40, 64),
                     before[8] != 0 ? part(before, 40, 64) : bytes(24));
        }
        log_name_copy(f);
        commit_and_close(f, f.names.front(), reason);
    }

    void overwrite(u32 file) {
        volume_file& f = at(file);
        begin();
        f.times.modified = f.times.changed = m_now;
        log_journal(f, f.names.front(), reasons::overwritten);
        log_times(f);
        log_name_copy(f);
        commit();
    }

    void rename(u32 file, u32 parent, std::u16string name) {
        volume_file& f = at(file);
        const file_name before = f.names.front();
        const file_name after{at(parent).reference(), std::move(name)};
        begin();
        f.times.changed = m_now;
        log_journal(f, before, reasons::old_name);
        unindex(f, before);
        log_file(f, {6, 5}, types::file_name, 0, {}, f.name_attribute(before));
        f.names.front() = after;
        log_file(f, {5, 6}, types::file_name, 0, f.name_attribute(after), {});
        index(f, after);
        log_journal(f, after, reasons::new_name);
        log_times(f);
        commit();
        close(f, reasons::new_name);
    }

    void link(u32 file, u32 parent, std::u16string name) {
        volume_file& f = at(file);
        begin();
        f.names.push_back({at(parent).reference(), std::move(name)});
        log_file(f, {5, 6}, types::file_name, 0, f.name_attribute(f.names.back()), {});
        index(f, f.names.back());
        commit_and_close(f, f.names.back(), reasons::hard_link);
    }

    void set_information(u32 file, const file_times& times, u32 attributes) {
        volume_file& f = at(file);
        begin();
        const bytes before = f.standard_information();
        f.times = times;
        f.times.changed = m_now;
        f.attributes = attributes;
        log_file(f, {7, 7}, types::standard_information, 24, part(f.standard_information(), 0, 48),
                 part(before, 0, 48));
        log_name_copy(f);
        commit_and_close(f, f.names.front(), reasons::basic_info);
    }

    void add_stream(u32 file, std::u16string_view name, const bytes& content) {
        volume_file& f = at(file);
        begin();
        const bytes attribute = resident(types::data, content, {.name = name, .id = 7});
        log_file(f, {5, 6}, types::data, 0, attribute, {});
        append(f.further[types::data], attribute);
        commit_and_close(f, f.names.front(), reasons::stream | reasons::stream_extended);
    }

    void add_attribute(u32 file, u32 type, const bytes& value, u32 reason) {
        volume_file& f = at(file);
        begin();
        f.further[type] = resident(type, value, {.id = 7});
        log_file(f, {5, 6}, type, 0, f.further[type], {});
        if (type == types::reparse_point) {  // the index of all reparse points: the tag and the file
            f.attributes |= attribute_bits::reparse;
            const bytes tag = part(value, 0, 4);
            log_index(at(26), {12, 13}, pack(u64{0}, u16{32}, u16{12}, u32{0}, tag, f.reference(), u32{0}), {});
        }
        commit_and_close(f, f.names.front(), reason);
    }

    // A descriptor is found by its hash ($SDH) and by its id ($SII); both entries repeat where it lies in $SDS.
    void secure(u32 file) {
        volume_file& f = at(file);
        const u32 id = 0x200 + file;
        const bytes place = pack(id * 0x9E3779B9, id, 0x40000 + id * u64{0x80}, u32{0x78}, u32{0});  // the hash first
        const auto entry = [&](std::size_t key_begin, u16 key_length) {
            const auto length = static_cast<u16>(padded(36 + key_length));
            return part(pack(u64{0}, length, key_length, u32{0}, part(place, key_begin, 8), place), 0, length);
        };
        begin();
        log_index(at(9), {12, 13}, entry(0, 8), {});
        log_index(at(9), {12, 13}, entry(4, 4), {});
        log_file(f, {7, 7}, types::standard_information, 76, pack(id), bytes(4));
        log_file(at(24), {33, 33}, types::index_root, 96, pack(f.size), bytes(8));
        commit_and_close(f, f.names.front(), reasons::security);
    }

    void move_index_out(u32 directory) {
        volume_file& f = at(directory);
        const bytes entries = pack(entries_of(f), index_end_entry);
        begin();
        log_file(f, {37, 37}, 0, 0, bytes(24), {});
        log_bits(21, true, f.index_lcn(), 1);
        f.large_index = true;
        f.children.clear();
        const bytes record = open_record(f);
        const std::size_t begin = attribute_place(record, types::index_allocation),
                          end = attribute_place(record, types::bitmap);
        log_file(f, {5, 6}, types::index_allocation, 0, part(record, begin, end), {});
        log_file(f, {5, 6}, types::bitmap, 0, part(record, end, record.size() - 8), {});
        log_file(f, {4, 4}, 0xFFFFFFFF, 0, part(record, record.size() - 8), {});
        log_file(f, {17, 17}, types::index_root, 64, bytes(8), bytes(8));
        const u16 target = open_attribute(f, types::index_allocation, u"$I30");
        log_clusters({16, 16}, target, 0, f.index_lcn(), 64, entries, bytes(8));
        log_clusters({18, 18}, target, 0, f.index_lcn(), 64, pack(u64{1}), bytes(8));
        commit();
    }

    // The file's own record then begins with a list of where its attributes are.
    void spill_link(u32 file, u32 parent, std::u16string name) {
        volume_file& f = at(file);
        volume_file& extension = m_files[m_next_number];
        extension = {.number = m_next_number++, .base = f.reference()};
        const file_name link{at(parent).reference(), std::move(name)};
        f.names.push_back(link);
        extension.further[types::file_name] = f.name_attribute(link);
        bytes list;
        for (const auto& [type, id, owner] : {std::tuple{types::standard_information, u16{0}, &f},
                                              {types::file_name, u16{2}, &f},
                                              {types::file_name, u16{2}, &extension},
                                              {types::data, u16{3}, &f}}) {
            append(list, pack(type, u16{32}, u8{0}, u8{26}, u64{0}, owner->reference(), id, disk::at{32}));
        }
        f.further[types::attribute_list] = resident(types::attribute_list, list, {.id = 8});
        begin();
        log_bits(21, false, extension.number, 1);
        log_file(extension, {2, 0}, 0, 0, open_record(extension), {});
        log_file(f, {5, 6}, types::attribute_list, 0, f.further[types::attribute_list], {});
        index(f, link);
        log_journal(f, link, reasons::hard_link);
        commit();
        f.names.pop_back();  // it stands in the other record
        close(f, reasons::hard_link);
    }

    void remove(u32 file) {
        volume_file& f = at(file);
        begin();
        log_journal(f, f.names.front(), reasons::deleted | reasons::closed);
        for (const file_name& name : f.names)
            unindex(f, name);
        for (const run& r : f.runs) {
            log_bits(22, true, r.lcn, r.clusters);
            log({.redo_op = 10, .redo = pack(r.lcn, r.clusters)});
        }
        const bytes record = open_record(f);
        f.in_use = false;
        log_file(f, {3, 2}, 0, 0, {}, part(record, 0, 24));
        ++f.sequence;
        log_bits(22, false, file, 1);
        commit();
        m_free.insert(file);
    }

    void remove_on_hold(u32 file) {
        volume_file& f = at(file);
        const bytes entry = f.index_entry(f.names.front());
        volume_file& parent = parent_of(f.names.front());
        begin();
        log_index(parent, {13, 12}, {}, entry);
        log({.redo_op = 25});
        log({.redo_op = static_cast<u16>(parent.large_index ? 14 : 12), .undo_op = 1, .redo = entry});
        log({.redo_op = 24, .undo_op = 1});
        log({.redo_op = 26, .undo_op = 1, .redo = pack(m_last_of_transaction)});
        commit();
    }

    // The tables that the system would begin to replay from, and the client's own restart record, whose 64 bytes are
    // no operation: they lie where a record has its client header.
    void checkpoint() {
        bytes open, names;
        for (const auto& [attribute, number] : m_open) {
            append(open, pack(~u32{0}, attribute.second, disk::at{16}, m_files.at(attribute.first).reference(),
                              disk::at{40}));
            if (attribute.second == types::index_allocation) append(names, tail_name(number | 8u << 16, "$I30"));
            if (open.size() > 4000) break;
        }
        const u64 open_lsn = m_last_checkpoint = m_log.add({.redo_op = 29, .redo = table(40, open)});
        const u64 names_lsn = m_log.add({.redo_op = 30, .redo = names});
        const u64 pages_lsn = m_log.add({.redo_op = 31, .redo = table(40, bytes(40))});
        const u64 transactions_lsn = m_log.add({.redo_op = 32, .redo = table(40, bytes(40))});
        m_log.add({.type = 2,
                   .redo = bytes(24),
                   .client = pack(u64{1}, open_lsn, open_lsn, names_lsn, pages_lsn, transactions_lsn)});
    }

    bytes log_image() {
        bytes names;
        for (const auto& [attribute, number] : m_open) {
            if (attribute.second == types::index_allocation && names.size() < 200)
                append(names, tail_name(number | 8u << 16, "$I30"));
        }
        return m_log.image(names);
    }

    bytes mft_image() const {
        const u32 count = (m_next_number + 63) / 64 * 64;  // the MFT grows by 64 records
        bytes out;
        for (u32 number = 0; number < count; ++number) {
            const auto found = m_files.find(number);
            append(out, found == m_files.end() ? volume_file{.number = number, .in_use = false}.image()
                                               : found->second.image(entries_of(found->second)));
        }
        return out;
    }

private:
    static constexpr u64 mft_lcn = 4096;       // first cluster of the MFT
    static constexpr u64 journal_lcn = 12288;  // and of the journal

    struct operations {
        u16 redo, undo;
    };

    // A table as a checkpoint writes it.
    static bytes table(u16 entry_size, const bytes& entries) {
        return pack(entry_size, static_cast<u16>(entries.size() / entry_size), disk::at{24}, entries);
    }

    volume_file& place(u32 number, u32 parent, std::u16string name, bool directory) {
        volume_file& f = m_files[number];
        f.number = number;
        f.directory = directory;
        f.attributes = attribute_bits::system | attribute_bits::hidden | (directory ? attribute_bits::directory : 0);
        f.times = f.name_times = {m_now, m_now, m_now, m_now};
        f.names = {{m_files[parent].reference(), std::move(name), 3}};
        return f;
    }

    // What fits of a directory's entries stands in its record.
    bytes entries_of(const volume_file& directory) const {
        bytes entries;
        for (const u32 child : directory.children) {
            const volume_file& f = m_files.at(child);
            for (const file_name& name : f.names) {
                const bytes entry = f.index_entry(name);
                if ((name.parent & 0xFFFFFFFF) == directory.number && entries.size() + entry.size() < 560)
                    append(entries, entry);
            }
        }
        return entries;
    }

    void begin() {
        m_now += 31250 + m_transactions++ % 7 * 1009;  // no two at the same time
        m_last_of_transaction = 0;
    }

    u64 log(record r) {
        r.previous = r.undo_next = m_last_of_transaction;
        r.transaction = 0x18 + 0x28 * ((m_transactions - 1) % 16);
        return m_last_of_transaction = m_log.add(std::move(r));
    }

    void log_change(operations ops, u16 target, bytes redo, bytes undo, record place) {
        place.redo_op = ops.redo;
        place.undo_op = ops.undo;
        place.target_attribute = target;
        place.lcns_to_follow = 1;
        place.redo = std::move(redo);
        place.undo = std::move(undo);
        log(std::move(place));
    }

    // A change to a file's record, four of which share a cluster. `type` is the attribute it is about, 0 for the
    // record.
    void log_file(volume_file& f, operations ops, u32 type, u16 offset, bytes redo, bytes undo) {
        const u16 record_offset = type == 0 ? u16{0} : attribute_place(open_record(f), type);
        log_change(ops, 0x18, std::move(redo), std::move(undo),  // $MFT:$DATA
                   {.record_offset = record_offset,
                    .attribute_offset = offset,
                    .cluster_block = static_cast<u16>(f.number % 4 * 2),
                    .block_size = 2,
                    .vcn = f.number / 4,
                    .lcn = mft_lcn + f.number / 4});
        f.lsn = m_last_of_transaction;
    }

    // A change in clusters of an attribute.
    void log_clusters(operations ops, u16 target, u64 vcn, u64 lcn, u16 offset, bytes redo, bytes undo) {
        log_change(ops, target, std::move(redo), std::move(undo),
                   {.attribute_offset = offset, .block_size = 8, .vcn = vcn, .lcn = lcn});
    }

    // The system names an attribute in the log when it touches it first.
    u16 open_attribute(const volume_file& f, u32 type, std::u16string_view name) {
        const auto [found, fresh] = m_open.try_emplace({f.number, type}, m_next_open);
        if (!fresh) return found->second;
        m_next_open = static_cast<u16>(m_next_open >= 0x4000 ? 0x18 : m_next_open + 0x28);
        m_log.add({.transaction = 0x18,
                   .redo_op = 28,
                   .target_attribute = found->second,
                   .redo = pack(~u32{0}, type, disk::at{16}, f.reference(), m_last_checkpoint, disk::at{40}),
                   .undo = pack(name)});
        return found->second;
    }

    // A change to a directory's entries, in its record or in its clusters; the operations in clusters are numbered two
    // above those in the record, the copies of names one above.
    void log_index(volume_file& directory, operations in_root, bytes redo, bytes undo) {
        if (!directory.large_index) return log_file(directory, in_root, types::index_root, 64, redo, undo);
        const auto above = [](u16 op) { return static_cast<u16>(op + (op == 19 ? 1 : 2)); };
        const u16 target = open_attribute(directory, types::index_allocation, u"$I30");
        const auto offset = static_cast<u16>(64 + m_transactions % 30 * 104);
        log_clusters({above(in_root.redo), above(in_root.undo)}, target, 0, directory.index_lcn(), offset, redo, undo);
    }

    // Bits of the volume's clusters ($Bitmap) or of file records ($MFT:$BITMAP), set by operation 21, cleared by 22.
    void log_bits(u16 op, bool clusters, u64 first, u64 count) {
        const bytes range = pack(static_cast<u32>(first), static_cast<u32>(count));
        const u16 target = clusters ? open_attribute(at(6), types::data, {}) : open_attribute(at(0), types::bitmap, {});
        log_clusters({op, static_cast<u16>(43 - op)}, target, 0, clusters ? 3000 : 4095, 0, range, range);
    }

    // A journal record never crosses a page of the journal; where it would, the journal is made longer first.
    void log_journal(volume_file& f, const file_name& name, u32 reason) {
        const std::size_t size = padded(60 + 2 * name.name.size());
        if (m_journal.size() % 4096 + size > 4096 || m_journal.empty()) {
            m_journal.resize((m_journal.size() + 4095) / 4096 * 4096);
            volume_file& journal = at(27);
            journal.size = m_journal.size() + 4096;
            journal.runs = {{journal_lcn, journal.size / 4096}};
            log_file(journal, {11, 11}, types::data, 40, pack(journal.size, journal.size, journal.size), bytes(24));
        }
        f.usn = m_first_usn + m_journal.size();
        const bytes image =
            usn_image{.file = f.reference(),
                      .parent = name.parent,
                      .usn = f.usn,
                      .time = m_now,
                      .reason = reason,
                      .source = 0,
                      .security_id = 0,
                      .attributes = f.attributes == attribute_bits::directory ? 0x10 : f.attributes & 0xFFFF,
                      .name = name.name}
                .image();
        log_clusters({8, 0}, open_attribute(at(27), types::data, u"$J"), f.usn / 4096,
                     journal_lcn + m_journal.size() / 4096, static_cast<u16>(m_journal.size() % 4096), image, {});
        append(m_journal, image);
    }

    // $STANDARD_INFORMATION from its second time on.
    void log_times(volume_file& f) {
        log_file(f, {7, 7}, types::standard_information, 32, part(f.standard_information(), 8), bytes(64));
    }

    // The copy of times and sizes that the directory keeps.
    void log_name_copy(volume_file& f) {
        f.name_times.modified = f.times.modified;
        log_index(parent_of(f.names.front()), {19, 19}, f.duplicated_information(f.times), bytes(56));
    }

    void close(volume_file& f, u32 reason) {
        begin();
        log_journal(f, f.names.front(), reason | reasons::closed);
        log_times(f);
        commit();
    }

    void commit_and_close(volume_file& f, const file_name& name, u32 reason) {
        log_journal(f, name, reason);
        commit();
        close(f, reason);
    }

    void index(volume_file& f, const file_name& name) {
        log_index(parent_of(name), {12, 13}, f.index_entry(name), {});
        if (!parent_of(name).large_index) parent_of(name).children.push_back(f.number);
    }

    void unindex(volume_file& f, const file_name& name) {
        log_index(parent_of(name), {13, 12}, {}, f.index_entry(name));
        std::erase(parent_of(name).children, f.number);
    }

    void commit() { log({.redo_op = 27, .undo_op = 1}); }
    volume_file& parent_of(const file_name& name) { return at(static_cast<u32>(name.parent)); }
    bytes open_record(const volume_file& f) const { return f.open_record(entries_of(f)); }

    u64 m_now;
    u64 m_first_usn;
    log_writer m_log;
    bytes m_journal;
    std::map<u32, volume_file> m_files;
    std::set<u32> m_free;  // record numbers that were given back
    u32 m_next_number = 36;
    u64 m_next_cluster = 20000;
    u32 m_transactions = 0;
    u64 m_last_of_transaction = 0;
    std::map<std::pair<u32, u32>, u16> m_open;
    u16 m_next_open = 0x18;
    u64 m_last_checkpoint = 0;
};

}  // namespace kest::disk
