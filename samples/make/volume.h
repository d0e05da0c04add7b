#pragma once

// A small NTFS volume at work: what is done to its files leaves the log records, journal records and file records that
// the system leaves. Everything follows from the calls, so two runs give the same bytes.

#include <set>
#include <utility>

#include "file.h"
#include "log_writer.h"
#include "support/usn_image.h"

namespace kest::disk {

namespace reasons {
inline constexpr u32 overwritten = 0x1, extended = 0x2, truncated = 0x4, stream_extended = 0x20,
                     stream_truncated = 0x40, created = 0x100, deleted = 0x200, security = 0x800, old_name = 0x1000,
                     new_name = 0x2000, basic_info = 0x8000, hard_link = 0x10000, object_id = 0x80000,
                     reparse = 0x100000, stream = 0x200000, closed = 0x80000000;
}  // namespace reasons

struct volume_settings {
    u32 log_size = 64 * 1024;
    u32 log_first_page = 16384;
    u64 log_round = 1;
    u64 first_usn = 0x140000;  // at the begin of a cluster; not 0
    u64 begin = {};            // ticks
};

// How a transaction ends. One that is rolled back or still open leaves its records in the log only.
enum class ending { done, open, undone };

class volume {
public:
    // Formats: the system's own files stand in records 0 to 27, the root in record 5.
    explicit volume(const volume_settings& settings)
        : m_now(settings.begin),
          m_first_usn(settings.first_usn),
          m_log(settings.log_size, settings.log_round, settings.log_first_page) {
        using namespace attribute_bits;
        u32 number = 0;
        for (const char16_t* name :
             {u"$MFT", u"$MFTMirr", u"$LogFile", u"$Volume", u"$AttrDef", u".", u"$Bitmap", u"$Boot", u"$BadClus",
              u"$Secure", u"$UpCase", u"$Extend", u"$Quota", u"$ObjId", u"$Reparse", u"$UsnJrnl"}) {
            const bool is_folder = number == 5 || number == 11;
            volume_file& f = m_files[number];
            f = {.number = number,
                 .sequence = static_cast<u16>(number == 0 || number > 23 ? 1 : number),
                 .directory = is_folder,
                 .large_index = is_folder || number == 9,
                 .times = {m_now, m_now, m_now, m_now},
                 .attributes = system | hidden | (is_folder ? directory : 0)};
            const u64 folder = number > 23 ? 11 : 5;  // its sequence number is the same
            f.names = {{.parent = folder | folder << 48, .name = name, .space = 3, .copy = f.copy(), .id = 2}};
            number = number == 11 ? 24 : number + 1;
        }
        at(0).runs = {{mft_lcn, 64}};
        at(0).size = 64 * 4096;
        at(2).runs = {{2048, settings.log_size / 4096}};
        at(2).size = settings.log_size;
        at(3).further = {resident(0x60, pack(u"WORK"), {.id = 4}),
                         resident(0x70, pack(u64{0}, u8{3}, u8{1}, u16{0}), {.id = 5})};
        at(24).part = u"$Q";
        at(24).entries = {{u"1", account(1, 0)}, {u"2", account(2, 0)}};
        at(26).part = u"$R";
        at(27).part = u"$J";
        at(27).runs = {{0, m_first_usn / 4096}, {journal_lcn, 7000}};
        at(27).size = m_first_usn;
        for (auto& [n, f] : m_files)
            f.logged = f.all_attributes();
    }

    void wait(u64 milliseconds) { m_now += milliseconds * 10000; }
    void set_clock(u64 now) { m_now = now; }
    u64 log_round() const { return m_log.round(); }
    const bytes& journal() const { return m_journal; }

    // What `deed` does ends so; what comes of it is as if it had not been.
    template <class action>
    void in_vain(ending how, action&& deed) {
        const auto files = m_files;
        const auto free = m_free;
        m_ending = how;
        deed();
        m_ending = ending::done;
        m_files = files;
        m_free = free;
    }

    // Each is one transaction and, unless the file goes or stays open, a second that closes it. Files are known by
    // their record number.

