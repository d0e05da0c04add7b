#include "report/page_sink.h"

#include <utility>

#include "format/json.h"
#include "format/number.h"
#include "format/time.h"

namespace kest {

namespace {

constexpr std::size_t lines_of_block = 8192;
constexpr std::size_t bytes_of_block = 4 << 20;
constexpr std::uint64_t exact_in_double = std::uint64_t{1} << 53;

// In the order of `page_part`.
constexpr std::string_view data_names[] = {"log", "fields", "events", "objects", "end"};
// In the order of `values`; of those with items.
constexpr std::string_view value_names[] = {"", "at", "numbers", "times", "truths", ""};

void append_json_text(std::string& out, std::string_view text) {
    const std::size_t before = out.size();
    out.resize(before + most_json_bytes(text));
    const char* const end = put_json_text(out.data() + before, text);
    out.resize(static_cast<std::size_t>(end - out.data()));
}

void close_list(std::string& items) {
    if (!items.empty()) items.pop_back();
}

}  // namespace

// In JSON these stand in texts only, where an escape says the same.
void write_page_json(uni::fileio_output& page, std::string_view json) {
    constexpr std::string_view line_separator = "\xE2\x80\xA8", paragraph_separator = "\xE2\x80\xA9";
    const auto pass = [&page, &json](std::size_t bytes, std::string_view escape) {
        page.write(escape);
        json.remove_prefix(bytes);
    };
    while (!json.empty()) {
        const std::size_t plain = std::min(json.find_first_of("<\xE2"), json.size());
        page.write(json.substr(0, plain));
        json.remove_prefix(plain);
        if (json.starts_with('<')) {
            pass(1, "\\u003c");
        } else if (json.starts_with(line_separator)) {
            pass(line_separator.size(), "\\u2028");
        } else if (json.starts_with(paragraph_separator)) {
            pass(paragraph_separator.size(), "\\u2029");
        } else if (!json.empty()) {
            pass(1, json.substr(0, 1));
        }
    }
}

void begin_page_data(uni::fileio_output& page, page_part holds) {
    page.write("<script type=\"application/json\" data-kest=\"");
    page.write(data_names[static_cast<std::size_t>(holds)]);
    page.write("\">");
}

void end_page_data(uni::fileio_output& page) {
    page.write("</script>\n");
}

page_sink::page_sink(std::vector<field_title> titles, uni::fileio_output& page)
    : m_titles(std::move(titles)), m_page(page), m_columns(m_titles.size()) {}

void page_sink::begin_line() {
    if (!std::exchange(m_begun, true)) write_titles();
}

void page_sink::end_line() {
    if (m_written == most_lines) {
        ++m_left_out;
        return;
    }
    ++m_written;
    if (++m_lines == lines_of_block || m_bytes >= bytes_of_block) write_block();
}

std::string& page_sink::items_of(values kind) {
    column& of = m_columns[m_column];
    of.kind = kind;
    m_bytes += kind == values::objects ? 8 : 2;
    for (; of.lines < m_lines; ++of.lines)
        of.items += kind == values::texts ? "0," : kind == values::objects ? "null,\n" : "null,";
    ++of.lines;
    return of.items;
}

void page_sink::text(std::string_view value) {
    if (value.empty() || m_written == most_lines) return;
    std::string& items = items_of(values::texts);
    column& of = m_columns[m_column];
    auto found = of.known.find(value);
    if (found == of.known.end()) {
        found = of.known.emplace(value, of.known.size() + 1).first;
        append_json_text(of.texts, value);
        of.texts += ',';
        m_bytes += 2 * value.size();
    }
    append_decimal(items, found->second);
    items += ',';
}

void page_sink::number(std::uint64_t value) {
    if (m_written == most_lines) return;
    std::string& items = items_of(values::numbers);
    char digits[most_number_bytes];
    const std::string_view json(digits, static_cast<std::size_t>(put_json_number(digits, value) - digits));
    const bool quoted = value > exact_in_double && value != ~std::uint64_t{0};
    items.append(quoted ? "\"" : "").append(json).append(quoted ? "\"," : ",");
}

void page_sink::truth(bool value) {
    if (m_written == most_lines) return;
    items_of(values::truths) += value ? "true," : "false,";
}

void page_sink::time(std::uint64_t ticks) {
    constexpr std::uint64_t ticks_per_microsecond = 10;
    constexpr std::uint64_t epoch = cv::unix_epoch_ticks / ticks_per_microsecond;
    if (ticks == 0 || m_written == most_lines) return;
    std::string& items = items_of(values::times);
    const std::uint64_t microseconds = ticks / ticks_per_microsecond;
    const bool exact = microseconds + exact_in_double >= epoch && microseconds <= epoch + exact_in_double;
    if (!cv::has_calendar_form(ticks) || !exact) {
        append_json_time(items, ticks, digits_to_be_found);
    } else {
        if (microseconds < epoch) items += '-';
        append_decimal(items, microseconds < epoch ? epoch - microseconds : microseconds - epoch);
    }
    items += ',';
}

void page_sink::details(std::string_view value) {
    if (value.empty() || m_written == most_lines) return;
    items_of(values::objects).append(1, '{').append(value).append("},\n");
    m_bytes += value.size();
}

std::string& page_sink::begin_text() {
    m_text.clear();
    return m_text;
}

void page_sink::write_titles() {
    begin_page_data(m_page, page_part::fields);
    std::string names;
    for (const field_title& title : m_titles)
        names.append(names.empty() ? "[\"" : ",\"").append(title.name).append(1, '"');
    m_page.write(names.append(1, ']'));
    end_page_data(m_page);
}

void page_sink::write_column(column& of) {
    if (of.kind == values::none) return m_page.write("null");
    if (of.kind == values::objects) return m_page.write("{\"objects\":true}");
    const std::string_view missing = of.kind == values::texts ? "0," : "null,";
    for (; of.lines < m_lines; ++of.lines)
        of.items += missing;
    close_list(of.items);
    close_list(of.texts);
    m_page.write("{");
    if (of.kind == values::texts) {
        m_page.write("\"texts\":[");
        write_page_json(m_page, of.texts);
        m_page.write("],");
    }
    m_page.write("\"");
    m_page.write(value_names[static_cast<std::size_t>(of.kind)]);
    m_page.write("\":[");
    m_page.write(of.items);
    m_page.write("]}");
}

void page_sink::write_block() {
    std::string rows = "{\"rows\":";
    append_decimal(rows, m_lines);
    begin_page_data(m_page, page_part::events);
    m_page.write(rows.append(",\"columns\":["));
    for (std::size_t place = 0; place < m_columns.size(); ++place) {
        if (place != 0) m_page.write(",");
        write_column(m_columns[place]);
    }
    m_page.write("]}");
    end_page_data(m_page);
    for (column& of : m_columns) {
        if (of.kind != values::objects) continue;
        for (; of.lines < m_lines; ++of.lines)
            of.items += "null,\n";
        of.items.resize(of.items.size() - 2);
        begin_page_data(m_page, page_part::objects);
        m_page.write("[\n");
        write_page_json(m_page, of.items);
        m_page.write("\n]");
        end_page_data(m_page);
    }
    m_columns.assign(m_titles.size(), {});
    m_lines = m_bytes = 0;
}

void page_sink::finish(std::string_view limits, std::string_view chosen_by, const events_left_out& left_out) {
    if (!std::exchange(m_begun, true)) write_titles();
    if (m_lines != 0) write_block();
    std::string end = "{\"events\":";
    append_decimal(end, m_written);
    end += ",\"left_out\":";
    append_decimal(end, m_left_out);
    end += ",\"limits\":";
    append_json_text(end, limits);
    end += ",\"of_system\":";
    append_decimal(end, left_out.of_system);
    end += ",\"not_chosen\":";
    append_decimal(end, left_out.not_chosen);
    end += ",\"chosen_by\":";
    append_json_text(end, chosen_by);
    begin_page_data(m_page, page_part::end);
    write_page_json(m_page, end.append(1, '}'));
    end_page_data(m_page);
}

}  // namespace kest
