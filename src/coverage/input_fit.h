#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "coverage/logged_facts.h"
#include "inputs/evidence.h"
#include "logfile/volume_geometry.h"
#include "options/logfile_options.h"

namespace kest {

// How an MFT and the log fit together. Counts of file records; nothing set: nothing is known.
struct mft_fit {
    std::uint64_t agree = 0;        // the log record that the file record names as its last one writes to it
    std::uint64_t wrong_place = 0;  // that log record writes to another file record
    std::uint64_t wrong_name = 0;   // the journal record in the log that it names as its last one has another name
    std::uint64_t above = 0;        // it names a log record after the last one of the log
    bool older = false;             // all name log records before the first one of a log that writes to file records
    bool none_met = false;          // some name later ones, up to its last, and it has none of these
};

// How a journal file and the journal records in the log fit together.
struct journal_fit {
    std::uint64_t agree = 0;   // records of one USN that say the same
    std::uint64_t differ = 0;  // that do not
    bool after = false;        // the journal file begins after the last USN of the log
    bool before = false;       // it ends before the first
    bool none_met = false;     // neither, but it has none of the log's records
    bool not_logged = false;   // the log makes files, but has no journal record
    bool sampled = false;      // some records were compared, not all
};

// `stores.inodes` holds what the MFT does, and nothing of the log yet.
mft_fit compare_mft(const evidence& stores, const std::vector<logged_usn>& logged);

// Reads a few records of the open file only.
journal_fit sample_journal(const uni::byte_source& journal, const log_store& log,
                           const std::vector<logged_usn>& logged);
// Completes a fit whose records were counted; `lowest` and `highest` are USNs of the journal file.
void compare_usns(journal_fit& fit, std::uint64_t lowest, std::uint64_t highest, const log_store& log,
                  const std::vector<logged_usn>& logged);

// "fits", what speaks against it, joined by "; ", or nothing.
std::string fit_text(const mft_fit& fit);
std::string fit_text(const journal_fit& fit);
bool contradicts(const mft_fit& fit);
bool contradicts(const journal_fit& fit);
// Whether the input is none of the log's volume, or of another time: less of it agrees than contradicts. Of a copy of
// a volume in use some is later than its log.
bool is_foreign(const mft_fit& fit);
bool is_foreign(const journal_fit& fit);

// What speaks against the log's own parts being of one volume: its restart record and its file records state other
// sizes of a cluster. Empty: nothing does.
std::string fit_text(const volume_geometry& geometry);
// The same as a line for the operator, of the log at `path`.
std::string log_misfit_line(const log_store& log, const std::string& path);

// What of the inputs comes with the log, and how it fits.
struct input_fits {
    std::optional<mft_fit> mft;
    std::optional<journal_fit> journal;
};
// Nothing where there is no log. As in `compare_mft`.
input_fits compare_inputs(const evidence& stores, const logfile_options& options);

// A line for each input that does not fit the log, and one for a log that contradicts itself; empty where all is well.
struct misfit_words {
    std::string log;
    std::string mft;
    std::string journal;

    std::string lines() const { return log + mft + journal; }
};
misfit_words misfits_of(const input_fits& fits, const evidence& stores, const logfile_options& options);
std::string misfit_lines(const evidence& stores, const logfile_options& options);

}  // namespace kest
