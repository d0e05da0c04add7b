#include "options/path_filter.h"

#include <algorithm>
#include <optional>

#include "format/ascii_text.h"
#include "format/time.h"
#include "options/option_values.h"
#include "portable/file.h"
#include "portable/wildcard.h"

namespace kest {

namespace {

constexpr std::string_view list_separators = "|,";

bool holds_signature(const std::string& path, const path_filter& filter) {
    uni::file file;
    if (!file.open(path, uni::open_mode::read)) return false;
    std::vector<std::uint8_t> bytes(filter.signature.size());
    return file.read_at(bytes, filter.offset).bytes == bytes.size() &&
           std::ranges::equal(bytes, filter.signature, {}, {}, [](char c) { return static_cast<std::uint8_t>(c); });
}

bool matches(const std::string& path, const std::string& lower_path, const path_filter& filter) {
    if (!filter.path.empty() && lower_path.starts_with(filter.path)) return true;
    if (!filter.pattern.empty()) {
        std::string_view subject = lower_path;
        if (std::ranges::none_of(filter.pattern, uni::is_separator)) subject.remove_prefix(uni::last_name(subject));
        if (uni::matches_pattern(subject, filter.pattern)) return true;
    }
    return !filter.signature.empty() && holds_signature(path, filter);
}

// A file is in the window if some time between the earliest and the latest that its volume has of it is.
bool in_time_window(const file_choice& choice, const std::string& path) {
    if (!choice.start && !choice.stop) return true;
    const auto dates = uni::dates_of(path);
    if (!dates) return false;
    const auto [earliest, latest] = std::minmax({dates->modified, dates->accessed, dates->changed});
    return (!choice.start || latest >= *choice.start) && (!choice.stop || earliest <= *choice.stop);
}

}  // namespace

bool add_pattern_filters(std::vector<path_filter>& filters, std::string_view list) {
    const std::vector<std::string_view> patterns = split(list, list_separators);
    for (const std::string_view pattern : patterns) {
        filters.push_back({.pattern = lower_case(pattern), .path = {}, .signature = {}});
    }
    return !patterns.empty();
}

bool add_signature_filter(std::vector<path_filter>& filters, std::string_view text) {
    const std::vector<std::string_view> pieces = split(text, list_separators);
    if (pieces.empty()) return false;
    path_filter filter{.pattern = {}, .path = {}, .signature = parse_hex_bytes(pieces[0])};
    if (filter.signature.empty()) return false;
    const auto offset = pieces.size() == 2 ? parse_number(pieces[1]) : std::nullopt;
    filter.offset = offset.value_or(0);
    filters.push_back(std::move(filter));
    return pieces.size() == 1 || offset;
}

bool path_wanted(const file_choice& choice, const std::string& path) {
    if (path.empty() || !in_time_window(choice, path)) return false;
    if (choice.filters.empty()) return true;
    const std::string lower_path = lower_case(uni::trimmed_path(path));
    return std::ranges::any_of(choice.filters,
                               [&](const path_filter& filter) { return matches(path, lower_path, filter); });
}

}  // namespace kest
