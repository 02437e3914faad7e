#pragma once
/// What the rings of packets and of buffers share: the arithmetic of a ring that drops its oldest element when full,
/// because in a live call late media is worth less than fresh media.

#include <cstdint>
#include <memory>

#include "runtime/CQRN_Lock.h"

namespace qrn {

/// One lock is held for the whole of each operation, so that a producer and a consumer on different threads need
/// nothing more. No operation waits. Slots keep their memory from one use to the next.
template <class Slot>
class CRing {
public:
    virtual ~CRing() = default;
    CRing(const CRing&) = delete;
    CRing& operator=(const CRing&) = delete;

    /// @return false when the oldest element was dropped for this one.
    bool Push(const Slot& element) QRN_EXCLUDES(m_lock) {
        CQRN_AutoLock lock(&m_lock);
        if (m_count == 0) {
            return false;
        }
        const bool nothingLost = MakeRoom();
        SlotAt(m_write) = element;
        FinishPush();
        return nothingLost;
    }

    /// @return false, with `element` as it was, when the ring is empty.
    bool Pop(Slot& element) QRN_EXCLUDES(m_lock) {
        CQRN_AutoLock lock(&m_lock);
        if (m_empty || m_count == 0) {
            return false;
        }
        element = SlotAt(m_read);
        FinishPop();
        return true;
    }

    /// Whether at most two slots are free. The limit is unsigned, so a ring of one slot never is; that is meant.
    bool IsAlmostFull() QRN_EXCLUDES(m_lock) {
        CQRN_AutoLock lock(&m_lock);
        return m_used >= m_count - 2;
    }

    /// Gives the ring another number of fresh slots and leaves its positions as they are, so it is for a ring that is
    /// idle and empty. The same number keeps everything. With 0 slots the ring takes and gives nothing.
    void Resize(std::uint32_t count) QRN_EXCLUDES(m_lock) {
        CQRN_AutoLock lock(&m_lock);
        if (count != m_count) {
            m_slots = std::make_unique<Slot[]>(count);
            m_count = count;
        }
    }

protected:
    /// @param count  not 0: the derived class has seen to that.
    explicit CRing(std::uint32_t count) : m_slots(std::make_unique<Slot[]>(count)), m_count(count) {}

    /// Positions that a Resize left beyond the end stand for the slots from the start again.
    Slot& SlotAt(std::uint32_t index) QRN_REQUIRES(m_lock) { return m_slots[index % m_count]; }

    /// Drops the oldest element of a full ring. @return whether there was room without that.
    bool MakeRoom() QRN_REQUIRES(m_lock) {
        if (!m_full) {
            return true;
        }
        FinishPop();
        return false;
    }

    void FinishPush() QRN_REQUIRES(m_lock) {
        Advance(m_write);
        ++m_used;
        m_full = m_used >= m_count;
        if (m_full) {
            m_used = m_count;
        }
        m_empty = false;
    }

    void FinishPop() QRN_REQUIRES(m_lock) {
        Advance(m_read);
        --m_used;
        m_empty = m_used == 0;
        m_full = false;
    }

    std::unique_ptr<Slot[]> m_slots QRN_GUARDED_BY(m_lock);
    std::uint32_t m_count QRN_GUARDED_BY(m_lock);
    std::uint32_t m_read QRN_GUARDED_BY(m_lock) = 0;   ///< next slot to read
    std::uint32_t m_write QRN_GUARDED_BY(m_lock) = 0;  ///< next slot to write
    std::uint32_t m_used QRN_GUARDED_BY(m_lock) = 0;   ///< occupied slots
    bool m_full QRN_GUARDED_BY(m_lock) = false;
    bool m_empty QRN_GUARDED_BY(m_lock) = true;
    CQRN_Lock m_lock;

private:
    void Advance(std::uint32_t& index) QRN_REQUIRES(m_lock) {
        ++index;
        if (index >= m_count) {
            index = 0;
        }
    }
};

}  // namespace qrn
