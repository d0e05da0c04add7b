#pragma once

#include <string>

#include "format/result_row.h"
#include "options/logfile_options.h"
#include "report/row_words.h"
#include "report/time_column.h"
#include "transactions/walk.h"

namespace kest {

// Writes a row for each record of each transaction, and for each file record of the MFT that it is told.
class row_teller : public teller {
public:
    row_teller(const logfile_options& options, const _inode_collection& inodes, row_writer& rows);

    void mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) override;
    void begin(const transaction& told) override;
    void tell(const step& told) override;

private:
    void write_words(const step& told);
    void write_files(const step& told);
    void write_number(std::size_t column, std::uint64_t value);
    void write_if_known(std::size_t column, std::uint64_t value);

    const logfile_options& m_options;
    const _inode_collection& m_inodes;
    row_writer& m_rows;
    result_row m_row;
    time_column m_times;
    details_writer m_details;  // of a file record
    action_words m_actions;
    transaction m_transaction;
};

}  // namespace kest
