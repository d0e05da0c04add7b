#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace uni {

// What comes by a pipe, as UTF-8. A shell of Windows may send UTF-16, mostly with a mark at its beginning, or the code
// page of its console, which is taken for lines that are no UTF-8; other systems' bytes stay as they are.
class piped_text {
public:
    // Of the bytes that have arrived next. Valid until the next call.
    std::string_view decode(std::string_view block);
    // The same of what is held back for bytes that never came.
    std::string_view rest();

    static const std::size_t longest_line;  // bytes; of a path that the system opens

private:
    std::string_view decode_as_far(bool ended);

    std::string m_undecoded;  // the beginning of a unit, of a pair or of a line
    std::string m_text;
    bool m_begun = false;
    bool m_wide = false;
};

}  // namespace uni
