#pragma once

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

namespace kest::disk {

// A folder of one test's own, gone with it.
class scratch_folder {
public:
    scratch_folder() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr); }
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
    std::string m_path = ::testing::TempDir() + "kest_XXXXXX";
};

inline std::string contents_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A standard stream's descriptor put on another open one, or closed for -1, as long as this lives.
class redirected {
public:
    redirected(int standard, int target) : m_standard(standard), m_saved(::fcntl(standard, F_DUPFD_CLOEXEC, 10)) {
        target == -1 ? ::close(standard) : ::dup2(target, standard);
    }
    ~redirected() {
        ::dup2(m_saved, m_standard);
        ::close(m_saved);
    }
    redirected(const redirected&) = delete;
    redirected& operator=(const redirected&) = delete;

private:
    int m_standard;
    int m_saved;
};

}  // namespace kest::disk
