// A journal file, and each of its records taken out of a log record's payload.

#include <cstddef>
#include <cstdint>
#include <span>

#include "journal/usn_journal.h"
#include "journal/usn_record.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t block_size = 65'536;
    const uni::byte_view file{std::span(data, size)};
    kest::usn_journal journal;
    for (std::size_t offset = 0; offset < size; offset += block_size) {
        kest::scan_journal_block(journal, file.slice(offset, block_size), offset);
    }
    journal.journal_by_usn.seal_unique();
    journal.journal_by_inode.seal_unique();
    for (const kest::usn_entry& entry : journal.entries) {
        kest::inode_record record;
        kest::parse_usn_record(record, file.from(entry.file_offset));
        kest::reason_text(entry.reason, true);
        kest::attribute_text(entry.file_attributes);
        kest::source_text(entry.source_info);
    }
    return 0;
}