    u32 create(u32 parent, std::u16string name, u32 attributes = attribute_bits::archive, bool large_index = false) {
        const u32 number = m_free.empty() ? m_next_number++ : m_free.extract(m_free.begin()).value();
        m_files.try_emplace(number);
        volume_file& f = begin(number);
        f = {.number = number,
             .sequence = f.sequence,  // raised when the record was given back
             .directory = (attributes & attribute_bits::directory) != 0,
             .large_index = large_index,
             .times = {m_now, m_now, m_now, m_now},
             .attributes = attributes};
        f.names = {name_in(f, parent, std::move(name))};
        log_bits(21, false, number, 1);
        log_file(f, {0, 3}, 0, 0, {}, {});
        index(f, f.names.front());
        f.logged = f.all_attributes();
        log_file(f, {2, 0}, 0, 0, f.open_record(), {});
        end(f, f.names.front(), reasons::created);
        return number;
    }

    u32 create_directory(u32 parent, std::u16string name, bool large_index = false) {
        return create(parent, std::move(name), attribute_bits::directory, large_index);
    }

    void resize(u32 file, u64 size) {
        volume_file& f = begin(file);
        const u32 reason = size < f.size ? reasons::truncated : reasons::extended;
        const u64 held = clusters_of(f.runs);
        const u64 wanted = size > 600 || held != 0 ? (size + 4095) / 4096 : 0;
        f.size = size;
        f.times.modified = f.times.changed = m_now;
        if (wanted > held) {
            f.runs.push_back({m_next_cluster, wanted - held});
            log_bits(21, true, m_next_cluster, wanted - held);
            m_next_cluster += wanted - held + 3;  // the gap makes the next growth a run of its own
        }
        end(f, f.names.front(), reason);
    }

    void overwrite(u32 file) {
        volume_file& f = begin(file);
        f.times.modified = f.times.changed = m_now;
        end(f, f.names.front(), reasons::overwritten);
    }

    void rename(u32 file, u32 parent, std::u16string name) {
        volume_file& f = begin(file);
        const name_image before = f.names.front();
        f.times.changed = m_now;
        unindex(before);
        f.names.front() = name_in(f, parent, std::move(name));
        log_attributes(f);
        index(f, f.names.front());
        log_journal(f, before, reasons::old_name);
        end(f, f.names.front(), reasons::new_name);
    }

    void link(u32 file, u32 parent, std::u16string name) {
        volume_file& f = begin(file);
        f.names.push_back(name_in(f, parent, std::move(name)));
        index(f, f.names.back());
        end(f, f.names.back(), reasons::hard_link);
    }

    // Takes away the name that came last.
    void unlink(u32 file) {
        volume_file& f = begin(file);
        const name_image gone = f.names.back();
        unindex(gone);
        f.names.pop_back();
        end(f, gone, reasons::hard_link);
    }

    // `time` is when the file is to have been created, modified and accessed.
    void set_information(u32 file, u32 attributes, u64 time = 0) {
        volume_file& f = begin(file);
        if (time != 0) f.times = {time, time, time, time};
        f.times.changed = m_now;
        f.attributes = attributes;
        end(f, f.names.front(), reasons::basic_info);
    }

    void add_attribute(u32 file, u32 type, std::u16string_view name, const bytes& value, u32 reason) {
        volume_file& f = begin(file);
        f.further.push_back(resident(type, value, {.name = name, .id = f.next_id++}));
        index_reparse_point(f, true);
        end(f, f.names.front(), reason);
    }

    // The one that came last.
    void drop_attribute(u32 file, u32 reason) {
        volume_file& f = begin(file);
        index_reparse_point(f, false);
        f.further.pop_back();
        end(f, f.names.front(), reason);
    }

    // A descriptor is found by its hash ($SDH) and by its id ($SII); both entries repeat where it lies in $SDS.
    void secure(u32 file) {
        volume_file& f = begin(file);
        f.security_id = 0x200 + file;
        const bytes place = pack(f.security_id * 0x9E3779B9, f.security_id, 0x40000 + f.security_id * u64{0x80},
                                 u32{0x78});  // the hash first
        const bytes by_hash = pack(u64{0}, u16{48}, u16{8}, u32{0}, part(place, 0, 8), place, disk::at{48});
        const bytes by_id = pack(u64{0}, u16{40}, u16{4}, u32{0}, part(place, 4, 8), place, disk::at{40});
        log_index(at(9), {}, by_hash, {});
        log_index(at(9), {}, by_id, {});
        bytes& owned = at(24).entries.at(u"2");
        const bytes before = std::exchange(owned, account(2, read<u64>(owned, 24) + f.size));
        log_file(at(24), {33, 33}, at(24).place_of(types::index_root), 96, part(owned, 24), part(before, 24));
        end(f, f.names.front(), reasons::security);
    }

