#include "platform/memory/Prefault.h"

#include <cstdint>

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

} // namespace Brennvox10
