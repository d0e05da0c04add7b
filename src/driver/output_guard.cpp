#include "driver/output_guard.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <sys/stat.h>

#include "driver/ascii_text.h"
#include "logfile/page.h"
#include "mft/record_layout.h"

namespace kest {

namespace {

constexpr std::string_view input_options[] = {"-log", "-mftfile", "-jrnlfile"};

// What pages of a log and file records begin with, sound or marked as broken. The offset of the update sequence that
// stands behind has a zero byte, so that no text begins like them.
constexpr std::uint32_t evidence_signatures[] = {page_layout::restart_signature, page_layout::record_signature,
                                                 mft_layout::file_signature,
                                                 0x44414142,   // "BAAD"
                                                 0x444B4843};  // "CHKD"
constexpr std::uint16_t most_usa_offset = 255;

bool names_input(std::string_view option) {
    return std::ranges::any_of(input_options, [option](std::string_view name) { return equal_folded(option, name); });
}

// As opening sees the path.
bool identify_trimmed(std::string_view path, uni::file_identity& out) {
    return uni::identify(std::string(uni::trimmed_path(path)), out);
}

// Options are taken out of the list, so that what stands farther behind an input option can become its value:
// every entry there counts.
bool may_be_input(const uni::file_identity& file, const argument_list& left) {
    const auto option = std::ranges::find_if(left, names_input);
    return std::any_of(option, left.end(), [&file](const std::string& argument) {
        uni::file_identity identity;
        return identify_trimmed(argument, identity) && identity == file;
    });
}

}  // namespace

bool begins_like_evidence(std::string_view path) {
    struct stat about {};  // no device is opened for this
    if (::stat(std::string(uni::trimmed_path(path)).c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return false;
    uni::file file;
    std::array<std::uint8_t, 6> bytes{};
    if (!file.open(path, uni::open_mode::read) || file.read_at(bytes, 0) != std::ssize(bytes)) return false;
    const uni::byte_view head{std::span(bytes)};
    return head.u16(4) <= most_usa_offset && std::ranges::count(evidence_signatures, head.u32(0)) != 0;
}

bool open_output(uni::file& file, std::string_view path, uni::open_mode mode, const argument_list& left) {
    uni::file_identity identity;
    if (identify_trimmed(path, identity) && may_be_input(identity, left)) return false;
    if (begins_like_evidence(path)) return false;
    return file.open(path, mode);
}

}  // namespace kest
