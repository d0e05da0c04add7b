#pragma once

#include <string>
#include <string_view>

#include "report/row_fields.h"
#include "report/row_words.h"
#include "transactions/walk.h"

namespace kest {

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
