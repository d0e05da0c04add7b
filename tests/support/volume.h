#pragma once

// A small NTFS volume at work: what is done to its files leaves the log records, journal records and file records that
// the system leaves. Everything follows from the calls, so two runs give the same bytes.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "support/log_image.h"
#include "support/volume_file.h"

namespace kest::disk {

struct volume_settings {
    std::uint32_t log_size = 64 * 1024;
    std::uint32_t log_first_page = 16384;
    std::uint64_t log_round = 1;
    std::uint64_t first_usn = 0;
    std::uint64_t begin = {};  // ticks
};

class volume {
public:
    // Formats: the system's own files stand in records 0 to 27, the root in record 5.
    explicit volume(const volume_settings& settings);

    void wait(std::uint64_t milliseconds) { m_now += milliseconds * 10000; }
    void set_clock(std::uint64_t now) { m_now = now; }
    std::uint64_t now() const { return m_now; }
    volume_file& at(std::uint32_t number) { return m_files.at(number); }

    // Each is one transaction, or one and a second that closes the file. Files are known by their record number.
    std::uint32_t create(std::uint32_t parent, std::u16string name, std::uint32_t attributes = attribute_bits::archive);
    std::uint32_t create_directory(std::uint32_t parent, std::u16string name, bool large_index = false);
    void resize(std::uint32_t file, std::uint64_t size);  // moves out of the record above 600 bytes
    void overwrite(std::uint32_t file);
    void rename(std::uint32_t file, std::uint32_t parent, std::u16string name);
    void link(std::uint32_t file, std::uint32_t parent, std::u16string name);
    void set_information(std::uint32_t file, const file_times& times, std::uint32_t attributes);
    void add_stream(std::uint32_t file, std::u16string_view name, const bytes& content);
    void add_attribute(std::uint32_t file, std::uint32_t type, const bytes& value, std::uint32_t reason);
    void secure(std::uint32_t file);               // a security descriptor of its own, charged to a quota
    void move_index_out(std::uint32_t directory);  // its entries no longer fit into the record
    void spill_link(std::uint32_t file, std::uint32_t parent, std::u16string name);  // a link in a second record
    void remove(std::uint32_t file);
    void remove_on_hold(std::uint32_t file);  // prepared and rolled back: nothing is removed
    void checkpoint();

    std::uint64_t log_round() const { return m_log.round(); }
    bytes log_image();
    const bytes& journal() const { return m_journal; }
    bytes mft_image() const;

private:
    struct transaction {
        std::uint32_t id = {};
        std::uint64_t last = {};
    };

    struct operations {
        std::uint16_t redo = {};
        std::uint16_t undo = {};
    };

    static record change(operations ops, std::uint16_t target, bytes redo, bytes undo);
    transaction begin();
    std::uint64_t log(transaction& t, record r);
    void log_file(transaction& t, volume_file& f, operations ops, std::uint32_t type, std::uint16_t offset, bytes redo,
                  bytes undo);
    void log_clusters(transaction& t, operations ops, std::uint16_t target, std::uint64_t vcn, std::uint64_t lcn,
                      std::uint16_t offset, bytes redo, bytes undo);
    void log_index(transaction& t, volume_file& directory, std::uint16_t root_op, std::uint16_t root_undo, bytes redo,
                   bytes undo);
    void log_bits(transaction& t, std::uint16_t op, bool clusters, std::uint64_t first, std::uint64_t count);
    void log_journal(transaction& t, volume_file& f, const file_name& name, std::uint32_t reason);
    void log_times(transaction& t, volume_file& f);
    void log_name_copy(transaction& t, volume_file& f);
    void commit(transaction& t);
    void close(volume_file& f, std::uint32_t reason);
    void index(transaction& t, volume_file& f, const file_name& name);
    void unindex(transaction& t, volume_file& f, const file_name& name);
    std::uint16_t open_attribute(const volume_file& f, std::uint32_t type, std::u16string_view name);
    volume_file& place(std::uint32_t number, std::uint32_t parent, std::u16string name, bool directory);
    std::uint32_t make(std::uint32_t parent, std::u16string name, std::uint32_t attributes, bool large_index);
    bytes entries_of(const volume_file& directory) const;
    bytes file_record(const volume_file& f) const;

    std::uint64_t m_now;
    std::uint64_t m_first_usn;
    log_writer m_log;
    bytes m_journal;
    std::map<std::uint32_t, volume_file> m_files;
    std::set<std::uint32_t> m_free;  // record numbers that were given back
    std::uint32_t m_next_number = 36;
    std::uint64_t m_next_cluster = 20000;
    std::uint32_t m_transactions = 0;
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint16_t> m_open;
    std::uint16_t m_next_open = 0x18;
    std::uint64_t m_last_checkpoint = 0;
};

}  // namespace kest::disk
