#pragma once

#include "operations/decoder.h"

namespace kest {

// The decoders that the operation table names, by family.

// file_record_decoder.cpp
void decode_file_record(entry_info& info, const operation_data& given);  // codes 2, 3
// attribute_decoder.cpp
void decode_attribute_record(entry_info& info, const operation_data& given);  // codes 5, 6
// nonresident_decoder.cpp
void decode_attribute_sizes(entry_info& info, const operation_data& given);  // code 11
void decode_index_vcn(entry_info& info, const operation_data& given);        // codes 17, 18
// file_information_decoder.cpp
void decode_resident_update(entry_info& info, const operation_data& given);         // code 7
void decode_duplicated_information(entry_info& info, const operation_data& given);  // codes 19, 20
// journal_record_decoder.cpp
void decode_journal_record(entry_info& info, const operation_data& given);  // code 8
// mapping_decoder.cpp
void decode_mapping_pairs(entry_info& info, const operation_data& given);   // code 9
void decode_open_attribute(entry_info& info, const operation_data& given);  // code 28
// index_decoder.cpp
void decode_index_entries(entry_info& info, const operation_data& given);  // codes 12, 14, 16

}  // namespace kest
