#include "images/disk_image.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <string_view>

#include "format/error_words.h"
#include "format/number.h"
#include "images/image_process.h"
#include "images/partition_table.h"
#include "portable/file.h"

namespace kest {

namespace {

// What containers begin with.
constexpr std::string_view ewf_signatures[] = {"EVF\x09\x0D\x0A", "EVF2\x0D\x0A", "LVF\x09\x0D\x0A", "LEF2\x0D\x0A"};
constexpr std::string_view description_signature = "# Disk Desc";
constexpr std::string_view other_signatures[] = {"AFF", "KDMV", "COWD", description_signature, "conectix", "vhdxfile"};
constexpr std::string_view unread_signature = "QFI\xFB";  // no library here knows QCOW2
constexpr std::size_t longest_signature = 16;
constexpr std::size_t longest_description = 65'536;  // bytes

// The first of several raw files is called so, and the next one stands beside it.
constexpr std::string_view split_endings[][2] = {{".001", ".002"}, {".000", ".001"}, {".00", ".01"},
                                                 {".01", ".02"},   {".aa", ".ab"},   {".aaa", ".aab"}};

// What a container of few bytes can state to hold, streams may have no more of than this.
constexpr std::uint64_t least_most_data = std::uint64_t{1} << 32;  // bytes
constexpr std::uint64_t most_data_of_byte = 256;

bool is_first_of_several(std::string_view path) {
    return std::ranges::any_of(split_endings, [path](const auto& endings) {
        if (!path.ends_with(endings[0])) return false;
        std::string next(path.substr(0, path.size() - endings[0].size()));
        return uni::is_regular_file(next.append(endings[1]));
    });
}

std::string head_of(const uni::file& file) {
    std::array<std::uint8_t, longest_signature> bytes{};
    const std::size_t length = file.read_at(bytes, 0).bytes;
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

// Nothing for a raw image in one file.
std::optional<image_form> form_of(std::string_view head, std::string_view path) {
    const auto begins = [&head](std::string_view signature) { return head.starts_with(signature); };
    if (std::ranges::any_of(ewf_signatures, begins)) return image_form::ewf;
    if (std::ranges::any_of(other_signatures, begins)) return image_form::other;
    if (is_first_of_several(path)) return image_form::split;
    return std::nullopt;
}

std::uint64_t stored_bytes(const std::vector<std::string>& files) {
    std::uint64_t bytes = 0;
    for (const std::string& path : files)
        bytes += uni::stored_bytes(path);
    return bytes;
}

void open_by_library(disk_image& image, image_form form) {
    image_process::opened opened = image_process::open(image.path, form);
    if (!opened.image) {
        image.error = std::move(opened.error);
        return;
    }
    const std::vector<std::string>& files = opened.image->files();
    image.files.insert(image.files.end(), files.begin(), files.end());
    image.bytes = {opened.image, least_most_data + most_data_of_byte * stored_bytes(image.files)};
    image.process = std::move(opened.image);
    image.pieces = described_pieces(image.path);
    const std::string folder = image.path.substr(0, uni::last_name(image.path));
    for (const auto& [piece, begin, end, is_flat] : image.pieces)
        image.files.push_back(uni::is_separator(piece.front()) ? piece : folder + piece);
}

void open_bytes(disk_image& image) {
    auto file = std::make_shared<uni::file>();
    if (!file->open(image.path, uni::open_mode::read)) {
        image.error = error_words(file->open_error());
    } else if (const std::string head = head_of(*file); head.starts_with(unread_signature)) {
        image.error = "QCOW2 is not read";
    } else if (const auto form = form_of(head, image.path)) {
        open_by_library(image, *form);
    } else {
        image.bytes.source = file;
        image.raw = std::move(file);
    }
}

// The copy of a volume's boot sector is its last sector.
std::optional<ntfs_geometry> read_boot_copy(const uni::byte_source& image, std::uint64_t offset, std::uint64_t end) {
    for (const std::uint64_t sector : {512U, 4096U}) {
        if (end < sector || end - sector < offset) continue;
        const auto copy = read_boot_sector(image, end - sector);
        if (copy && copy->size == end - sector - offset) return copy;
    }
    return std::nullopt;
}

// What a partition claims may lie beyond the image.
bool add_volume(disk_image& image, std::optional<std::uint32_t> number, std::uint64_t offset, std::uint64_t size) {
    const uni::byte_source& bytes = *image.bytes.source;
    if (offset >= bytes.size()) return false;
    const bool known =
        std::ranges::any_of(image.volumes, [offset](const volume_place& v) { return v.offset == offset; });
    if (known) return false;
    const auto boot = read_boot_sector(bytes, offset);
    const auto copy = boot ? boot : read_boot_copy(bytes, offset, offset + std::min(size, bytes.size() - offset));
    if (copy) image.volumes.push_back({number, offset, *copy, !boot});
    return copy.has_value();
}

// The boot sector of a volume ends like that of a disk, so it comes first.
void find_volumes(disk_image& image) {
    const uni::byte_source& bytes = *image.bytes.source;
    if (read_boot_sector(bytes, 0)) {
        add_volume(image, std::nullopt, 0, bytes.size());
        return;
    }
    const std::vector<disk_partition> partitions = read_partition_table(bytes);
    for (const disk_partition& partition : partitions)
        add_volume(image, partition.number, partition.offset, partition.size);
    if (partitions.empty()) add_volume(image, std::nullopt, 0, bytes.size());
}

}  // namespace

std::vector<described_piece> described_pieces(const std::string& path) {
    constexpr std::uint64_t sector = 512;                           // bytes
    constexpr std::uint64_t most_sectors = std::uint64_t{1} << 38;  // of a piece; lines are too few for a sum to wrap
    std::vector<described_piece> pieces;
    std::uint64_t covered = 0;  // bytes of the disk
    uni::file file;
    std::vector<std::uint8_t> bytes(longest_description);
    if (!file.open(path, uni::open_mode::read)) return pieces;
    bytes.resize(file.read_at(bytes, 0).bytes);
    const std::string text(bytes.begin(), bytes.end());
    if (!text.starts_with(description_signature)) return pieces;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = std::string_view(text).substr(at, end - at);
        const std::size_t open = line.find('"'), close = line.rfind('"');
        at = end + 1;
        if (!line.starts_with("RW ") && !line.starts_with("RDONLY ") && !line.starts_with("NOACCESS ")) continue;
        std::uint64_t sectors = 0;
        std::from_chars(line.data() + line.find(' ') + 1, line.data() + line.size(), sectors);
        const std::uint64_t begin = covered;
        covered += std::min(sectors, most_sectors) * sector;
        if (open != line.npos && close > open + 1)
            pieces.push_back(
                {std::string(line.substr(open + 1, close - open - 1)), begin, covered, line.find(" FLAT ") < open});
    }
    return pieces;
}

disk_image open_image(const std::string& path) {
    disk_image image;
    image.path = std::string(uni::trimmed_path(path));
    image.files = {image.path};
    open_bytes(image);
    if (image.bytes.source) find_volumes(image);
    return image;
}

std::string disk_image::failure() const {
    if (process) return process->failure();
    const std::uint64_t before = raw ? raw->size() : 0;
    return raw && raw->measure_size() < before ? "cut while it was read" : "";
}

std::string volume_name(const disk_image& image, const volume_place& volume) {
    std::string name = image.path;
    if (volume.partition) append_decimal(name.append(1, ':'), *volume.partition);
    return name;
}

}  // namespace kest
