#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kest {

// An image as a library sees it. Used only in a process of its own.
class container {
public:
    container() = default;
    container(const container&) = delete;
    container& operator=(const container&) = delete;
    virtual ~container() = default;

    struct arrival {
        std::size_t bytes = 0;  // fewer than wanted: it cannot be read on
        bool sound = true;      // false: some are not what was once read from the disk
    };
    virtual arrival read(std::uint64_t offset, std::span<std::uint8_t> buffer) = 0;

    std::uint64_t size = 0;          // bytes
    std::vector<std::string> files;  // that it is made of
};

// How the bytes of an image lie in its files.
enum class image_form {
    ewf,    // E01 and its like, which have checksums
    other,  // VMDK, VHD, AFF
    split,  // raw, in several files
};

// Whether the program was built with what reads this form; its name, and that of the package, for words.
bool has_library(image_form form);
std::string_view library_of(image_form form);

// Null, with words in `error`, for what cannot be opened.
std::unique_ptr<container> open_ewf(const std::string& path, std::string& error);
std::unique_ptr<container> open_other(const std::string& path, image_form form, std::string& error);

}  // namespace kest
