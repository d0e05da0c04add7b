#pragma once

#include <gtest/gtest.h>
#include <map>

#include "operations/operation_table.h"
#include "support/mft_image.h"

namespace kest::disk {

// What the program makes of a log record.
struct decoded {
    entry_info info;
    std::string text;

    explicit decoded(const bytes& image, bool base16 = true) {
        static entry_info used;  // over and over, as a report does
        text_style style;
        style.base16 = base16;
        const log_entry entry = make_log_entry(uni::byte_view(image), 0, false);
        decode_redo(entry, info, style);
        decode_redo(entry, used, style);
        text = info.details.text();
        EXPECT_EQ(std::pair(used.details.text(), used.name), std::pair(info.details.text(), info.name));
    }
    // Of redo bytes with nothing behind them.
    decoded(u16 operation, const bytes& redo, bool base16 = true, record shape = {})
        : decoded(image_of(operation, redo, std::move(shape)), base16) {}

private:
    static bytes image_of(u16 operation, const bytes& redo, record shape) {
        shape.redo_op = operation;
        shape.undo_offset = 40;
        shape.redo = redo;
        return part(shape.image(), 0, 88 + redo.size());
    }
};

struct decoded_row {
    const char* what;
    u16 operation;
    bytes redo;
    std::string text;
    record shape = {};
};

inline void expect_decoded(const std::vector<decoded_row>& rows, bool base16 = true) {
    for (const decoded_row& t : rows)
        EXPECT_EQ(decoded(t.operation, t.redo, base16, t.shape).text, t.text) << t.what;
}

// Decodes the redo bytes cut at every size, and tells from which size on each key is there, the second of a name as
// `key'`. `head` counts as 0; what is there at that size is not told. The sanitizers see whatever is read behind the
// cut.
inline std::string first_shown(u16 operation, const bytes& redo, std::size_t head = 0) {
    std::string shown;
    std::map<std::string, std::size_t> seen;
    for (std::size_t size = head; size <= redo.size(); ++size) {
        std::map<std::string, std::size_t> keys;
        const std::string text = decoded(operation, part(redo, 0, size), false).text;
        for (std::size_t end = 0; (end = text.find("\":\"", end)) != text.npos; ++end) {
            const std::size_t begin = text.rfind('"', end - 1) + 1;
            std::string key = text.substr(begin, end - begin);
            const std::size_t count = ++keys[key];
            if (count <= seen[key]) continue;
            seen[key] = count;
            if (size == head) continue;
            key.append(count - 1, '\'');
            shown += (shown.empty() ? "" : ", ") + key + ' ' + std::to_string(size - head);
        }
    }
    return shown;
}

// A resident attribute that ends with its value.
inline bytes attribute_of(u32 type, const bytes& value) {
    bytes attribute = part(resident(type, value), 0, 24 + value.size());
    put(attribute, 4, static_cast<u32>(attribute.size()));
    return attribute;
}

}  // namespace kest::disk
