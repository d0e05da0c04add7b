#pragma once

#include <string>
#include <string_view>

namespace uni {

// What comes by a pipe, as UTF-8. A shell of Windows may send UTF-16 with a mark at its beginning; other systems' bytes
// stay as they are.
class piped_text {
public:
    // Of the bytes that have arrived next. Valid until the next call.
    std::string_view decode(std::string_view block);

private:
    std::string m_undecoded;  // the beginning of a unit or of a pair
    std::string m_text;
    bool m_begun = false;
    bool m_wide = false;
};

}  // namespace uni
