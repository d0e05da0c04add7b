#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "report/field.h"

namespace kest {

// What one row of a report shows: a record of a transaction, or a file record of the MFT. What is empty is not known.
struct row_line {
    std::uint64_t time = 0;
    std::string_view ref = {};
    std::string_view action = {};
    std::uint64_t lsn = 0;
    std::string_view level = {};
    std::string_view op_pattern = {};
    std::string_view op_name = {};
    std::optional<std::uint64_t> lcn = {};
    std::optional<std::uint64_t> inode = {};
    std::optional<std::uint64_t> seq = {};
    std::optional<std::uint64_t> parent = {};
    std::optional<std::uint64_t> parent_seq = {};
    std::string_view path = {};
    bool guess = false;  // the path is one
    std::string_view log = {};
    std::string_view details = {};
    std::string_view undo = {};
};

// The fields of a row, in order.
std::span<const field<row_line>> row_fields();

// Whether undo data are to be decoded for them.
bool shows_undo(const field_list<row_line>& fields);

// The titles as rows of cells have them. With `guesses_allowed` the path's title says that some are guesses.
std::vector<field_title> marked_titles(std::vector<field_title> titles, bool guesses_allowed);

}  // namespace kest
