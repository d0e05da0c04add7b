#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "report/fields.h"
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
    const details_writer* details = nullptr;
    const details_writer* undo = nullptr;  // null: none
};

// The fields of a row, in order.
std::span<const field<row_line>> row_fields();

// Whether undo data are to be decoded for them.
bool shows_undo(const field_list<row_line>& fields);

// The titles as rows of cells have them. With `guesses_allowed` the path's title tells that some are guesses.
std::vector<field_title> marked_titles(std::vector<field_title> titles, bool guesses_allowed);

// What a row says in words, in whatever shape.

inline constexpr std::string_view mft_level = "mft";
std::string_view level_word(const step& told, const transaction& of);
// Empty for what has none.
std::string_view ref_word(const step& told, const transaction& of);
// The operation codes of the whole transaction for a head, its own for a member.
void append_pattern(std::string& out, const step& told, const transaction& of);
// Appends nothing if neither path nor name is known.
void append_path(std::string& out, const file_tie& tie);
bool path_is_guess(const file_tie& tie);

// The journal's words for what happened, or else the operation's. The last are kept, as all rows of a transaction show
// the same.
class action_words {
public:
    std::string_view of(const step& told, const transaction& whole);
    std::string_view of(std::uint32_t reason);

private:
    std::uint32_t m_reason = 0;
    std::string m_text;  // of `m_reason`; none for 0
};

// Writes a line for each record of each transaction, and for each file record of the MFT that it is given. The sink
// must outlive it.
class row_lines : public teller {
public:
    row_lines(const logfile_options& options, const _inode_collection& inodes, std::string_view log_path,
              const field_list<row_line>& fields, field_sink& out)
        : m_options(options), m_inodes(inodes), m_log(log_path), m_fields(fields), m_out(out) {}

    void mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) override;
    void begin(const transaction& told) override { m_transaction = told; }
    void tell(const step& told) override;

private:
    void set_words(row_line& row, const step& told);
    void set_files(row_line& row, const step& told);

    const logfile_options& m_options;
    const _inode_collection& m_inodes;
    const std::string m_log;
    const field_list<row_line>& m_fields;
    field_sink& m_out;
    details_writer m_details;  // of a file record
    action_words m_actions;
    std::string m_pattern;
    std::string m_path;
    transaction m_transaction;
};

}  // namespace kest
