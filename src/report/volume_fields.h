#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "images/disk_image.h"
#include "inputs/evidence.h"
#include "report/field.h"

namespace kest {

// A volume, in an image or as files of it, and what there is of it to read.
struct volume_line {
    std::string name;
    std::optional<std::uint32_t> partition = {};
    std::optional<std::uint64_t> offset = {};  // in the image, bytes
    std::optional<std::uint64_t> size = {};
    std::optional<std::uint32_t> cluster_size = {};
    std::optional<std::uint32_t> record_size = {};
    std::optional<std::uint64_t> mft_size = {};
    std::optional<std::uint64_t> log_size = {};
    std::optional<std::string> log_version = {};
    std::optional<std::uint64_t> current_lsn = {};  // as its log states it
    std::optional<std::uint64_t> journal_size = {};
    std::optional<std::uint64_t> journal_data = {};
    std::optional<std::uint64_t> journal_first = {};  // times of the first and of the last record
    std::optional<std::uint64_t> journal_last = {};
    std::string damage = {};  // words
    std::string image = {};   // paths
    std::string log = {};
    std::string mft = {};
    std::string journal = {};
};

// The fields of a volume, in order.
std::span<const field<volume_line>> volume_fields();

// A line for each volume, after the titles.
class volume_table {
public:
    volume_table(const logfile_options& options, uni::fileio_output& report_sink);
    void write(const volume_line& line) {
        if (m_sink) write_line(*m_sink, m_fields, line);
    }

private:
    const field_list<volume_line> m_fields;
    const std::unique_ptr<field_sink> m_sink;  // null in a shape without lines
};

// Looks into the beginning of the log, and into both ends of the journal.
volume_line describe_volume(const disk_image& image, const volume_place& place, const volume_streams& streams);
// The same of files, which have been read.
volume_line describe_set(const logfile_options& options, const evidence& stores);

}  // namespace kest
