#include "inputs/input_kind.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "journal/usn_record.h"
#include "logfile/page.h"
#include "mft/record_layout.h"

namespace kest {

namespace {

constexpr std::size_t looked_at = 65'536;  // bytes

// What pages of a log and file records begin with, sound or marked as broken. The offset of the update sequence that
// follows has a zero byte, so that no text begins like them.
struct evidence_row {
    std::uint32_t signature;
    input_kind kind;
};
constexpr evidence_row evidence_rows[] = {
    {page_layout::restart_signature, input_kind::log},
    {page_layout::record_signature, input_kind::log},
    {0x444B4843, input_kind::log},  // "CHKD"
    {file_record_layout::file_signature, input_kind::mft},
    {0x44414142, input_kind::mft},  // "BAAD"
};
constexpr uni::field<std::uint16_t> usa_offset{4};
constexpr std::uint16_t most_usa_offset = 255;

struct signature_row {
    std::size_t offset;
    std::string_view bytes;
    input_kind kind;
};
constexpr signature_row signature_rows[] = {
    {3, "NTFS    ", input_kind::image},
    {510, "\x55\xAA", input_kind::image},  // a boot sector: of a volume or a disk
    {512, "EFI PART", input_kind::image},
    {0, "EVF\x09\x0D\x0A", input_kind::image},  // formats of imaging tools and of virtual machines
    {0, "EVF2\x0D\x0A", input_kind::image},
    {0, "AFF", input_kind::image},
    {0, "KDMV", input_kind::image},
    {0, "COWD", input_kind::image},
    {0, "# Disk Desc", input_kind::image},
    {0, "QFI\xFB", input_kind::image},
    {0, "conectix", input_kind::image},
    {0, "vhdxfile", input_kind::image},
    {0, "\x1F\x8B\x08", input_kind::compressed},  // gzip
    {0,
     "\xFD"
     "7zXZ",
     input_kind::compressed},
    {0, "BZh", input_kind::compressed},
    {0, "PK\x03\x04", input_kind::compressed},
    {0, "7z\xBC\xAF\x27\x1C", input_kind::compressed},
    {0, "\x28\xB5\x2F\xFD", input_kind::compressed},  // zstd
    {0, "\x04\x22\x4D\x18", input_kind::compressed},  // lz4
    {0, "Rar!\x1A\x07", input_kind::compressed},
    {257, "ustar", input_kind::compressed},
};

bool holds(uni::byte_view head, std::size_t offset, std::string_view bytes) {
    const auto there = head.slice(offset, bytes.size()).bytes();
    return there.size() == bytes.size() && std::memcmp(there.data(), bytes.data(), bytes.size()) == 0;
}

// Records follow one another, and begin where a page does; before the first there may be zeros.
bool begins_like_journal(uni::byte_view data) {
    constexpr std::size_t page_size = 4096;
    const auto bytes = data.bytes();
    const auto first = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != 0; });
    const auto at = static_cast<std::size_t>(first - bytes.begin()) / page_size * page_size;
    const uni::byte_view page = data.slice(at, page_size);
    const std::uint32_t length = stated_usn_length(page);
    return length % 8 == 0 && length <= page.size() && is_usn_record(page);
}

std::vector<std::uint8_t> bytes_at(const uni::byte_source& file, std::uint64_t offset) {
    std::vector<std::uint8_t> bytes(looked_at);
    bytes.resize(file.read_at(bytes, offset).bytes);
    return bytes;
}

input_kind kind_of_page(uni::byte_view page) {
    if (page.has(0, usa_offset.end()) && page.get(usa_offset) <= most_usa_offset) {
        for (const evidence_row& row : evidence_rows)
            if (page.u32(0) == row.signature) return row.kind;
    }
    return input_kind::unknown;
}

// Names out of the evidence, which may hold any words, stand no nearer to a report's beginning.
bool is_text(uni::byte_view before) {
    constexpr std::size_t least = 100;
    return before.size() > least && std::ranges::find(before.bytes(), 0) == before.bytes().end();
}

bool is_whole_journal_record(uni::byte_view bytes) {
    const auto record = read_usn_record(bytes);
    if (!record || !record->has(&usn_layout::name) || record->length() % 8 != 0) return false;
    const std::uint32_t name = record->get(&usn_layout::name_offset);
    return name == record->name_begin() && name + record->get(&usn_layout::name_length) <= record->length() &&
           record->length() <= bytes.size();
}

