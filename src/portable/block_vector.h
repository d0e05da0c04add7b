#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "portable/large_pages.h"

namespace uni {

// Values by position that stay where they are as more come: none is copied, and there is never room for as many again.
template <class value>
class block_vector {
public:
    class iterator {
    public:
        using value_type = value;
        using difference_type = std::ptrdiff_t;

        iterator() = default;
        iterator(const block_vector& values, std::size_t at) : m_values(&values), m_at(at) {}

        const value& operator*() const { return (*m_values)[m_at]; }
        iterator& operator++() {
            ++m_at;
            return *this;
        }
        iterator operator++(int) { return std::exchange(*this, {*m_values, m_at + 1}); }
        bool operator==(const iterator&) const = default;

    private:
        const block_vector* m_values = nullptr;
        std::size_t m_at = 0;
    };

    std::size_t size() const { return m_first.size() + size_of_further(); }
    bool empty() const { return m_first.empty() && size_of_further() == 0; }
    iterator begin() const { return {*this, 0}; }
    iterator end() const { return {*this, size()}; }

    const value& operator[](std::size_t at) const {
        if (at < m_first.size()) return m_first[at];
        at -= m_first.size();
        return m_further[at / in_block][at % in_block];
    }
    value& operator[](std::size_t at) { return const_cast<value&>(std::as_const(*this)[at]); }

    // What is reserved before there are any lies in one piece.
    void reserve(std::size_t count) {
        if (empty()) m_first.reserve(count);
    }
    value& push_back(value added) { return block_with_room().emplace_back(std::move(added)); }
    void pop_back() {
        if (!m_further.empty() && m_further.back().empty()) m_further.pop_back();
        (m_further.empty() ? m_first : m_further.back()).pop_back();
    }

private:
    static constexpr std::size_t in_block = std::max<std::size_t>(1, (std::size_t{1} << 20) / sizeof(value));

    std::size_t size_of_further() const {
        return m_further.empty() ? 0 : (m_further.size() - 1) * in_block + m_further.back().size();
    }
    large_vector<value>& block_with_room() {
        if (m_further.empty() && m_first.size() < m_first.capacity()) return m_first;
        if (m_further.empty() || m_further.back().size() == in_block) {
            large_vector<value> block;
            block.reserve(in_block);
            m_further.push_back(std::move(block));
        }
        return m_further.back();
    }

    large_vector<value> m_first;  // full once there are further ones
    std::vector<large_vector<value>> m_further;
};

}  // namespace uni
