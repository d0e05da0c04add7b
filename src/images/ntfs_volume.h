#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "images/image_stream.h"
#include "portable/byte_source.h"

namespace kest {

// What a boot sector says of its volume.
struct ntfs_geometry {
    std::uint64_t size = 0;          // bytes; the sector after these has the copy of the boot sector
    std::uint32_t sector_size = 0;   // bytes
    std::uint32_t cluster_size = 0;  // bytes
    std::uint32_t record_size = 0;   // bytes of a file record
    std::uint64_t mft_lcn = 0;
    std::uint64_t mirror_lcn = 0;  // of the copy of the first four file records
};

// Nothing where the bytes are no boot sector of NTFS.
std::optional<ntfs_geometry> read_boot_sector(const uni::byte_source& image, std::uint64_t offset);

// Where a volume was found.
struct volume_place {
    std::optional<std::uint32_t> partition;  // its number; none: the image holds the volume and nothing else
    std::uint64_t offset = 0;                // bytes, in the image
    ntfs_geometry geometry;
    bool by_copy = false;  // its boot sector is damaged: the copy at the end speaks for it
};

// The streams of a volume that a run reads. One that is not there is null.
struct volume_streams {
    std::shared_ptr<const image_stream> log;
    std::shared_ptr<const image_stream> mft;
    std::shared_ptr<const image_stream> journal;
    std::vector<std::string> notes;  // what is damaged, a line each
};

// An image, and how much it can hold: containers may state any size.
struct image_bytes {
    std::shared_ptr<const uni::byte_source> source;
    std::uint64_t most_data = ~std::uint64_t{0};  // bytes
};

// Finds the streams by the volume's file records. All of them together are no longer than the volume, holes left out.
volume_streams open_streams(const image_bytes& image, const volume_place& volume);

}  // namespace kest
