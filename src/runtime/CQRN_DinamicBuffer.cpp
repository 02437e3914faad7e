#include "runtime/CQRN_DinamicBuffer.h"

#include <algorithm>

#include "platform/imaging/IppMemory.h"
#include "runtime/OwnedBytes.h"

CQRN_DinamicBuffer::~CQRN_DinamicBuffer() {
    ippsFree(m_data);
    m_data = nullptr;
}

CQRN_DinamicBuffer& CQRN_DinamicBuffer::operator=(const CQRN_DinamicBuffer& other) {
    if (this == &other) {
        return *this;
    }
    if (m_data == nullptr || m_capacity < other.m_capacity) {
        qrn::ReplaceBytes(m_data, m_capacity, other.m_capacity);
    }
    m_capacity = std::min(m_capacity, other.m_capacity);
    m_length = std::min(other.m_length, m_capacity);
    qrn::CopyOrClear(m_data, other.m_data, m_capacity);
    return *this;
}

void CQRN_DinamicBuffer::Reserve(std::uint32_t size) {
    if (size <= m_capacity) {
        return;
    }
    m_length = 0;
    std::uint8_t* const grown = qrn::AllocateBytes(size);
    if (grown == nullptr) {
        return;
    }
    qrn::CopyOrClear(grown, m_data, m_capacity);
    ippsFree(m_data);
    m_data = grown;
    m_capacity = size;
}

void CQRN_DinamicBuffer::Assign(const std::uint8_t* bytes, std::uint32_t size) {
    if (size > m_capacity) {
        qrn::ReplaceBytes(m_data, m_capacity, size);
    }
    m_length = std::min(size, m_capacity);
    qrn::CopyOrClear(m_data, bytes, m_length);
}