    void move_index_out(u32 directory) {
        volume_file& f = begin(directory);
        const bytes end_marker = pack(u64{0xFFFFFFFF});
        log_file(f, {37, 0}, f.place_of(0xFFFFFFFF) + end_marker.size(), 0, bytes(24), {});
        log_bits(21, true, f.index_lcn(), 1);
        f.large_index = true;
        log_attributes(f);
        log_file(f, {4, 4}, f.place_of(0xFFFFFFFF), 0, end_marker, end_marker);
        log_file(f, {17, 17}, f.place_of(types::index_root), 64, pack(u64{0}), pack(~u64{0}));
        const u16 target = open_attribute(f, types::index_allocation, u"$I30");
        log_clusters({16, 16}, target, 0, f.index_lcn(), 64, f.all_entries(), index_end_entry);
        log_clusters({18, 18}, target, 0, f.index_lcn(), 64, pack(u64{1}), pack(u64{0}));
        forget();
    }

    // The file's own record then begins with a list of where its attributes are.
    void spill_link(u32 file, u32 parent, std::u16string name) {
        volume_file& f = begin(file);
        volume_file& extension = m_files[m_next_number];
        extension = {.number = m_next_number++, .base = f.reference()};
        const name_image link = name_in(f, parent, std::move(name));
        extension.further = {link.attribute()};
        const auto listed = [](u32 type, const volume_file& owner, u16 id) {
            return pack(type, u16{32}, u8{0}, u8{26}, u64{0}, owner.reference(), id, disk::at{32});
        };
        const bytes list =
            pack(listed(types::standard_information, f, 0), listed(types::file_name, f, f.names.front().id),
                 listed(types::file_name, extension, link.id), listed(types::data, f, 3));
        f.further.push_back(resident(types::attribute_list, list, {.id = f.next_id++}));
        log_bits(21, false, extension.number, 1);
        log_file(extension, {2, 0}, 0, 0, extension.open_record(), {});
        index(f, link);
        end(f, link, reasons::hard_link);
    }

    void remove(u32 file) {
        volume_file& f = begin(file);
        for (const name_image& name : f.names)
            unindex(name);
        for (const cluster_run& r : f.runs) {
            log_bits(22, true, r.lcn, r.clusters);
            log({.redo_op = 10, .redo = pack(r.lcn, r.clusters)});
        }
        log_file(f, {3, 2}, 0, 0, {}, part(f.open_record(), 0, 24));
        f.in_use = false;
        log_bits(22, false, file, 1);
        end(f, f.names.front(), reasons::deleted | reasons::closed);
        ++f.sequence;
        m_free.insert(file);
    }

    // The tables that the system would begin to replay from, and the client's own restart record, whose 64 bytes are
    // no operation: they lie where a record has its client header.
    void checkpoint() {
        bytes open;
        for (const auto& [attribute, number] : m_open) {
            if (open.size() > 4000) break;
            append(open, pack(~u32{0}, attribute.second, disk::at{16}, m_files.at(attribute.first).reference(),
                              disk::at{40}));
        }
        const u64 open_lsn = m_last_checkpoint = m_log.add({.redo_op = 29, .redo = table(40, open)});
        const u64 names_lsn = m_log.add({.redo_op = 30, .redo = open_names()});
        const u64 pages_lsn = m_log.add({.redo_op = 31, .redo = table(40, bytes(40))});
        const u64 transactions_lsn = m_log.add({.redo_op = 32, .redo = table(40, bytes(40))});
        m_log.add({.type = 2,
                   .redo = bytes(24),
                   .client = pack(u64{1}, open_lsn, open_lsn, names_lsn, pages_lsn, transactions_lsn)});
    }

    bytes log_image() { return m_log.image(open_names()); }

