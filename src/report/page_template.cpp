#include "report/page_template.h"

namespace kest {

namespace {

#ifdef KEST_PAGE
#include KEST_PAGE  // two arrays of texts, which the build made from page/
#else
constexpr std::span<const std::string_view> head, tail;
#endif

}  // namespace

std::span<const std::string_view> page_template_head() {
    return head;
}

std::span<const std::string_view> page_template_tail() {
    return tail;
}

}  // namespace kest
