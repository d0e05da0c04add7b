#include "driver/output_guard.h"

#include <algorithm>
#include <array>

#include "driver/ascii_text.h"

namespace kest {

namespace {

constexpr std::string_view input_options[] = {"-log", "-mftfile", "-jrnlfile"};

// Of a log's pages and of file records, sound and broken. No report begins so.
constexpr std::array<char, 4> evidence_signatures[] = {
    {'R', 'S', 'T', 'R'}, {'R', 'C', 'R', 'D'}, {'F', 'I', 'L', 'E'}, {'B', 'A', 'A', 'D'}, {'C', 'H', 'K', 'D'}};

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
    uni::file file;
    std::array<std::uint8_t, 4> bytes{};
    if (!file.open(path, uni::open_mode::read) || file.read_at(bytes, 0) <= 0) return false;
    return std::ranges::any_of(evidence_signatures,
                               [&bytes](const auto& signature) { return std::ranges::equal(bytes, signature); });
}

bool open_output(uni::file& file, std::string_view path, uni::open_mode mode, const argument_list& left) {
    uni::file_identity identity;
    if (identify_trimmed(path, identity) && may_be_input(identity, left)) return false;
    if (begins_like_evidence(path)) return false;
    return file.open(path, mode);
}

}  // namespace kest
