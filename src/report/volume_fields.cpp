#include "report/volume_fields.h"

#include <array>

#include "format/number.h"
#include "format/safe_text.h"
#include "journal/journal_probe.h"
#include "logfile/page.h"
#include "logfile/restart_page.h"

namespace kest {

namespace {

constexpr field_kind words = field_kind::words;
constexpr field_kind any_text = field_kind::any_text;
constexpr field_kind number = field_kind::number;
constexpr field_kind moment = field_kind::time;

using sink = field_sink;
using line = volume_line;

void write_size(sink& out, const std::shared_ptr<const image_stream>& stream) {
    if (stream) out.decimal(stream->size());
}

constexpr field<line> fields[] = {
    {{"partition", 9, number},
     [](sink& out, const line& of) {
         if (of.place.partition) out.decimal(*of.place.partition);
     }},
    {{"offset", 14, number}, [](sink& out, const line& of) { out.decimal(of.place.offset); }},
    {{"size", 14, number}, [](sink& out, const line& of) { out.decimal(of.place.geometry.size); }},
    {{"cluster_size", 12, number}, [](sink& out, const line& of) { out.decimal(of.place.geometry.cluster_size); }},
    {{"record_size", 11, number}, [](sink& out, const line& of) { out.decimal(of.place.geometry.record_size); }},
    {{"mft_size", 12, number}, [](sink& out, const line& of) { write_size(out, of.streams.mft); }},
    {{"log_size", 12, number}, [](sink& out, const line& of) { write_size(out, of.streams.log); }},
    {{"log_version", 11, words},
     [](sink& out, const line& of) {
         if (of.log_version) out.text(*of.log_version);
     }},
    {{"current_lsn", 14, number},
     [](sink& out, const line& of) {
         if (of.current_lsn) out.wide_number(*of.current_lsn);
     }},
    {{"journal_size", 14, number}, [](sink& out, const line& of) { write_size(out, of.streams.journal); }},
    {{"journal_data", 12, number},
     [](sink& out, const line& of) {
         if (of.streams.journal) out.decimal(of.streams.journal->data_bytes());
     }},
    {{"journal_first", 30, moment},
     [](sink& out, const line& of) {
         if (of.journal_first) out.time(*of.journal_first);
     }},
    {{"journal_last", 30, moment},
     [](sink& out, const line& of) {
         if (of.journal_last) out.time(*of.journal_last);
     }},
    {{"damage", 40, any_text}, [](sink& out, const line& of) { out.text(of.damage); }},
    {{"volume", 25, any_text}, [](sink& out, const line& of) { out.text(of.name); }},
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

}  // namespace

std::span<const field<volume_line>> volume_fields() {
    return fields;
}

std::vector<field_title> titles_of_volumes() {
    return titles_of(volume_fields());
}

volume_line describe_volume(const disk_image& image, const volume_place& place, const volume_streams& streams) {
    volume_line found = {.place = place, .name = {}, .streams = streams};
    append_safe_text(found.name, volume_name(image, place));
    for (const std::string& note : streams.notes)
        found.damage.append(found.damage.empty() ? "" : "; ").append(note);
    if (streams.log) read_restart_pages(found, *streams.log);
    if (streams.journal) {
        const journal_probe probe(*streams.journal);
        if (probe.any()) {
            found.journal_first = probe.first_time();
            found.journal_last = probe.last_time();
        }
    }
    return found;
}

}  // namespace kest
