#pragma once

#include "format/time.h"

namespace kest {

// How numbers and times are written in a report. All that a decoder needs to know of the options.
struct text_style {
    bool base16 = true;  // numbers in hexadecimal
    cv::format_flags time_format;
};

}  // namespace kest
