#include "portable/piped_text.h"

namespace uni {

std::string_view piped_text::decode(std::string_view block) {
    return block;
}

}  // namespace uni
