#include "runtime/CPacket.h"

#include <algorithm>

#include "platform/imaging/IppMemory.h"
#include "runtime/OwnedBytes.h"

CPacket::~CPacket() {
    ippsFree(m_data);
    m_data = nullptr;
}

CPacket& CPacket::operator=(const CPacket& other) {
    if (this == &other) {
        return *this;
    }
    if (other.m_length == 0) {
        CopyAll(other);
        return *this;
    }
    if (m_capacity < other.m_length) {
        qrn::ReplaceBytes(m_data, m_capacity, other.m_length);
    }
    m_length = std::min(other.m_length, m_capacity);
    qrn::CopyOrClear(m_data, other.m_data, m_length);
    CopyFacts(other);
    return *this;
}

void CPacket::CopyAll(const CPacket& other) {
    if (this == &other) {
        return;
    }
    if (m_data == nullptr || m_capacity < other.m_capacity) {
        qrn::ReplaceBytes(m_data, m_capacity, other.m_capacity);
    }
    // The capacity recorded may fall below the memory held: a later, larger copy allocates again. That is meant.
    m_capacity = std::min(m_capacity, other.m_capacity);
    m_length = std::min(other.m_length, m_capacity);
    qrn::CopyOrClear(m_data, other.m_data, m_length);
    CopyFacts(other);
}

bool CPacket::Allocate(std::uint32_t size) {
    m_length = 0;
    return m_capacity >= size || qrn::ReplaceBytes(m_data, m_capacity, size);
}

void CPacket::CopyFacts(const CPacket& other) {
    m_timestamp = other.m_timestamp;
    m_sequence = other.m_sequence;
    m_lost = other.m_lost;
    m_payloadType = other.m_payloadType;
}
