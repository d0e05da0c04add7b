#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "portable/file.h"
#include "report/event_choice.h"
#include "report/field.h"

namespace kest {

// Writes JSON so that it can stand in a script element of a page that is only data: no text in it ends the element.
void write_page_json(uni::fileio_output& page, std::string_view json);

// What a script element holds, for the page's own script.
enum class page_part : std::uint8_t { log, fields, events, objects, end };
void begin_page_data(uni::fileio_output& page, page_part holds);
void end_page_data(uni::fileio_output& page);

// Writes lines as data in a page for a browser: blocks of some thousand lines, column by column, each text once a
// block. A block is {"rows":n,"columns":[...]}; a column, in the order of the fields, is null where it is empty, or one
// of
//   {"texts":["a","b"],"at":[1,0,2]}  the place of each line's text, from 1; 0 is none
//   {"numbers":[1,null]}              one that a double does not hold stands between quotes
//   {"times":[1,null]}                microseconds since 1970, UTC; text if there is no such date or a double does not
//   hold it
//   {"truths":[true,null]}
//   {"objects":true}                  they stand in an element of their own after the block, in lines: "[", one a line,
//   "]"
// No more than `most_lines` are written; the others are counted.
class page_sink : public field_sink {
public:
    static constexpr std::uint64_t most_lines = 1'000'000;

    page_sink(std::vector<field_title> titles, uni::fileio_output& page);

    void begin_report() override {}
    void begin_line() override;
    void end_line() override;

    void text(std::string_view value) override;
    void evidence(std::string_view value) override { text(value); }
    void path(std::string_view value, bool) override { text(value); }
    void number(std::uint64_t value) override;
    void wide_number(std::uint64_t value) override { number(value); }
    void decimal(std::uint64_t value) override { number(value); }
    void truth(bool value) override;
    void time(std::uint64_t ticks) override;
    void latest_time(std::uint64_t ticks) override { time(whole_microseconds(ticks)); }
    void details(std::string_view value) override;
    std::string& begin_text() override;
    void end_text() override { text(m_text); }

    // Writes what is left, how many lines there were, and by which options some are not there.
    void finish(std::string_view limits, std::string_view chosen_by, const events_left_out& left_out);

private:
    enum class values : std::uint8_t { none, texts, numbers, times, truths, objects };
    struct column {
        values kind = values::none;
        std::size_t lines = 0;                                  // that have a value, or null in its place
        std::string items;                                      // JSON, a comma after each
        std::string texts;                                      // likewise
        std::map<std::string, std::size_t, std::less<>> known;  // places of texts
    };

    // The items of the column at hand; all lines before this one have theirs.
    std::string& items_of(values kind);
    void write_titles();
    void write_block();
    void write_column(column& of);

    const std::vector<field_title> m_titles;
    uni::fileio_output& m_page;
    std::vector<column> m_columns;
    std::size_t m_lines = 0;  // of the block, before the one at hand
    std::size_t m_bytes = 0;  // likewise, about
    std::uint64_t m_written = 0;
    std::uint64_t m_left_out = 0;
    bool m_begun = false;
    std::string m_text;  // that is built in place
};

}  // namespace kest
