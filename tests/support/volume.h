#pragma once

// A small NTFS volume at work: what is done to its files leaves the log records, journal records and file records that
// the system leaves. Everything follows from the calls, so two runs give the same bytes.

#include <set>
#include <utility>

#include "support/volume_file.h"

namespace kest::disk {

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
    explicit volume(const volume_settings& settings);

    void wait(u64 milliseconds) { m_now += milliseconds * 10000; }
    void set_clock(u64 now) { m_now = now; }
    volume_file& at(u32 number) { return m_files.at(number); }

    // Each is one transaction, or one and a second that closes the file. Files are known by their record number.
    u32 create(u32 parent, std::u16string name, u32 attributes = attribute_bits::archive, bool large_index = false);
    u32 create_directory(u32 parent, std::u16string name, bool large_index = false) {
        return create(parent, std::move(name), attribute_bits::directory, large_index);
    }
    void resize(u32 file, u64 size);  // moves out of the record above 600 bytes
    void overwrite(u32 file);
    void rename(u32 file, u32 parent, std::u16string name);
    void link(u32 file, u32 parent, std::u16string name);
    void set_information(u32 file, const file_times& times, u32 attributes);
    void add_stream(u32 file, std::u16string_view name, const bytes& content);
    void add_attribute(u32 file, u32 type, const bytes& value, u32 reason);
    void secure(u32 file);                                       // a security descriptor of its own, charged to a quota
    void move_index_out(u32 directory);                          // its entries no longer fit into the record
    void spill_link(u32 file, u32 parent, std::u16string name);  // a link in a second record
    void remove(u32 file);
    void remove_on_hold(u32 file);  // prepared and rolled back: nothing is removed
    void checkpoint();

    u64 log_round() const { return m_log.round(); }
    bytes log_image();
    const bytes& journal() const { return m_journal; }
    bytes mft_image() const;

private:
    struct operations {
        u16 redo, undo;
    };

    void begin();
    u64 log(record r);
    void log_change(operations ops, u16 target, bytes redo, bytes undo, record place);
    void log_file(volume_file& f, operations ops, u32 type, u16 offset, bytes redo, bytes undo);
    void log_clusters(operations ops, u16 target, u64 vcn, u64 lcn, u16 offset, bytes redo, bytes undo);
    void log_index(volume_file& directory, operations in_root, bytes redo, bytes undo);
    void log_bits(u16 op, bool clusters, u64 first, u64 count);
    void log_journal(volume_file& f, const file_name& name, u32 reason);
    void log_times(volume_file& f);
    void log_name_copy(volume_file& f);
    void commit() { log({.redo_op = 27, .undo_op = 1}); }
    void close(volume_file& f, u32 reason);
    void commit_and_close(volume_file& f, const file_name& name, u32 reason);
    void index(volume_file& f, const file_name& name);
    void unindex(volume_file& f, const file_name& name);
    u16 open_attribute(const volume_file& f, u32 type, std::u16string_view name);
    volume_file& place(u32 number, u32 parent, std::u16string name, bool directory);
    volume_file& parent_of(const file_name& name) { return at(static_cast<u32>(name.parent)); }
    bytes entries_of(const volume_file& directory) const;
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
