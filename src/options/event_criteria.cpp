#include "options/event_criteria.h"

#include <algorithm>

#include "format/ascii_text.h"
#include "mft/inode_ref.h"
#include "options/option_values.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::string_view list_separator = ",";
constexpr std::string_view root = "[root]", unknown_folder = "<unk_path>";

bool is_utf8(std::string_view text) {
    while (const std::size_t bytes = uni::utf8_character_bytes(text))
        text.remove_prefix(bytes);
    return text.empty();
}

bool begins_with_drive(std::string_view path) {
    const std::string letter = lower_case(path.substr(0, 1));
    return path.size() >= 2 && path[1] == ':' && letter >= "a" && letter <= "z";
}

std::optional<wanted_file> parse_file(std::string_view text) {
    const std::size_t dash = text.find('-');
    const auto number = parse_whole_number(text.substr(0, dash));
    if (!number || *number > inode_ref::number_mask) return std::nullopt;
    if (dash == text.npos) return wanted_file{*number, std::nullopt};
    const auto sequence = parse_whole_number(text.substr(dash + 1));
    if (!sequence || *sequence == 0 || *sequence > 0xFFFF) return std::nullopt;
    return wanted_file{*number, static_cast<std::uint16_t>(*sequence)};
}

}  // namespace

bool add_path_pattern(event_criteria& criteria, std::string_view value) {
    if (value.empty() || !is_utf8(value)) return false;
    std::string path(value);
    std::ranges::replace(path, '/', '\\');
    bool whole = path.front() == '\\' || path.starts_with(unknown_folder);
    const std::size_t prefix = equal_folded(path.substr(0, root.size()), root) ? root.size()
                               : begins_with_drive(path)                       ? 2
                                                                               : 0;
    if (prefix != 0 && (path.size() == prefix || path[prefix] == '\\')) {
        path.erase(0, prefix);
        whole = true;
    }
    while (path.ends_with('\\'))
        path.pop_back();
    criteria.paths.push_back((whole ? U"" : U"*\\") + uni::folded_text(path));
    return true;
}

bool add_event_words(event_criteria& criteria, std::string_view value) {
    const std::vector<std::string_view> words = split(value, list_separator);
    for (const std::string_view word : words)
        criteria.words.push_back(lower_case(without_blanks(word)));
    return !words.empty();
}

bool add_files(event_criteria& criteria, std::string_view value) {
    std::vector<wanted_file> files;
    for (const std::string_view text : split(value, list_separator)) {
        const auto file = parse_file(without_blanks(text));
        if (!file) return false;
        files.push_back(*file);
    }
    criteria.files.insert(criteria.files.end(), files.begin(), files.end());
    return !files.empty();
}

}  // namespace kest
