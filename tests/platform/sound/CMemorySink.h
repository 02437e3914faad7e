#pragma once
/// A sink that keeps what it is given, can hold its writer up and can lose its device.

#include <memory>
#include <span>
#include <vector>

#include "platform/sound/ISoundSink.h"
#include "platform/system/Condition.h"
#include "platform/system/Lock.h"

namespace qrn::test {

/// Shared between the test and the sinks it made. Any thread.
class CSinkRecord {
public:
    std::vector<std::uint8_t> Bytes() QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        return m_bytes;
    }
    int Opens() QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        return m_opens;
    }
    bool IsOpen() QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        return m_open;
    }
    void SetGone(bool gone) QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        m_gone = gone;
    }
    void SetHeldUp(bool heldUp) QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        m_heldUp = heldUp;
        m_changed.NotifyAll();
    }
    /// Until a writer stands in Write.
    void WaitForHeldWriter() QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        while (!m_writerWaits) {
            m_changed.Wait(m_gate);
        }
    }

    bool Open() QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        ++m_opens;
        m_open = !m_gone;
        return m_open;
    }
    bool Write(std::span<const std::uint8_t> bytes) QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        while (m_heldUp) {
            m_writerWaits = true;
            m_changed.NotifyAll();
            m_changed.Wait(m_gate);
        }
        m_writerWaits = false;
        if (m_gone) {
            return false;
        }
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return true;
    }
    void Close() QRN_EXCLUDES(m_gate) {
        const CScopedLock lock(m_gate);
        m_open = false;
    }

private:
    CMutex m_gate;
    CCondition m_changed;
    std::vector<std::uint8_t> m_bytes QRN_GUARDED_BY(m_gate);
    int m_opens QRN_GUARDED_BY(m_gate) = 0;
    bool m_open QRN_GUARDED_BY(m_gate) = false;
    bool m_gone QRN_GUARDED_BY(m_gate) = false;
    bool m_heldUp QRN_GUARDED_BY(m_gate) = false;
    bool m_writerWaits QRN_GUARDED_BY(m_gate) = false;
};

class CMemorySink final : public ISoundSink {
public:
    explicit CMemorySink(std::shared_ptr<CSinkRecord> record) : m_record(std::move(record)) {}

    static SoundSinkMaker Maker(std::shared_ptr<CSinkRecord> record) {
        return [record = std::move(record)] { return std::make_unique<CMemorySink>(record); };
    }

    std::optional<std::string> Open(const SoundFormat&) override {
        return m_record->Open() ? std::nullopt : std::optional<std::string>("gone");
    }
    bool Write(std::span<const std::uint8_t> bytes) override { return m_record->Write(bytes); }
    void Close() override { m_record->Close(); }

private:
    std::shared_ptr<CSinkRecord> m_record;
};

}  // namespace qrn::test
