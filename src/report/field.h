#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "options/logfile_options.h"

namespace kest {

// Where a report's lines go, field by field: cells of a row, members of an object, ... The fields are listed once for
// all sinks. A value that is not known is not written at all, or is empty.
class field_sink {
public:
    field_sink() = default;
    field_sink(const field_sink&) = delete;
    field_sink& operator=(const field_sink&) = delete;
    virtual ~field_sink() = default;

    virtual void begin_report() = 0;  // of one log; there may be more
    virtual void begin_line() = 0;
    virtual void end_line() = 0;

    // The field that is written next; `column` counts from 0 in the order of the line.
    void begin_field(std::size_t column, std::string_view name) {
        m_column = column;
        m_name = name;
    }
    // Not copied, as paths are not: they stand until the line has ended.
    virtual void text(std::string_view value) = 0;
    // A text out of the evidence, which may hold anything; copied.
    virtual void evidence(std::string_view value) = 0;
    virtual void path(std::string_view value, bool guess) = 0;
    virtual void number(std::uint64_t value) = 0;
    // One of many digits; where lines are padded it fills its column.
    virtual void wide_number(std::uint64_t value) = 0;
    // Whatever the base of the report's numbers.
    virtual void decimal(std::uint64_t value) = 0;
    virtual void truth(bool value) = 0;
    virtual void time(std::uint64_t ticks) = 0;
    // The end of an interval, which no cut of digits makes earlier.
    virtual void latest_time(std::uint64_t ticks) { time(ticks); }
    virtual void details(std::string_view value) = 0;  // in the notation of the sink
    // For a text that is built in place: append it to what `begin_text` returns, then `end_text`.
    virtual std::string& begin_text() = 0;
    virtual void end_text() = 0;

protected:
    // Rounded up.
    static constexpr std::uint64_t whole_microseconds(std::uint64_t ticks) { return (ticks + 9) / 10 * 10; }

    std::size_t m_column = 0;
    std::string_view m_name;
};

// Which lines have a field where no columns are named.
enum class field_presence : std::uint8_t {
    every,
    objects,  // those of JSON only
    servers,  // likewise: what servers of timelines ask for
    undo,     // those of a run that asks for undo data
    sets,     // those of a run on the sets of a case
};

// What a field holds, for sinks whose columns have a type.
enum class field_kind : std::uint8_t {
    words,     // of ours, which hold neither separator nor line end
    any_text,  // names and data out of the evidence
    number,
    truth,
    moment,
    object,  // details
};

struct field_title {
    std::string_view name;
    std::size_t width;  // bytes, where lines are padded
    field_kind kind;
    field_presence presence = field_presence::every;

    // Whether it holds neither separator nor line end.
    bool words_only() const { return kind != field_kind::any_text && kind != field_kind::object; }
};

// One field of a kind of line, and how it is written.
template <class line>
struct field {
    field_title title;
    void (*write)(field_sink& out, const line& of);
};

template <class line>
using field_list = std::vector<field<line>>;

std::vector<field_title> titles_of_events();
std::vector<field_title> titles_of_contents();
std::vector<field_title> titles_of_extents();
std::vector<field_title> titles_of_rows();
std::vector<field_title> titles_of_volumes();

// What reports call the volume of a log, or of the journal file where `log_path` is empty.
std::string volume_of(const logfile_options& options, std::string_view log_path);

// Which of the fields the run's lines have, in order: those that `-columns` names, or else those that are usual.
std::vector<std::size_t> chosen_fields(std::span<const field_title> titles, const logfile_options& options);

// What is wrong with the columns that were named, as a line for the operator; empty if nothing is.
std::string words_on_columns(const logfile_options& options);

template <class line>
std::vector<field_title> titles_of(std::span<const field<line>> fields) {
    std::vector<field_title> titles;
    for (const field<line>& row : fields)
        titles.push_back(row.title);
    return titles;
}

template <class line>
field_list<line> choose_fields(std::span<const field<line>> fields, const logfile_options& options) {
    field_list<line> chosen;
    for (const std::size_t index : chosen_fields(titles_of(fields), options))
        chosen.push_back(fields[index]);
    return chosen;
}

template <class line>
void write_line(field_sink& out, const field_list<line>& fields, const line& of) {
    out.begin_line();
    std::size_t column = 0;
    for (const field<line>& shown : fields) {
        out.begin_field(column++, shown.title.name);
        shown.write(out, of);
    }
    out.end_line();
}

}  // namespace kest
