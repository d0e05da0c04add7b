#include "images/container.h"

#include <string_view>

namespace kest {

bool has_library(image_form form) {
#ifdef KEST_LIBEWF
    constexpr bool ewf = true;
#else
    constexpr bool ewf = false;
#endif
#ifdef KEST_LIBTSK
    constexpr bool tsk = true;
#else
    constexpr bool tsk = false;
#endif
    return form == image_form::ewf ? ewf : tsk;
}

std::string_view library_of(image_form form) {
    return form == image_form::ewf ? "libewf" : "libtsk";
}

}  // namespace kest
