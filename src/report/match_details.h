#pragma once

#include <string>

#include "mft/inode_collection.h"
#include "operations/details_writer.h"
#include "transactions/association.h"

namespace kest {

// Appends what association found of a record's file, in brackets, to the record's details; nothing if it found nothing.
void write_match(details_writer& details, const file_match& match);

// Appends what the MFT holds of a file. `path` becomes its path under the last parent whose directory is known.
void write_mft_record(details_writer& details, const inode_record& record, const _inode_collection& inodes,
                      std::string& path);

}  // namespace kest