    // The MFT grows by 64 records.
    bytes mft_image() const {
        bytes out;
        for (u32 number = 0; number < m_next_number || number % 64 != 0; ++number)
            append(out, (m_files.contains(number) ? m_files.at(number) : volume_file{number, 1, false}).image());
        return out;
    }

private:
    static constexpr u64 mft_lcn = 4096;       // first cluster of the MFT
    static constexpr u64 journal_lcn = 12288;  // and of the journal

    struct operations {
        u16 redo, undo;
    };

    bytes open_names() const {
        bytes names;
        for (const auto& [attribute, number] : m_open) {
            if (attribute.second == types::index_allocation && names.size() < 200)
                append(names, tail_name(number | 8u << 16, "$I30"));
        }
        return names;
    }

    // An entry of $Q: an owner, and the bytes that are accounted for.
    static bytes account(u32 owner, u64 used) {
        return pack(u16{24}, u16{8}, u32{0}, u16{32}, u16{4}, u32{0}, owner, u32{0}, used);
    }

    // A table as a checkpoint writes it.
    static bytes table(u16 entry_size, const bytes& entries) {
        return pack(entry_size, static_cast<u16>(entries.size() / entry_size), disk::at{24}, entries);
    }

    name_image name_in(volume_file& f, u32 folder, std::u16string name) {
        return {.parent = at(folder).reference(), .name = std::move(name), .copy = f.copy(), .id = f.next_id++};
    }

    volume_file& begin(u32 file) {
        m_now += 31250 + m_transactions++ % 7 * 1009;  // no two at the same time
        m_steps.clear();
        m_last = m_undo_next = 0;
        return at(file);
    }

    // What is to be undone next is the step before, but after a step that compensates what that one says.
    u64 log(record r) {
        r.previous = m_last;
        r.undo_next = m_undo_next;
        r.transaction = 0x18 + 0x28 * ((m_transactions - 1) % 16);
        m_last = m_log.add(r);
        if (r.undo_op != compensation) m_undo_next = m_last;
        m_steps.push_back(std::move(r));
        return m_last;
    }

    // A change in clusters of an attribute; `r` says where within the cluster.
    u64 log_clusters(operations ops, u16 target, u64 vcn, u64 lcn, std::size_t offset, bytes redo, bytes undo,
                     record r = {.block_size = 8}) {
        r.redo_op = ops.redo;
        r.undo_op = ops.undo;
        r.target_attribute = target;
        r.lcns_to_follow = 1;
        r.attribute_offset = static_cast<u16>(offset);
        r.vcn = vcn;
        r.lcn = lcn;
        r.redo = std::move(redo);
        r.undo = std::move(undo);
        return log(std::move(r));
    }

    // A change to a file's record, four of which share a cluster of $MFT. `place` is where the attribute begins that
    // it is about, 0 for the record.
    void log_file(volume_file& f, operations ops, std::size_t place, std::size_t offset, bytes redo, bytes undo) {
        const record where{.record_offset = static_cast<u16>(place),
                           .cluster_block = static_cast<u16>(f.number % 4 * 2),
                           .block_size = 2};
        f.lsn = log_clusters(ops, 0x18, f.number / 4, mft_lcn + f.number / 4, offset, redo, undo, where);
    }

    // Logs all that has become of a file's attributes since the log noted them last, each with what it was.
    void log_attributes(volume_file& f) {
        const std::vector<bytes> now = f.all_attributes();
        std::vector<bytes>& was = f.logged;
        const auto is_same = [](const bytes& a, const bytes& b) {  // type, resident or not, id
            return read<u32>(a, 0) == read<u32>(b, 0) && a[8] == b[8] && read<u16>(a, 14) == read<u16>(b, 14);
        };
        std::size_t place = 56;
        std::erase_if(was, [&](const bytes& old) {
            const bool stays =
                std::ranges::any_of(now, [&](const bytes& attribute) { return is_same(attribute, old); });
            stays ? void(place += old.size()) : log_file(f, {6, 5}, place, 0, {}, old);
            return !stays;
        });
        place = 56;
        for (std::size_t i = 0; i < now.size(); place += now[i++].size()) {
            if (i == was.size() || !is_same(was[i], now[i])) {
                bytes fresh = now[i];
                if (fresh[8] != 0)  // the clusters come afterwards
                    fresh = in_clusters(read<u32>(fresh, 0), read<u16>(fresh, 14), fresh[9] != 0 ? u"$I30" : u"");
                log_file(f, {5, 6}, place, 0, fresh, {});
                was.insert(was.begin() + static_cast<std::ptrdiff_t>(i), std::move(fresh));
            }
            log_value(f, place, was[i], now[i]);
            was[i] = now[i];
        }
    }

