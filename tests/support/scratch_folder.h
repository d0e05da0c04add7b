#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include "support/system.h"

namespace kest::disk {

// A folder of one test's own, gone with it.
class scratch_folder {
public:
    scratch_folder() = default;
    ~scratch_folder() { std::filesystem::remove_all(m_path); }
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;

    std::string at(std::string_view name) const { return m_path + '/' + std::string(name); }

    // Makes a file, and the folders above it.
    std::string put(std::string_view name, std::string_view contents = {}) const {
        std::filesystem::create_directories(std::filesystem::path(at(name)).parent_path());
        std::ofstream(at(name), std::ios::binary) << contents;
        return at(name);
    }

private:
    const std::string m_path = make_folder();
};

// False where links are not for everyone.
inline bool make_link(const std::string& to, const std::string& path) {
    std::error_code error;
    std::filesystem::create_symlink(to, path, error);
    return !error;
}

// UTF-8 everywhere.
inline std::filesystem::path utf8_path(const std::string& path) {
    return std::u8string(path.begin(), path.end());
}

inline std::string contents_of(const std::string& path) {
    std::ifstream in(utf8_path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace kest::disk
