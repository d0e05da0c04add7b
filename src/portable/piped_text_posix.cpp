#include "portable/piped_text.h"

namespace uni {

const std::size_t piped_text::longest_line = 4095;

std::string_view piped_text::decode(std::string_view block) {
    return block;
}

std::string_view piped_text::rest() {
    return {};
}

}  // namespace uni
