#pragma once
// A block of memory for bulk data that is written once and kept: mapped and backed in one call.
// Touching fresh pages one at a time costs a fault each, and under a hypervisor a fault costs
// microseconds; a list of a hundred thousand values would otherwise spend as long faulting as
// reading.

#include <QtGlobal>

namespace Brennvox10 {

class MappedBlock {
public:
    // std::bad_alloc when the memory cannot be had.
    explicit MappedBlock(qsizetype size);
    ~MappedBlock();
    MappedBlock(MappedBlock &&other) noexcept;
    MappedBlock &operator=(MappedBlock &&other) noexcept;
    MappedBlock(const MappedBlock &) = delete;
    MappedBlock &operator=(const MappedBlock &) = delete;

    char *data() const { return m_data; }
    qsizetype size() const { return m_size; }

private:
    char *m_data = nullptr;
    qsizetype m_size = 0;
};

} // namespace Brennvox10
