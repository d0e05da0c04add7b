#pragma once

#include <optional>
#include <string_view>

#include "portable/byte_source.h"
#include "portable/byte_view.h"

namespace kest {

// What a file's bytes say that it is. Damage may hide it: then nothing is known.
enum class input_kind { unknown, log, mft, journal, image, compressed };

// Of the bytes that it begins with, as many as there are. A journal is not known by these.
input_kind kind_of_head(uni::byte_view head);

// Of an open file. A journal may begin with a hole, so it is looked for where data begin.
input_kind kind_of_file(const uni::byte_source& file);

// The same by a few KiB, for files that may be of any kind and any size. A log is also known by a later one of its
// first pages, and a journal by a record near where its data begin, or near its end where it begins with zeros. An
// image is the first file of one that has several.
// Nothing if what it is might stand where it cannot be read.
std::optional<input_kind> kind_of_stray_file(const uni::byte_source& file);

// The same as `kind_of_file`, and whether records of a log, an MFT or a journal stand anywhere near its beginning or
// its end: that of a copy may be lost, off its place, or zeros up to far inside.
bool may_be_evidence(const uni::byte_source& file);

// "a log", "an MFT", ...; empty for `unknown`.
std::string_view kind_words(input_kind kind);

}  // namespace kest
