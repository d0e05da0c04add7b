#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace uni {

// A text that all its copies share: it is set anew, and never changed.
class shared_text {
public:
    shared_text() = default;
    explicit shared_text(std::string_view text) : m_text(std::make_shared<const std::string>(text)) {}

    bool empty() const { return std::string_view(*this).empty(); }
    operator std::string_view() const { return m_text != nullptr ? std::string_view(*m_text) : std::string_view{}; }

    friend bool operator==(const shared_text& text, std::string_view other) { return std::string_view(text) == other; }

private:
    std::shared_ptr<const std::string> m_text;  // null: empty
};

}  // namespace uni
