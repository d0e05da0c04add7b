#include <windows.h>
#include <array>

#include "portable/console.h"
#include "portable/host.h"
#include "portable/windows_text.h"

namespace uni {

std::optional<std::string> host_name() {
    std::array<wchar_t, 256> name{};
    auto size = static_cast<DWORD>(name.size());
    if (::GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size) == 0) return std::nullopt;
    return narrow_text({name.data(), size});
}

std::vector<std::string> take_arguments(int, char**) {
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);  // a drive without a medium asks for none
    for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        DWORD mode = 0;
        const HANDLE console = ::GetStdHandle(stream);
        if (::GetConsoleMode(console, &mode) != 0) ::SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
    int count = 0;
    wchar_t** const given = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int at = 0; at < count; ++at)
        arguments.push_back(narrow_text(given[at]));
    ::LocalFree(given);
    for (const std::string& argument : arguments) {
        if (argument.find('"') != argument.npos)
            console_write("a quotation mark is part of an argument (a backslash before it does that): " + argument +
                          '\n');
    }
    return arguments;
}

std::optional<std::string> environment_value(const std::string& name) {
    const std::wstring wide = wide_text(name);
    std::wstring value(::GetEnvironmentVariableW(wide.c_str(), nullptr, 0), L'\0');
    if (value.empty()) return std::nullopt;
    value.resize(::GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return narrow_text(value);
}

}  // namespace uni
