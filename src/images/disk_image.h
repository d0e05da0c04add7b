#pragma once

#include <memory>
#include <string>
#include <vector>

#include "images/ntfs_volume.h"
#include "portable/file.h"

namespace kest {

class image_process;

// A file that a text names as a part of a disk, from the text's folder; bytes of the disk, as the text states them.
struct described_piece {
    std::string path;
    std::uint64_t begin;
    std::uint64_t end;
    bool is_flat;  // its bytes are the disk's
};

// An image of a disk or of a volume.
struct disk_image {
    std::string path;
    image_bytes bytes;                    // without a source: it cannot be opened
    std::string error;                    // words on why
    std::vector<std::string> files;       // that it is made of; none are to be written to
    std::vector<described_piece> pieces;  // that its text names
    std::vector<volume_place> volumes;    // those of NTFS that it holds, in the order of the partition table
    // What reads it: one of these.
    std::shared_ptr<uni::file> raw;
    std::shared_ptr<const image_process> process;

    // Why not all of it could be read, or empty.
    std::string failure() const;
};

// Opens an image for reading, and looks for volumes: at its beginning, and then where a partition table says.
disk_image open_image(const std::string& path);

// Where a disk is described by a text: the files with its data.
std::vector<described_piece> described_pieces(const std::string& path);

// What of a volume's name is shown before the names of its streams: "disk.raw:2", or only the path of the image.
std::string volume_name(const disk_image& image, const volume_place& volume);

}  // namespace kest
