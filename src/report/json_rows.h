#pragma once

#include <string>
#include <string_view>

#include "format/json.h"
#include "options/logfile_options.h"
#include "portable/file.h"
#include "report/row_words.h"
#include "transactions/walk.h"

namespace kest {

// Tells what `row_teller` does as one JSON object a line: a key for each column that has a value, and the log's path.
class json_teller : public teller {
public:
    json_teller(const logfile_options& options, const _inode_collection& inodes, std::string_view log_path,
                uni::fileio_output& report_sink)
        : m_options(options), m_inodes(inodes), m_line(report_sink), m_log_path(log_path) {}

    void mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) override;
    void begin(const transaction& told) override { m_transaction = told; }
    void tell(const step& told) override;

private:
    void write_words(const step& told);
    void write_files(const step& told);
    void write_path(bool guess);
    void write_details(std::string_view key, const details_writer& details);

    const logfile_options& m_options;
    const _inode_collection& m_inodes;
    json_writer m_line;
    std::string m_log_path;
    text_room m_room;          // scratch
    details_writer m_details;  // of a file record
    action_words m_actions;
    std::string m_text;  // scratch
    transaction m_transaction;
};

}  // namespace kest
