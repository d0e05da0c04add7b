#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "portable/database.h"
#include "report/field.h"

namespace kest {

// The columns of a table for lines with these titles, as SQL. Before them stands `number`, which counts the lines; a
// time is two columns, text that sorts and ticks.
std::string table_definition(std::string_view table, std::span<const field_title> titles);

// Writes lines as rows of such a table. Numbers from 2^63 on are negative there; one with all bits set is no value.
class database_sink : public field_sink {
public:
    database_sink(uni::database& target, std::string_view table, std::span<const field_title> titles);

    void begin_report() override {}
    void begin_line() override {}
    void end_line() override;

    void text(std::string_view value) override;
    void evidence(std::string_view value) override;
    void path(std::string_view value, bool) override { evidence(value); }
    void number(std::uint64_t value) override;
    void wide_number(std::uint64_t value) override { number(value); }
    void decimal(std::uint64_t value) override { number(value); }
    void truth(bool value) override { number(value ? 1 : 0); }
    void time(std::uint64_t ticks) override;
    void details(std::string_view value) override;
    std::string& begin_text() override;
    void end_text() override { text(m_columns[m_column].text); }

private:
    struct column {
        int parameter;
        std::string text = {};    // that is built in place; it stands until the line has ended
        std::uint64_t ticks = 0;  // of `text`, in a column of times
    };

    uni::statement m_insert;
    std::vector<column> m_columns;
    std::int64_t m_lines = 0;
};

}  // namespace kest
