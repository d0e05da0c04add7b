#pragma once

#include <atomic>
#include <climits>
#include <cstddef>

namespace kest::disk {

// Every allocation of the runs in this executable, which are processes of their own.
struct allocations {
    std::atomic<long> before_failing = LONG_MAX;  // so many are made, and then
    std::atomic<long> failing = 0;                // so many fail
};
extern allocations allocated;

// The most bytes that were in use at a time, in any process, since this was called last. What the runs' own evidence
// from memory takes is none of them.
std::size_t take_peak_of_allocations();

}  // namespace kest::disk
