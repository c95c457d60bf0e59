// SPDX-License-Identifier: MIT
#pragma once
// Memory for bulk data that is filled once and kept: backed in one call per block. Touching fresh
// pages one by one faults once per page, and under a hypervisor a fault costs microseconds; a list
// of a million rows would otherwise spend as long faulting as reading.

#include <cstddef>
#include <memory>
#include <vector>

namespace Brennvox10 {

// Backs the pages of a fresh block in one call; where the kernel refuses, they fault in as touched.
void prefault(void *memory, size_t bytes);

// A block for bulk data, backed in one call when large. Throws std::bad_alloc when memory runs out.
std::unique_ptr<char[]> bulkBlock(size_t bytes);

// Test seam, so that running out of memory can be tried: the next bulkBlock of at least this many
// bytes throws std::bad_alloc and the seam disarms itself. 0, never, unless a test sets it.
extern thread_local size_t failNextBlockOf;

// For the arrays that grow with the row count.
template <typename T> struct PrefaultAllocator {
    using value_type = T;
    PrefaultAllocator() = default;
    template <typename U> PrefaultAllocator(const PrefaultAllocator<U> &) { }
    T *allocate(size_t n)
    {
        T *p = std::allocator<T>().allocate(n);
        if (n * sizeof(T) >= 256 * 1024)
            prefault(p, n * sizeof(T));
        return p;
    }
    void deallocate(T *p, size_t n) { std::allocator<T>().deallocate(p, n); }
    template <typename U> bool operator==(const PrefaultAllocator<U> &) const { return true; }
};

template <typename T> using BulkVector = std::vector<T, PrefaultAllocator<T>>;

} // namespace Brennvox10
