#include "format/error_words.h"

#include <cerrno>
#include <string_view>

#include "format/number.h"

namespace kest {

namespace {

struct error_row {
    int error;
    std::string_view words;
};
constexpr error_row error_rows[] = {
    {ENOENT, "no such file"},
    {ENOTDIR, "no such file"},
    {EEXIST, "there is such a file already"},
    {EISDIR, "is a folder"},
    {ESPIPE, "is a pipe or a socket"},
    {ENXIO, "is a pipe or a socket"},
    {EACCES, "permission denied"},
    {EPERM, "permission denied"},
    {EROFS, "file system is read-only"},
    {ELOOP, "too many links"},
    {ENAMETOOLONG, "name too long"},
    {EMFILE, "too many open files"},
    {ENFILE, "too many open files"},
    {ETXTBSY, "in use"},
    {EBUSY, "in use"},
    {ENOSPC, "no space left"},
    {EIO, "device error"},
};

}  // namespace

std::string error_words(int error) {
    for (const error_row& row : error_rows)
        if (row.error == error) return std::string(row.words);
    std::string words;
    if (error != 0) append_decimal(words += "error ", static_cast<std::uint64_t>(error));
    return words;
}

std::string folder_error_words(int error) {
    if (error == ENOENT) return "no such folder";
    return error == ENOTDIR ? "not a folder" : error_words(error);
}

}  // namespace kest