bool holds_evidence(uni::byte_view data) {
    constexpr std::size_t sector = 512, unit = 8;
    for (std::size_t at = 0; at < data.size(); at += unit) {
        if (is_whole_journal_record(data.from(at))) return true;
        if (at % sector == 0 && kind_of_page(data.from(at)) != input_kind::unknown) return true;
    }
    return false;
}

}  // namespace

input_kind kind_of_head(uni::byte_view head) {
    const input_kind kind = kind_of_page(head);
    if (kind != input_kind::unknown) return kind;
    for (const signature_row& row : signature_rows)
        if (holds(head, row.offset, row.bytes) && !is_text(head.slice(0, row.offset))) return row.kind;
    return input_kind::unknown;
}

input_kind kind_of_file(const uni::byte_source& file) {
    const input_kind kind = kind_of_head(uni::byte_view{std::span<const std::uint8_t>(bytes_at(file, 0))});
    if (kind != input_kind::unknown) return kind;
    const std::vector<std::uint8_t> data = bytes_at(file, file.next_data(0));
    return begins_like_journal(std::span<const std::uint8_t>(data)) ? input_kind::journal : input_kind::unknown;
}

bool may_be_evidence(const uni::byte_source& file) {
    if (kind_of_file(file) != input_kind::unknown) return true;
    const std::uint64_t last = file.size() < looked_at ? 0 : (file.size() - looked_at) / 4096 * 4096;
    return std::ranges::any_of(std::array{file.next_data(0), last}, [&file](std::uint64_t offset) {
        const std::vector<std::uint8_t> data = bytes_at(file, offset);
        return holds_evidence(std::span<const std::uint8_t>(data));
    });
}

namespace {

// The files of an E01 are numbered, from 1 on.
bool is_later_piece(uni::byte_view head) {
    if (holds(head, 0, "EVF\x09")) return head.u16(9) != 1;
    return holds(head, 0, "EVF2") && head.u32(12) != 1;
}

// Boot sectors are copied by themselves, too.
bool is_too_small(uni::byte_view head, std::uint64_t size) {
    constexpr std::uint64_t least_volume = std::uint64_t{1} << 20;  // bytes
    return size < least_volume && (holds(head, 3, "NTFS    ") || holds(head, 510, "\x55\xAA"));
}

bool begins_with_journal_record(uni::byte_view data) {
    constexpr std::size_t searched = 4096;  // no record is longer
    const auto bytes = data.bytes();
    const auto first = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != 0; });
    const auto begin = static_cast<std::size_t>(first - bytes.begin()) / usn_granule * usn_granule;
    for (std::size_t at = begin; at < data.size() && at < begin + searched; at += usn_granule)
        if (sound_usn_record(data.from(at))) return true;
    return false;
}

bool is_zero(uni::byte_view data) {
    return std::ranges::all_of(data.bytes(), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

std::optional<input_kind> kind_of_stray_file(const uni::byte_source& file) {
    std::vector<std::uint8_t> bytes(5 * log_page_size);
    const uni::read_result first = file.read_at(bytes, 0);
    bytes.resize(first.bytes);
    const uni::byte_view head = std::span<const std::uint8_t>(bytes);
    const input_kind kind = kind_of_head(head);
    if (kind == input_kind::image && (is_later_piece(head) || is_too_small(head, file.size())))
        return input_kind::unknown;
    if (kind != input_kind::unknown) return kind;
    for (std::size_t at = log_page_size; at < head.size(); at += log_page_size)
        if (kind_of_page(head.from(at)) == input_kind::log) return input_kind::log;
    if (first.failed) return std::nullopt;
    if (!is_zero(head)) return begins_with_journal_record(head) ? input_kind::journal : input_kind::unknown;
    const std::uint64_t last = file.size() < looked_at ? 0 : (file.size() - looked_at) / usn_granule * usn_granule;
    for (const std::uint64_t offset : {file.next_data(0), last}) {
        std::vector<std::uint8_t> data(looked_at);
        const uni::read_result read = file.read_at(data, offset);
        const uni::byte_view view = std::span<const std::uint8_t>(data).first(read.bytes);
        if (begins_with_journal_record(view)) return input_kind::journal;
        if (read.failed) return std::nullopt;
    }
    return input_kind::unknown;
}

std::string_view kind_words(input_kind kind) {
    switch (kind) {
        case input_kind::log:
            return "a log";
        case input_kind::mft:
            return "an MFT";
        case input_kind::journal:
            return "a change journal";
        case input_kind::image:
            return "an image of a volume or a disk";
        case input_kind::compressed:
            return "a compressed file";
        case input_kind::unknown:
            break;
    }
    return {};
}

}  // namespace kest
