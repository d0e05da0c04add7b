#pragma once

#include <optional>
#include <string>
#include <vector>

#include "images/disk_image.h"
#include "report/field.h"

namespace kest {

// A volume of an image, and what there is of it to read.
struct volume_line {
    const volume_place& place;
    std::string name;
    const volume_streams& streams;
    std::optional<std::string> log_version = {};
    std::optional<std::uint64_t> current_lsn = {};    // as its log states it
    std::optional<std::uint64_t> journal_first = {};  // times of the first and of the last record
    std::optional<std::uint64_t> journal_last = {};
    std::string damage = {};  // words
};

// The fields of a volume, in order.
std::span<const field<volume_line>> volume_fields();

// Looks into the beginning of the log, and into both ends of the journal.
volume_line describe_volume(const disk_image& image, const volume_place& place, const volume_streams& streams);

}  // namespace kest
