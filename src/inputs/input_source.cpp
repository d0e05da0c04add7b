#include "inputs/input_source.h"

#include "portable/file.h"

namespace kest {

opened_source open_source(const input_source& source, bool reads_ahead) {
    if (source.stream) return {source.stream};
    auto file = std::make_shared<uni::file>();
    if (!file->open(source.path, uni::open_mode::read)) return {nullptr, file->open_error()};
    if (reads_ahead) file->allow_reading_ahead();
    return {std::move(file)};
}

}  // namespace kest
