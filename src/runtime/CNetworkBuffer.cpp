#include "runtime/CNetworkBuffer.h"

#include <algorithm>

#include "runtime/OwnedBytes.h"
#include "runtime/exceptions.h"

namespace {

std::uint32_t CheckedCount(std::uint32_t count) {
    if (count == 0) {
        throw exc_CNetworkBuffer_(L"CNetworkBuffer", 28, L"was not possible create the circular buffer.", 0);
    }
    return count;
}

template <class T>
void Give(T* out, T value) {
    if (out != nullptr) {
        *out = value;
    }
}

}  // namespace

CNetworkBuffer::CNetworkBuffer(std::uint32_t count) : CRing(CheckedCount(count)) {}

bool CNetworkBuffer::Push(const std::uint8_t* bytes, std::uint32_t length, std::uint32_t timestamp,
                          std::uint8_t payloadType) {
    CQRN_AutoLock lock(&m_lock);
    if (m_count == 0) {
        return false;
    }
    const bool nothingLost = MakeRoom();
    CPacket& slot = SlotAt(m_write);
    if (length > slot.m_capacity) {
        qrn::ReplaceBytes(slot.m_data, slot.m_capacity, length);
    }
    slot.m_length = std::min(length, slot.m_capacity);
    qrn::CopyOrClear(slot.m_data, bytes, slot.m_length);
    slot.m_timestamp = timestamp;
    slot.m_payloadType = payloadType;
    FinishPush();
    return nothingLost;
}

bool CNetworkBuffer::Pop(std::uint8_t* destination, std::uint32_t* length, std::uint32_t* timestamp,
                         std::uint32_t* lost, std::uint8_t* payloadType) {
    if (destination == nullptr || length == nullptr) {
        return false;
    }
    CQRN_AutoLock lock(&m_lock);
    if (m_empty || m_count == 0) {
        return false;
    }
    const CPacket& slot = SlotAt(m_read);
    if (*length < slot.m_length) {
        return false;
    }
    *length = slot.m_length;
    Give(timestamp, slot.m_timestamp);
    Give(lost, slot.m_lost);
    Give(payloadType, slot.m_payloadType);
    qrn::CopyOrClear(destination, slot.m_data, slot.m_length);
    FinishPop();
    return true;
}
