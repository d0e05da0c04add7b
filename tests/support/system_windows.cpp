#include <windows.h>
#include <atomic>
#include <filesystem>
#include <fstream>

#include "support/system.h"

namespace kest::disk {

namespace {

std::string new_path() {
    static std::atomic<unsigned> made = 0;
    static const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::string name = "kest_" + std::to_string(::GetCurrentProcessId()) + '_' + std::to_string(made++);
    return (folder / name).generic_string();
}

DWORD number_of(int standard) {
    return STD_INPUT_HANDLE - static_cast<DWORD>(standard);
}

}  // namespace

const char* const null_device = "NUL";

std::string make_folder() {
    const std::string path = new_path();
    std::filesystem::create_directory(path);
    return path;
}

bool unpack(const std::string&, const std::string&) {
    return false;
}

void clear_variables() {
    WCHAR none[] = {0, 0};
    ::SetEnvironmentStringsW(none);
}

void set_variable(const char* name, const char* value) {
    ::SetEnvironmentVariableA(name, value);
}

redirected::redirected(int standard, const std::string& path)
    : m_standard(standard),
      m_saved(reinterpret_cast<std::intptr_t>(::GetStdHandle(number_of(standard)))),
      m_opened(reinterpret_cast<std::intptr_t>(::CreateFileA(path.c_str(), standard == 0 ? GENERIC_READ : GENERIC_WRITE,
                                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                             nullptr, OPEN_EXISTING, 0, nullptr))) {
    ::SetStdHandle(number_of(standard), reinterpret_cast<HANDLE>(m_opened));
}

redirected::~redirected() {
    ::SetStdHandle(number_of(m_standard), reinterpret_cast<HANDLE>(m_saved));
    ::CloseHandle(reinterpret_cast<HANDLE>(m_opened));
}

memory_file::memory_file(std::span<const std::uint8_t> contents, std::uint64_t size, std::uint64_t times)
    : m_path(new_path()) {
    std::ofstream(m_path).close();
    put(contents, 0);
    for (std::uint64_t k = 1; size != 0 && k <= times; ++k)
        put(contents, (size - contents.size()) / times * k);
}

memory_file::~memory_file() {
    std::filesystem::remove(m_path);
}

void memory_file::put(std::span<const std::uint8_t> contents, std::uint64_t offset) const {
    std::fstream file(m_path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
}

}  // namespace kest::disk
