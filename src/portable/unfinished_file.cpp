#include "portable/unfinished_file.h"

#include "portable/file.h"

namespace uni {

namespace {

constexpr std::string_view name_begin = ".";
constexpr std::string_view name_end = ".kest-unfinished";
constexpr std::size_t longest_name = 255;  // bytes; of most file systems

}  // namespace

std::string unfinished_path(std::string_view path) {
    const std::size_t name = last_name(path);
    std::string beside(path.substr(0, name));
    beside += name_begin;
    beside += path.substr(name, longest_name - name_begin.size() - name_end.size());
    return beside += name_end;
}

bool is_unfinished_name(std::string_view name) {
    return name.starts_with(name_begin) && name.ends_with(name_end);
}

}  // namespace uni
