#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kest::disk {

// What tests ask of the system; in a unit a system.

// Takes what is written to it, and gives nothing.
extern const char* const null_device;

// A new folder of nobody else's.
std::string make_folder();

// Writes what an xz file holds; false where nothing can unpack it.
bool unpack(const std::string& packed, const std::string& to);

void clear_variables();
void set_variable(const char* name, const char* value);

// A standard stream that is a file, for reading or writing, as long as this lives. A pipe is not waited for.
class redirected {
public:
    redirected(int standard, const std::string& path);
    ~redirected();
    redirected(const redirected&) = delete;
    redirected& operator=(const redirected&) = delete;

private:
    int m_standard;
    std::intptr_t m_saved;
    std::intptr_t m_opened;
};

// A file of a test's own, in memory where the system has that, reached by a path as a run wants it.
class memory_file {
public:
    // Without `size` the contents; else they stand at the beginning and as often again up to the end, and between them
    // lie holes.
    explicit memory_file(std::span<const std::uint8_t> contents, std::uint64_t size = 0, std::uint64_t times = 1);
    ~memory_file();
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    const std::string& path() const { return m_path; }

private:
    void put(std::span<const std::uint8_t> contents, std::uint64_t offset) const;

    int m_fd = -1;
    std::string m_path;
};

}  // namespace kest::disk