    void log_value(volume_file& f, std::size_t place, const bytes& was, const bytes& now) {
        if (was == now) return;
        if (was[8] != 0) {
            const u16 runs = read<u16>(now, 32);
            if (part(was, runs) != part(now, runs)) log_file(f, {9, 9}, place, runs, part(now, runs), part(was, runs));
            const bytes sizes = part(now, 40, 64), old_sizes = part(was, 40, 64);
            if (sizes != old_sizes) log_file(f, {11, 11}, place, 0, sizes, old_sizes);
            return;
        }
        // From the first difference on, by 8 bytes, to the value's end.
        const u16 value = read<u16>(now, 20);
        const bytes after = part(now, value, value + read<u32>(now, 16));
        const bytes before = part(was, value, value + read<u32>(was, 16));
        const auto equal = std::ranges::mismatch(before, after).in1 - before.begin();
        const std::size_t first = static_cast<std::size_t>(equal) / 8 * 8;
        log_file(f, {7, 7}, place, value + first, part(after, first), part(before, first));
    }

    // The system names an attribute in the log when it touches it first.
    u16 open_attribute(const volume_file& f, u32 type, std::u16string_view name) {
        const auto [found, fresh] = m_open.try_emplace({f.number, type}, m_next_open);
        if (!fresh) return found->second;
        m_next_open = static_cast<u16>(m_next_open >= 0x4000 ? 0x18 : m_next_open + 0x28);
        log({.redo_op = 28,
             .target_attribute = found->second,
             .lcns_to_follow = 1,
             .redo = pack(~u32{0}, type, disk::at{16}, f.reference(), m_last_checkpoint, disk::at{40}),
             .undo = pack(name)});
        return found->second;
    }

    // An entry comes into a directory, goes from it (`redo` is empty) or gets another copy.
    void log_index(volume_file& folder, const std::u16string& name, const bytes& redo, const bytes& undo) {
        std::size_t before = 0;
        for (auto entry = folder.entries.begin(); entry != folder.entries.lower_bound(name); ++entry)
            before += entry->second.size();
        const std::size_t offset = 64 + before % 4000;
        const std::size_t kind = undo.empty() ? 0 : redo.empty() ? 1 : 2;
        static constexpr operations in_record[] = {{12, 13}, {13, 12}, {19, 19}};
        static constexpr operations outside[] = {{14, 15}, {15, 14}, {20, 20}};
        if (folder.large_index) {
            const u16 target = open_attribute(folder, types::index_allocation, u"$I30");
            log_clusters(outside[kind], target, 0, folder.index_lcn(), offset, redo, undo);
        } else {
            log_file(folder, in_record[kind], folder.place_of(types::index_root), offset, redo, undo);
            folder.logged = folder.all_attributes();
        }
    }

    void index(volume_file& f, const name_image& name) {
        volume_file& folder = parent_of(name);
        const bytes entry = folder.entries[name.name] = f.index_entry(name);
        log_index(folder, name.name, entry, {});
    }

    void unindex(const name_image& name) {
        volume_file& folder = parent_of(name);
        log_index(folder, name.name, {}, folder.entries.extract(name.name).mapped());
    }

    // The copy of times and sizes that the directory keeps.
    void renew_entry(const volume_file& f) {
        const name_image& name = f.names.front();
        volume_file& folder = parent_of(name);
        bytes& entry = folder.entries.at(name.name);
        const bytes before = part(entry, 24, 80);
        lay(entry, 24, f.copy());
        if (before != f.copy()) log_index(folder, name.name, f.copy(), before);
    }

    // The index of all reparse points has the tag and the file.
    void index_reparse_point(volume_file& f, bool added) {
        const bytes& attribute = f.further.back();
        if (read<u32>(attribute, 0) != types::reparse_point) return;
        f.attributes ^= attribute_bits::reparse;
        const bytes entry = pack(u64{0}, u16{32}, u16{12}, u32{0}, read<u32>(attribute, 24), f.reference(), u32{0});
        at(26).entries.clear();
        if (added) at(26).entries[{}] = entry;
        added ? log_index(at(26), {}, entry, {}) : log_index(at(26), {}, {}, entry);
    }

