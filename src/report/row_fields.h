#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "report/field.h"
#include "transactions/walk.h"

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
    std::string_view volume = {};
};

// The fields of a row, in order.
std::span<const field<row_line>> row_fields();

// Whether undo data are to be decoded for them.
bool shows_undo(const field_list<row_line>& fields);

// The titles as rows of cells have them. With `guesses_allowed` the path's title says that some are guesses.
std::vector<field_title> marked_titles(std::vector<field_title> titles, bool guesses_allowed);

// The journal's words for what happened, or else the operation's. The last are kept, as all rows of a transaction show
// the same.
class action_words {
public:
    std::string_view of(const step& shown, const transaction& whole);
    std::string_view of(std::uint32_t reason);

private:
    std::uint32_t m_reason = 0;
    std::string m_text;  // of `m_reason`; none for 0
};

// Writes a line for each record of each transaction, and for each file record of the MFT that it is given. The sink
// must outlive it.
class row_lines : public step_sink {
public:
    row_lines(const logfile_options& options, const _inode_collection& inodes, std::string_view log_path,
              const field_list<row_line>& fields, details_notation notation, field_sink& out)
        : m_inodes(inodes),
          m_log(log_path),
          m_volume(volume_of(options, log_path)),
          m_fields(fields),
          m_out(out),
          m_details(make_details(notation, options, false)),
          m_row{.log = m_log, .volume = m_volume} {}

    void write_mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) override;
    void begin_transaction(const transaction& begun) override { m_transaction = begun; }
    void write_step(const step& shown) override;

private:
    void set_words(const step& shown);
    void set_files(const step& shown);
    std::string_view pattern_of(const step& shown);
    std::string_view path_of(const file_match& match);

    const _inode_collection& m_inodes;
    const std::string m_log;
    const std::string m_volume;
    const field_list<row_line>& m_fields;
    field_sink& m_out;
    const std::unique_ptr<details_writer> m_details;  // of a file record
    action_words m_actions;
    std::string m_pattern;
    std::string m_path;
    transaction m_transaction;
    row_line m_row;  // of the step at hand, which sets all but what holds for the log
};

}  // namespace kest
