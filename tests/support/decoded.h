#pragma once

#include <gtest/gtest.h>

#include "operations/operation_table.h"
#include "support/log_image.h"

namespace kest::disk {

// What the program makes of a log record, from a buffer of just the record's size.
inline entry_info decode(const bytes& image, bool base16) {
    entry_info info;
    text_style style;
    style.base16 = base16;
    decode_operation(make_log_entry(uni::byte_view(image), 0, false), info, style);
    return info;
}

// The same of redo bytes with nothing behind them.
inline entry_info decode(u16 operation, const bytes& redo, bool base16 = true, record shape = {}) {
    shape.redo_op = operation;
    shape.undo_offset = 40;
    shape.redo = redo;
    bytes image = shape.image();
    image.resize(88 + redo.size());
    return decode(bytes(image), base16);
}

inline std::string text(const entry_info& info) {
    return std::string(info.details.text());
}

struct shown_row {
    const char* what;
    bytes redo;
    std::string expected;
};

// In decimal.
inline void expect_shown(u16 operation, const std::string& ahead, const std::vector<shown_row>& rows) {
    for (const shown_row& t : rows) {
        EXPECT_EQ(text(decode(operation, t.redo, false)), ahead + t.expected) << t.what;
    }
}

// Decodes the redo bytes cut at every size, and tells from which size on each key is there: "lsn 9, seq 17". `head`
// counts as 0. The sanitizers see whatever is read behind the cut.
inline std::string first_shown(u16 operation, const bytes& redo, std::size_t head = 0) {
    std::string shown = ",";
    for (std::size_t size = head; size <= redo.size(); ++size) {
        std::string rest = text(decode(operation, part(redo, 0, size), false));
        for (std::size_t end; (end = rest.find("\":\"")) != std::string::npos; rest.erase(0, end + 3)) {
            const std::size_t begin = rest.rfind('"', end - 1) + 1;
            const std::string key = ", " + rest.substr(begin, end - begin) + " ";
            if (shown.find(key) == std::string::npos) shown += key.substr(1) + std::to_string(size - head) + ",";
        }
    }
    return shown.substr(1, shown.size() - std::min<std::size_t>(2, shown.size()));
}

// A resident attribute that ends with its value.
inline bytes attribute_of(u32 type, const bytes& value) {
    const auto size = static_cast<u32>(value.size());
    return pack(type, u32{24 + size}, at{16}, size, u16{24}, at{24}, value);
}

// What is shown of its value.
inline std::string value_text(u32 type, const bytes& value) {
    const std::string shown = text(decode(5, attribute_of(type, value)));
    return shown.substr(std::min(shown.find(']') + 2, shown.size()));
}

// Where the keys show of a file record that is cut at every size within the value, of which it states no byte. What
// stands ahead of the value is left out.
inline std::string first_shown_of_value(u32 type, const bytes& value) {
    const bytes attribute = pack(attribute_of(type, value), at{4}, u32{500}, at{16}, u32{0});
    const std::string shown = first_shown(2, pack(at{20}, u16{56}, at{56}, attribute), 80);
    return shown.substr(std::min(shown.find("indexed_flags 0") + 16, shown.size()));
}

}  // namespace kest::disk
