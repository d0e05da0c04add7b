#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace uni {

// What millions of records hold each.

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

// A part that few have: it takes no memory where it is empty. Copies have each their own.
template <class part>
class optional_part {
public:
    optional_part() = default;
    optional_part(const optional_part& other)
        : m_part(other.m_part ? std::make_unique<part>(*other.m_part) : nullptr) {}
    optional_part(optional_part&&) noexcept = default;
    optional_part& operator=(const optional_part& other) { return *this = optional_part(other); }
    optional_part& operator=(optional_part&&) noexcept = default;
    ~optional_part() = default;

    const part& operator*() const {
        static const part none;
        return m_part ? *m_part : none;
    }
    const part* operator->() const { return &**this; }
    // To be written to.
    part& made() {
        if (!m_part) m_part = std::make_unique<part>();
        return *m_part;
    }
    void clear() { m_part.reset(); }

private:
    std::unique_ptr<part> m_part;
};

// A set of few values in ascending order, side by side. A single one, the usual case, is held without an allocation.
template <class value>
class small_set {
public:
    small_set() = default;
    small_set(std::initializer_list<value> values) {
        for (const value& v : values)
            insert(v);
    }

    small_set(const small_set&) = default;
    small_set(small_set&& other) noexcept { swap(other); }
    small_set& operator=(small_set other) noexcept {
        swap(other);
        return *this;
    }
    ~small_set() = default;

    const value* begin() const { return m_count > 1 ? m_many->data() : &m_single; }
    const value* end() const { return begin() + m_count; }
    std::size_t size() const { return m_count; }
    bool empty() const { return m_count == 0; }
    bool contains(const value& v) const { return std::binary_search(begin(), end(), v); }
    bool operator==(const small_set& other) const { return std::ranges::equal(*this, other); }

    // Says whether the value is new. Costs a step for each higher value in the set.
    bool insert(const value& v) {
        const value* const at = std::lower_bound(begin(), end(), v);
        if (at != end() && *at == v) return false;
        const auto offset = at - begin();
        if (m_count == 0) {
            m_single = v;
        } else {
            std::vector<value>& many = m_many.made();
            if (m_count == 1) many.assign(1, m_single);
            many.insert(many.begin() + offset, v);
        }
        ++m_count;
        return true;
    }

private:
    void swap(small_set& other) noexcept {
        std::swap(m_single, other.m_single);
        std::swap(m_count, other.m_count);
        std::swap(m_many, other.m_many);
    }

    value m_single{};
    std::size_t m_count = 0;
    optional_part<std::vector<value>> m_many;  // all of them, if there are several
};

}  // namespace uni
