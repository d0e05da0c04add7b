#include <array>
#include <cstdlib>
#include <unistd.h>

#include "portable/host.h"

namespace uni {

std::optional<std::string> host_name() {
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
    return name.data();
}

std::vector<std::string> take_arguments(int count, char** arguments) {
    return {arguments, arguments + count};
}

std::optional<std::string> environment_value(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return value;
}

}  // namespace uni
