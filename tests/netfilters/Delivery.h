#pragma once
/// What a receiver's graph delivers, for a test to wait on.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/system/Condition.h"
#include "qrn/filters.h"
#include "support/FakeClock.h"

namespace qrn::test {

struct Delivered {
    std::string text;
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    bool hasMediaTime;
    bool isSyncPoint;
    bool isPreroll;
};

/// What reaches the sink, for the test to wait on.
class CDelivery {
public:
    void Add(IMediaSample* sample) QRN_EXCLUDES(m_gate) {
        Delivered delivered{};
        BYTE* data = nullptr;
        LONGLONG mediaStart = 0;
        LONGLONG mediaStop = 0;
        sample->GetPointer(&data);
        delivered.text.assign(data, data + sample->GetActualDataLength());
        EXPECT_EQ(sample->GetTime(&delivered.start, &delivered.stop), S_OK);
        delivered.hasMediaTime = sample->GetMediaTime(&mediaStart, &mediaStop) == S_OK;
        delivered.isSyncPoint = sample->IsSyncPoint() == S_OK;
        delivered.isPreroll = sample->IsPreroll() == S_OK;
        const qrn::CScopedLock lock(m_gate);
        m_samples.push_back(delivered);
        m_changed.NotifyAll();
    }

    /// The samples once `isEnough` says so of them; fails the test when that takes too long.
    template <class Enough>
    std::vector<Delivered> WaitUntil(Enough isEnough) QRN_EXCLUDES(m_gate) {
        const auto start = qrn::SystemClock().Now();
        const qrn::CScopedLock lock(m_gate);
        while (!isEnough(m_samples)) {
            if (qrn::SystemClock().Now() - start > qrn::test::kTestPatience) {
                ADD_FAILURE() << "not delivered in time";
                break;
            }
            m_changed.WaitFor(m_gate, std::chrono::milliseconds(100));
        }
        return m_samples;
    }

private:
    qrn::CMutex m_gate;
    qrn::CCondition m_changed;
    std::vector<Delivered> m_samples QRN_GUARDED_BY(m_gate);
};

inline bool HasText(const std::vector<Delivered>& samples, const std::string& text) {
    for (const Delivered& sample : samples) {
        if (sample.text == text) {
            return true;
        }
    }
    return false;
}

}  // namespace qrn::test
