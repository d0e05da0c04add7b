#include "events/system_areas.h"

#include <algorithm>
#include <string_view>

#include "format/ascii_text.h"

namespace kest {

namespace {

// `*` is one folder of any name.
struct area {
    std::string_view path;
    bool with_all_below;
};
constexpr area areas[] = {
    {"[root]\\System Volume Information", true},
    {"[root]\\ProgramData\\Microsoft\\Search\\Data", true},
    {"[root]\\$RECYCLE.BIN\\*\\desktop.ini", false},
    {"[root]\\RECYCLER\\*\\desktop.ini", false},
};

// The part up to the next separator, which is taken away.
std::string_view take_part(std::string_view& path) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    const std::string_view part = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    return part;
}

bool lies_in(std::string_view path, const area& one) {
    std::string_view left = one.path;
    while (!left.empty()) {
        const std::string_view wanted = take_part(left);
        const std::string_view part = take_part(path);
        if (part.empty() || (wanted != "*" && !equal_folded(wanted, part))) return false;
    }
    return path.empty() || one.with_all_below;
}

// The one ":" of a path is that of a stream, which the system makes none of.
bool lies_in_any(std::string_view path) {
    if (path.find(':') != path.npos) return false;
    return std::ranges::any_of(areas, [path](const area& one) { return lies_in(path, one); });
}

}  // namespace

bool is_in_system_area(const event& shown) {
    const bool tampering = shown.kind == event_kind::times_set || shown.kind == event_kind::mft_differs ||
                           shown.kind == event_kind::ea_set || shown.kind == event_kind::ea_removed;
    if (tampering || shown.known == name_source::part || shown.known == name_source::guess) return false;
    return lies_in_any(shown.path) && (shown.old_path.empty() || lies_in_any(shown.old_path));
}

}  // namespace kest
