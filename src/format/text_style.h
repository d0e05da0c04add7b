#pragma once

#include "format/time.h"

namespace kest {

// How numbers and times are written in a report. All that a decoder needs to know of the options.
struct text_style {
    bool base16 = true;    // numbers in hexadecimal
    bool as_json = false;  // decoded data as JSON, where numbers and times have a form of their own
    cv::format_flags time_format;
};

}  // namespace kest
