#pragma once

#include <atomic>
#include <climits>
#include <cstddef>

namespace kest::disk {

// Every allocation of the runs in this executable.
struct allocations {
    std::atomic<long> before_failing = LONG_MAX;  // so many are made, and then
    std::atomic<long> failing = 0;                // so many fail
};
extern allocations allocated;
// Whether the one that is asked for now does.
bool fails();

// What is allocated otherwise, counted where the system knows its size; and what is given back.
void* counted(void* memory);
void release(void* memory);

// The most bytes that were in use at a time, in any process, since this was called last. What the runs' own evidence
// from memory takes is none of them.
std::size_t take_peak_of_allocations();

}  // namespace kest::disk
