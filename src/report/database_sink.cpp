#include "report/database_sink.h"

#include "format/number.h"
#include "format/safe_text.h"
#include "format/time.h"

namespace kest {

namespace {

constexpr unsigned digits_of_ticks = 7;
constexpr std::uint64_t no_value = ~std::uint64_t{0};

int parameters_of(field_kind kind) {
    return kind == field_kind::moment ? 2 : 1;
}

std::string insertion(std::string_view table, std::span<const field_title> titles) {
    std::string sql = "INSERT INTO ";
    sql.append(table).append(" VALUES (?");
    for (const field_title& title : titles)
        sql += parameters_of(title.kind) == 2 ? ", ?, ?" : ", ?";
    return sql += ')';
}

}  // namespace

std::string table_definition(std::string_view table, std::span<const field_title> titles) {
    std::string sql = "CREATE TABLE ";
    sql.append(table).append(" (\n    number INTEGER PRIMARY KEY");
    for (const field_title& title : titles) {
        const bool is_number = title.kind == field_kind::number || title.kind == field_kind::truth;
        sql.append(",\n    ").append(title.name).append(is_number ? " INTEGER" : " TEXT");
        if (title.kind == field_kind::moment) sql.append(",\n    ").append(title.name).append("_ticks INTEGER");
    }
    return sql += "\n) STRICT";
}

database_sink::database_sink(uni::database& target, std::string_view table, std::span<const field_title> titles)
    : m_insert(target, insertion(table, titles)) {
    int parameter = 2;
    for (const field_title& title : titles) {
        m_columns.push_back({parameter});
        parameter += parameters_of(title.kind);
    }
}

void database_sink::end_line() {
    m_insert.bind(1, ++m_lines);
    m_insert.run();
}

void database_sink::text(std::string_view value) {
    if (!value.empty()) m_insert.bind(m_columns[m_column].parameter, value);
}

void database_sink::evidence(std::string_view value) {
    append_safe_text(begin_text(), value);
    end_text();
}

void database_sink::number(std::uint64_t value) {
    if (value != no_value) m_insert.bind(m_columns[m_column].parameter, static_cast<std::int64_t>(value));
}

void database_sink::time(std::uint64_t ticks) {
    if (ticks == 0) return;
    column& of = m_columns[m_column];
    if (ticks != of.ticks) {
        of.ticks = ticks;
        of.text.clear();
        cv::append_internet_time(of.text, ticks, digits_of_ticks);
    }
    text(of.text);
    if (ticks != no_value) m_insert.bind(of.parameter + 1, static_cast<std::int64_t>(ticks));
}

void database_sink::details(std::string_view value) {
    if (value.empty()) return;
    begin_text().append(1, '{').append(value).append(1, '}');
    end_text();
}

std::string& database_sink::begin_text() {
    std::string& text = m_columns[m_column].text;
    text.clear();
    return text;
}

}  // namespace kest