    // Bits of the volume's clusters ($Bitmap) or of file records ($MFT:$BITMAP), set by operation 21, cleared by 22.
    void log_bits(u16 op, bool clusters, u64 first, u64 count) {
        const bytes range = pack(static_cast<u32>(first), static_cast<u32>(count));
        const u16 target = clusters ? open_attribute(at(6), types::data, {}) : open_attribute(at(0), types::bitmap, {});
        log_clusters({op, static_cast<u16>(43 - op)}, target, 0, clusters ? 3000 : 4095, 0, range, range);
    }

    // A journal record never crosses a page of the journal; where it would, the journal is made longer first.
    void log_journal(volume_file& f, const name_image& name, u32 reason) {
        if (m_ending != ending::done) return;  // it is written last of all
        const std::size_t size = padded(60 + 2 * name.name.size());
        const std::size_t page = (m_journal.size() + 4095) / 4096 * 4096;
        if (m_journal.size() + size > page) {
            m_journal.resize(page);
            at(27).size = m_first_usn + page + size;
            log_attributes(at(27));
        }
        reason |= f.reasons;  // they gather until the file is closed
        f.reasons = (reason & reasons::closed) != 0 ? 0 : reason & ~reasons::old_name;
        const u64 usn = m_first_usn + m_journal.size();
        if ((reason & reasons::closed) != 0 && f.in_use) f.usn = usn;
        const bytes image = usn_image{.file = f.reference(),
                                      .parent = name.parent,
                                      .usn = usn,
                                      .time = m_now,
                                      .reason = reason,
                                      .source = 0,
                                      .security_id = 0,
                                      .attributes = (f.attributes & 0xFFFF) | (f.directory ? 0x10 : 0),
                                      .name = name.name}
                                .image();
        log_clusters({8, 0}, open_attribute(at(27), types::data, u"$J"), usn / 4096,
                     journal_lcn + m_journal.size() / 4096, m_journal.size() % 4096, image, {});
        append(m_journal, image);
    }

    // What became of the file itself is logged before what the journal says of it, and where that is said after.
    void end(volume_file& f, const name_image& name, u32 reason) {
        log_attributes(f);
        log_journal(f, name, reason);
        if (f.in_use) log_attributes(f);
        if (m_ending == ending::undone) roll_back();
        if (m_ending != ending::open) forget();
        if (m_ending != ending::done || (reason & (reasons::overwritten | reasons::closed)) != 0) return;
        renew_entry(begin(f.number));
        end(f, f.names.front(), reason | reasons::closed);
    }

    // Each step that can be undone is compensated by one that does what its undo side says.
    void roll_back() {
        log({.redo_op = 25});
        for (record step : std::vector<record>(m_steps.rbegin(), m_steps.rend())) {
            if (step.undo_op == 0) continue;
            m_undo_next = step.undo_next;
            step.redo_op = std::exchange(step.undo_op, compensation);
            step.redo = std::exchange(step.undo, {});
            log(std::move(step));
        }
        log({.redo_op = 24, .undo_op = compensation});
        log({.redo_op = 26, .undo_op = compensation, .redo = pack(m_last)});
    }

    void forget() {
        m_undo_next = 0;
        log({.redo_op = 27, .undo_op = compensation});
    }

    volume_file& at(u32 number) { return m_files.at(number); }
    volume_file& parent_of(const name_image& name) { return at(static_cast<u32>(name.parent)); }

    static constexpr u16 compensation = 1;

    u64 m_now;
    u64 m_first_usn;
    log_writer m_log;
    bytes m_journal;
    std::map<u32, volume_file> m_files;
    std::set<u32> m_free;  // record numbers that were given back
    u32 m_next_number = 36;
    u64 m_next_cluster = 20000;
    u32 m_transactions = 0;
    ending m_ending = ending::done;
    std::vector<record> m_steps;  // of the transaction at hand
    u64 m_last = 0;               // its last LSN
    u64 m_undo_next = 0;
    std::map<std::pair<u32, u32>, u16> m_open;
    u16 m_next_open = 0x18;
    u64 m_last_checkpoint = 0;
};

}  // namespace kest::disk
