#include "report/statistics.h"

#include <algorithm>
#include <array>

#include "format/json.h"
#include "format/number.h"
#include "operations/operation_table.h"

namespace kest {

namespace {

constexpr std::size_t code_width = 4;   // bytes
constexpr std::size_t count_width = 7;  // bytes
constexpr std::size_t file_width = 30;  // bytes
constexpr std::size_t code_count = highest_operation + 1U;

// A record counts under its redo operation, and under its undo operation if that differs: these are counts of
// operations, whatever the table's last line calls them.
struct operation_counts {
    std::array<std::uint64_t, code_count> of{};
    std::uint64_t total = 0;
};

operation_counts count_operations(const log_store& log) {
    operation_counts counts;
    const auto count = [&counts](std::uint16_t code) {
        if (code >= code_count) return;
        ++counts.of[code];
        ++counts.total;
    };
    for (const log_entry& entry : log.entries) {
        count(entry.redo_op());
        if (entry.undo_op() != entry.redo_op()) count(entry.undo_op());
    }
    return counts;
}

void append_right(std::string& out, std::string_view text, std::size_t width) {
    out.append(width - std::min(width, text.size()), ' ').append(text);
}

void append_right(std::string& out, std::uint64_t value, std::size_t width) {
    std::string digits;
    append_decimal(digits, value);
    append_right(out, digits, width);
}

}  // namespace

std::string statistics_table(const log_store& log, std::string_view current_file, const row_style& style) {
    const operation_counts counts = count_operations(log);
    const std::size_t codes = style.no_whitespace ? 0 : code_width;
    const std::size_t hits = style.no_whitespace ? 0 : count_width;
    std::string text = "code";
    text += style.separator;
    append_right(text, "#hits", hits);
    text.append(style.separator).append("opcode meaning\n");
    for (std::size_t code = 0; code < code_count; ++code) {
        append_right(text, code, codes);
        text += style.separator;
        append_right(text, counts.of[code], hits);
        text.append(style.separator).append(operation_name(static_cast<std::uint16_t>(code))).append(1, '\n');
    }
    append_right(text, "-", codes);
    text += style.separator;
    append_right(text, counts.total, hits);
    text.append(style.separator)
        .append("total number records found in: [")
        .append(line_ends_as_words(current_file))
        .append("]\n\n");
    return text;
}

void write_statistics_object(const log_store& log, std::string_view log_path, uni::fileio_output& report_sink) {
    const operation_counts counts = count_operations(log);
    json_writer object(report_sink);
    object.begin_line();
    object.text("log", log_path);
    object.begin_object("operations");
    for (std::size_t code = 0; code < code_count; ++code)
        object.number(operation_name(static_cast<std::uint16_t>(code)), counts.of[code]);
    object.end_object();
    object.number("total", counts.total);
    object.end_line();
}

std::vector<row_column> statistics_columns() {
    std::vector<row_column> columns;
    for (std::size_t code = 0; code < code_count; ++code)
        columns.push_back({"OP " + format_number(code, false), count_width});
    columns.push_back({"total", count_width});
    columns.push_back({"file", file_width});
    return columns;
}

void write_statistics_row(const log_store& log, std::string_view current_file, const row_style& style,
                          row_writer& rows) {
    const operation_counts counts = count_operations(log);
    std::string text;
    rows.begin_line();
    for (std::size_t code = 0; code <= code_count; ++code) {
        text.clear();
        if (code == code_count) {
            append_decimal(text, counts.total);
        } else {
            append_right(text, counts.of[code], style.no_whitespace ? 0 : count_width);
        }
        rows.text(code, text);
    }
    rows.text(code_count + 1, line_ends_as_words(current_file));
    rows.end_line();
}

}  // namespace kest
