#include "platform/memory/MappedBlock.h"

#include <new>
#include <utility>

#include <sys/mman.h>

namespace Brennvox10 {

MappedBlock::MappedBlock(qsizetype size)
{
    void *p = mmap(
        nullptr, size_t(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (p == MAP_FAILED)
        throw std::bad_alloc();
    m_data = static_cast<char *>(p);
    m_size = size;
}

MappedBlock::~MappedBlock()
{
    if (m_data)
        munmap(m_data, size_t(m_size));
}

MappedBlock::MappedBlock(MappedBlock &&other) noexcept
    : m_data(std::exchange(other.m_data, nullptr))
    , m_size(std::exchange(other.m_size, 0))
{
}

MappedBlock &MappedBlock::operator=(MappedBlock &&other) noexcept
{
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    return *this;
}

} // namespace Brennvox10
