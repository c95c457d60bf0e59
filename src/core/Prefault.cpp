// SPDX-License-Identifier: MIT
#include "core/Prefault.h"

#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace Brennvox10 {

void prefault(void *memory, size_t bytes)
{
#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23
#endif
    static const uintptr_t page = uintptr_t(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = (uintptr_t(memory) + page - 1) & ~(page - 1);
    const uintptr_t end = (uintptr_t(memory) + bytes) & ~(page - 1);
    // Older kernels refuse the advice; the pages then fault in as they are touched.
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_POPULATE_WRITE);
}

thread_local size_t failNextBlockOf = 0;

std::unique_ptr<char[]> bulkBlock(size_t bytes)
{
    if (failNextBlockOf && bytes >= failNextBlockOf) {
        failNextBlockOf = 0;
        throw std::bad_alloc();
    }
    auto block = std::make_unique_for_overwrite<char[]>(bytes);
    if (bytes >= 64 * 1024)
        prefault(block.get(), bytes);
    return block;
}

} // namespace Brennvox10
