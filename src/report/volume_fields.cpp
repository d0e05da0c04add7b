#include "report/volume_fields.h"

#include <array>

#include "format/number.h"
#include "format/safe_text.h"
#include "journal/journal_probe.h"
#include "logfile/page.h"
#include "logfile/restart_page.h"
#include "logfile/volume_geometry.h"
#include "report/field_sinks.h"

namespace kest {

namespace {

using enum field_kind;

using sink = field_sink;
using line = volume_line;

void write_if_any(sink& out, const std::optional<std::uint64_t>& value) {
    if (value) out.decimal(*value);
}

void write_time(sink& out, const std::optional<std::uint64_t>& value) {
    if (value) out.time(*value);
}

constexpr field<line> fields[] = {
    {{"partition", 9, number}, [](sink& out, const line& of) { write_if_any(out, of.partition); }},
    {{"offset", 14, number}, [](sink& out, const line& of) { write_if_any(out, of.offset); }},
    {{"size", 14, number}, [](sink& out, const line& of) { write_if_any(out, of.size); }},
    {{"cluster_size", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.cluster_size); }},
    {{"record_size", 11, number}, [](sink& out, const line& of) { write_if_any(out, of.record_size); }},
    {{"mft_size", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.mft_size); }},
    {{"log_size", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.log_size); }},
    {{"log_version", 11, words},
     [](sink& out, const line& of) {
         if (of.log_version) out.text(*of.log_version);
     }},
    {{"current_lsn", 14, number},
     [](sink& out, const line& of) {
         if (of.current_lsn) out.wide_number(*of.current_lsn);
     }},
    {{"journal_size", 14, number}, [](sink& out, const line& of) { write_if_any(out, of.journal_size); }},
    {{"journal_data", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.journal_data); }},
    {{"journal_first", 30, moment}, [](sink& out, const line& of) { write_time(out, of.journal_first); }},
    {{"journal_last", 30, moment}, [](sink& out, const line& of) { write_time(out, of.journal_last); }},
    {{"damage", 40, any_text}, [](sink& out, const line& of) { out.text(of.damage); }},
    {{"volume", 25, any_text}, [](sink& out, const line& of) { out.text(of.name); }},
    {{"image", 25, any_text, field_presence::sets}, [](sink& out, const line& of) { out.evidence(of.image); }},
    {{"log", 25, any_text, field_presence::sets}, [](sink& out, const line& of) { out.evidence(of.log); }},
    {{"mft", 25, any_text, field_presence::sets}, [](sink& out, const line& of) { out.evidence(of.mft); }},
    {{"journal", 25, any_text, field_presence::sets}, [](sink& out, const line& of) { out.evidence(of.journal); }},
};

// The log has two restart pages, of which the newer one counts.
void read_restart_pages(volume_line& of, const uni::byte_source& log) {
    constexpr std::uint32_t update_sequence = 30;  // bytes, in the page
    for (std::uint64_t page = 0; page < 2; ++page) {
        restart_page_image bytes{};
        if (log.read_at(bytes, page * log_page_size).bytes != bytes.size()) continue;
        apply_fixups(bytes, update_sequence);
        const auto facts = read_restart_page(std::span<const std::uint8_t>(bytes));
        if (!facts || !facts->current_lsn || of.current_lsn > facts->current_lsn) continue;
        of.current_lsn = facts->current_lsn;
        if (!facts->major_version || !facts->minor_version) continue;
        of.log_version = format_number(*facts->major_version, false).append(1, '.');
        append_decimal(*of.log_version, *facts->minor_version);
    }
}

void look_into(volume_line& of, const uni::byte_source* log, const uni::byte_source* journal) {
    if (log != nullptr) {
        of.log_size = log->size();
        read_restart_pages(of, *log);
    }
    if (journal == nullptr) return;
    of.journal_size = journal->size();
    const journal_probe probe(*journal);
    if (!probe.any()) return;
    of.journal_first = probe.first_time();
    of.journal_last = probe.last_time();
}

}  // namespace

std::span<const field<volume_line>> volume_fields() {
    return fields;
}

std::vector<field_title> titles_of_volumes() {
    return titles_of(volume_fields());
}

volume_table::volume_table(const logfile_options& options, uni::fileio_output& report_sink)
    : m_fields(choose_fields(volume_fields(), options)),
      m_sink(make_sink(options, titles_of<volume_line>(m_fields), true, report_sink)) {
    if (m_sink) m_sink->begin_report();
}

volume_line describe_volume(const disk_image& image, const volume_place& place, const volume_streams& streams) {
    volume_line found = {.name = {},
                         .partition = place.partition,
                         .offset = place.offset,
                         .size = place.geometry.size,
                         .cluster_size = place.geometry.cluster_size,
                         .record_size = place.geometry.record_size,
                         .image = image.path};
    append_safe_text(found.name, volume_name(image, place));
    for (const std::string& note : streams.notes)
        found.damage.append(found.damage.empty() ? "" : "; ").append(note);
    if (streams.mft) found.mft_size = streams.mft->size();
    if (streams.journal) found.journal_data = streams.journal->data_bytes();
    look_into(found, streams.log.get(), streams.journal.get());
    return found;
}

volume_line describe_set(const logfile_options& options, const evidence& stores) {
    volume_line found = {.name = {},
                         .cluster_size = find_voted_sizes(stores.log).cluster,
                         .log = options.log.path,
                         .mft = options.mft.path,
                         .journal = options.journal.path};
    append_safe_text(found.name, volume_of(options, options.log.path));
    if (options.mft.given()) {
        found.record_size = stores.inodes.record_size;
        found.mft_size = stores.inodes.total_size;
    }
    look_into(found, open_source(options.log).bytes.get(), stores.journal.file.get());
    return found;
}

}  // namespace kest
