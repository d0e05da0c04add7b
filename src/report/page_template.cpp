#include "report/page_template.h"

namespace kest {

namespace {

#ifdef KEST_PAGE
#include KEST_PAGE  // two arrays of bytes, which the build made from page/
#else
constexpr char head[] = "", tail[] = "";
#endif

}  // namespace

std::string_view page_template_head() {
    return {head, sizeof head - 1};
}

std::string_view page_template_tail() {
    return {tail, sizeof tail - 1};
}

}  // namespace kest
