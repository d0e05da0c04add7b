// Decodes one log record. Of the input the first 13 bytes give the operation and the header fields that decoders ask
// for; the rest is the record's payload.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "operations/operation_table.h"

namespace {

constexpr std::size_t head_size = 13;
constexpr std::size_t record_head_size = 88;

std::vector<std::uint8_t> record_of(std::span<const std::uint8_t> input) {
    std::vector<std::uint8_t> record(record_head_size);
    const auto copy = [&](std::size_t from, std::size_t count, std::size_t to) {
        std::copy_n(input.begin() + static_cast<std::ptrdiff_t>(from), count,
                    record.begin() + static_cast<std::ptrdiff_t>(to));
    };
    copy(0, 1, 48);   // redo operation
    copy(1, 2, 52);   // redo offset
    copy(3, 2, 54);   // redo length
    copy(5, 2, 56);   // undo offset
    copy(7, 2, 60);   // target attribute
    copy(9, 2, 64);   // record offset
    copy(11, 2, 66);  // attribute offset
    record.insert(record.end(), input.begin() + head_size, input.end());
    const std::size_t data_length = record.size() - 48;
    for (std::size_t i = 0; i < 4; ++i) {
        record[24 + i] = static_cast<std::uint8_t>(data_length >> (8 * i));
    }
    return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < head_size) return 0;
    const std::vector<std::uint8_t> record = record_of({data, size});
    const kest::log_entry entry = kest::make_log_entry(uni::byte_view(record), 0, false);
    static kest::entry_info used;  // as the report uses it, over and over
    for (const bool base16 : {true, false}) {
        kest::text_style style;
        style.base16 = base16;
        kest::entry_info fresh;
        kest::decode_operation(entry, fresh, style);
        kest::decode_operation(entry, used, style);
        if (fresh.details.text() != used.details.text() || fresh.name != used.name) std::abort();
    }
    return 0;
}
