#include <algorithm>

#include "logfile/log_queries.h"
#include "operations/operation_table.h"
#include "report/report.h"

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
    log_queries queries(log);
    for (std::size_t code = 0; code < code_count; ++code) {
        counts.of[code] = queries.entries_for_opcode(static_cast<std::uint32_t>(code)).size();
        counts.total += counts.of[code];
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

std::string text_table(const operation_counts& counts, const logfile_options& options) {
    const std::size_t codes = options.no_whitespace ? 0 : code_width;
    const std::size_t hits = options.no_whitespace ? 0 : count_width;
    std::string text = "code";
    text += options.separator;
    append_right(text, "#hits", hits);
    text.append(options.separator).append("opcode meaning\n");
    for (std::size_t code = 0; code < code_count; ++code) {
        append_right(text, code, codes);
        text += options.separator;
        append_right(text, counts.of[code], hits);
        text.append(options.separator).append(operation_name(static_cast<std::uint16_t>(code))).append(1, '\n');
    }
    append_right(text, "-", codes);
    text += options.separator;
    append_right(text, counts.total, hits);
    text.append(options.separator)
        .append("total number records found in: [")
        .append(options.current_file)
        .append("]\n\n");
    return text;
}

void define_columns(logfile_options& options) {
    const auto add = [&options](std::string title, std::size_t width) {
        options.columns.push_back({std::move(title), options.no_whitespace ? 0 : width});
    };
    for (std::size_t code = 0; code < code_count; ++code)
        add("OP " + format_number(code, false), count_width);
    add("total", count_width);
    add("file", file_width);
}

void write_csv_row(const operation_counts& counts, logfile_options& options, uni::fileio_output& report_sink) {
    if (options.header_line) {
        define_columns(options);
        write_header_line(report_sink, options);
    }
    result_row row(options.columns.size());
    for (std::size_t code = 0; code < code_count; ++code) {
        append_right(row.text(static_cast<int>(code)), counts.of[code], options.no_whitespace ? 0 : count_width);
    }
    append_decimal(row.text(static_cast<int>(code_count)), counts.total);
    row.show_text(static_cast<int>(code_count) + 1, options.current_file);
    emit_row(report_sink, row, options, options.base16);
}

}  // namespace

void report_stats(logfile_options& options, uni::fileio_output& report_sink) {
    const operation_counts counts = count_operations(options.log);
    if (options.shape == output_shape::csv) {
        write_csv_row(counts, options, report_sink);
    } else {
        report_sink.write(text_table(counts, options));
    }
}

}  // namespace kest
