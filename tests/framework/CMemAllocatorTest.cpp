#include "framework/CMemAllocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "framework/CMediaType.h"

namespace {

class MemAllocator : public testing::Test {
protected:
    void SetUp() override {
        m_allocator = new CMemAllocator(L"allocator", nullptr, nullptr);
        m_reference = qrn::ComPtr<IMemAllocator>::Share(m_allocator);
    }
    HRESULT Set(LONG count, LONG bytes, LONG alignment = 1, LONG prefix = 0) {
        const ALLOCATOR_PROPERTIES request{count, bytes, alignment, prefix};
        return m_allocator->SetProperties(&request, &m_actual);
    }
    qrn::ComPtr<IMediaSample> Get() {
        qrn::ComPtr<IMediaSample> sample;
        m_result = m_allocator->GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT);
        return sample;
    }
    /// For threads beside the test's own.
    qrn::ComPtr<IMediaSample> Wait() const {
        qrn::ComPtr<IMediaSample> sample;
        m_allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0);
        return sample;
    }

    CMemAllocator* m_allocator = nullptr;
    qrn::ComPtr<IMemAllocator> m_reference;
    ALLOCATOR_PROPERTIES m_actual{};
    HRESULT m_result = S_OK;
};

struct PropertiesCase {
    const char* name;
    ALLOCATOR_PROPERTIES request;
    HRESULT set;
    HRESULT commit;
};

class AllocatorProperties : public testing::TestWithParam<PropertiesCase> {};

TEST_P(AllocatorProperties, AreCheckedWhenSetAndWhenCommitted) {
    const auto allocator = qrn::ComPtr<IMemAllocator>::Share(new CMemAllocator(L"allocator", nullptr, nullptr));
    ALLOCATOR_PROPERTIES actual{};
    EXPECT_EQ(allocator->SetProperties(&GetParam().request, &actual), GetParam().set);
    if (SUCCEEDED(GetParam().set)) {
        EXPECT_EQ(actual.cbBuffer, GetParam().request.cbBuffer);
        EXPECT_EQ(actual.cBuffers, GetParam().request.cBuffers);
    }
    EXPECT_EQ(allocator->Commit(), GetParam().commit);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AllocatorProperties,
    testing::Values(PropertiesCase{"Plain", {2, 100, 1, 0}, S_OK, S_OK},
                    PropertiesCase{"AlignedWithPrefix", {2, 100, 64, 24}, S_OK, S_OK},
                    PropertiesCase{"NoBuffers", {0, 100, 1, 0}, S_OK, VFW_E_SIZENOTSET},
                    PropertiesCase{"NoBytes", {2, 0, 1, 0}, S_OK, VFW_E_SIZENOTSET},
                    PropertiesCase{"NoAlignment", {2, 100, 0, 0}, VFW_E_BADALIGN, VFW_E_SIZENOTSET},
                    PropertiesCase{"OddAlignment", {2, 100, 12, 0}, VFW_E_BADALIGN, VFW_E_SIZENOTSET},
                    PropertiesCase{"AlignmentBeyondAPage", {2, 100, 8192, 0}, VFW_E_BADALIGN, VFW_E_SIZENOTSET},
                    PropertiesCase{"NegativeSize", {2, -1, 1, 0}, E_INVALIDARG, VFW_E_SIZENOTSET},
                    PropertiesCase{"NegativeCount", {-2, 10, 1, 0}, E_INVALIDARG, VFW_E_SIZENOTSET}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(MemAllocator, BuffersAreZeroedAlignedAndApart) {
    ASSERT_EQ(Set(3, 100, 64, 8), S_OK);
    ASSERT_EQ(m_allocator->Commit(), S_OK);
    std::vector<qrn::ComPtr<IMediaSample>> samples;
    for (int i = 0; i < 3; ++i) {
        samples.push_back(Get());
        ASSERT_EQ(m_result, S_OK);
        BYTE* buffer = nullptr;
        ASSERT_EQ(samples.back()->GetPointer(&buffer), S_OK);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % 64, 0u);
        EXPECT_EQ(samples.back()->GetSize(), 100);
        for (int j = -8; j < 100; ++j) {
            EXPECT_EQ(buffer[j], 0) << "buffer " << i << " was written through another one, byte " << j;
        }
        std::memset(buffer - 8, 0xEE, 108);
    }
}

TEST_F(MemAllocator, WithoutWaitingAnEmptyAllocatorTimesOut) {
    Set(1, 10);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(m_result, VFW_E_NOT_COMMITTED);
    ASSERT_EQ(m_allocator->Commit(), S_OK);
    const auto sample = Get();
    ASSERT_EQ(m_result, S_OK);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(m_result, VFW_E_TIMEOUT);
}

TEST_F(MemAllocator, WaiterGetsTheBufferThatComesBack) {
    Set(1, 10);
    m_allocator->Commit();
    auto sample = Get();
    std::thread waiter([this] { EXPECT_TRUE(Wait()); });
    sample.Reset();
    waiter.join();
    EXPECT_EQ(m_allocator->FreeCount(), 1);
}

TEST_F(MemAllocator, DecommitEndsEveryWait) {
    Set(1, 10);
    m_allocator->Commit();
    auto sample = Get();
    std::vector<std::thread> waiters;
    std::atomic<int> refused{0};
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([this, &refused] {
            IMediaSample* none = nullptr;
            if (m_allocator->GetBuffer(&none, nullptr, nullptr, 0) == VFW_E_NOT_COMMITTED && none == nullptr) {
                ++refused;
            }
        });
    }
    EXPECT_EQ(m_allocator->Decommit(), S_OK);
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(refused, 3);
}

TEST_F(MemAllocator, OutstandingSampleStaysValidAndKeepsTheAllocator) {
    const LONG before = CBaseObject::ActiveObjects();
    Set(2, 10);
    m_allocator->Commit();
    auto sample = Get();
    EXPECT_EQ(m_allocator->Decommit(), S_OK);
    EXPECT_EQ(Set(1, 20), VFW_E_BUFFERS_OUTSTANDING);
    m_reference.Reset();
    EXPECT_EQ(CBaseObject::ActiveObjects(), before);
    BYTE* buffer = nullptr;
    sample->GetPointer(&buffer);
    std::memset(buffer, 1, 10);
    sample.Reset();
    EXPECT_EQ(CBaseObject::ActiveObjects(), before - 1);
}

TEST_F(MemAllocator, CommitWhileSamplesAreOutUsesThemOn) {
    Set(2, 10);
    m_allocator->Commit();
    EXPECT_EQ(Set(2, 10), VFW_E_ALREADY_COMMITTED);
    auto sample = Get();
    m_allocator->Decommit();
    ASSERT_EQ(m_allocator->Commit(), S_OK);
    const auto second = Get();
    EXPECT_EQ(m_result, S_OK);
    EXPECT_EQ(Get(), nullptr) << "two buffers were asked for, two are out";
    sample.Reset();
    EXPECT_TRUE(Get());
}

TEST_F(MemAllocator, SampleComesBackClean) {
    Set(1, 10);
    m_allocator->Commit();
    auto sample = Get();
    const REFERENCE_TIME start = 5;
    const CMediaType type(&MEDIATYPE_Video);
    sample->SetTime(&start, nullptr);
    sample->SetMediaTime(&start, &start);
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(TRUE);
    sample->SetPreroll(TRUE);
    sample->SetMediaType(&type);
    sample->SetActualDataLength(3);
    sample.Reset();

    sample = Get();
    REFERENCE_TIME time = 0;
    AM_MEDIA_TYPE* changed = nullptr;
    EXPECT_EQ(sample->GetTime(&time, &time), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_EQ(sample->GetMediaTime(&time, &time), VFW_E_MEDIA_TIME_NOT_SET);
    EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
    EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
    EXPECT_EQ(sample->IsPreroll(), S_FALSE);
    EXPECT_EQ(sample->GetMediaType(&changed), S_FALSE);
    EXPECT_EQ(sample->GetActualDataLength(), 10);
}

TEST_F(MemAllocator, SampleTimesAsTheyWereSet) {
    Set(1, 10);
    m_allocator->Commit();
    const auto sample = Get();
    REFERENCE_TIME start = 100;
    REFERENCE_TIME end = 250;
    REFERENCE_TIME gotStart = 0;
    REFERENCE_TIME gotEnd = 0;
    sample->SetTime(&start, &end);
    EXPECT_EQ(sample->GetTime(&gotStart, &gotEnd), S_OK);
    EXPECT_EQ(gotEnd, 250);
    sample->SetTime(&start, nullptr);
    EXPECT_EQ(sample->GetTime(&gotStart, &gotEnd), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(gotStart, 100);
    EXPECT_EQ(gotEnd, 101);
    sample->SetTime(nullptr, nullptr);
    EXPECT_EQ(sample->GetTime(&gotStart, &gotEnd), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_EQ(sample->SetMediaTime(&start, nullptr), E_POINTER);
    EXPECT_EQ(sample->SetActualDataLength(11), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->GetActualDataLength(), 10);
}

TEST_F(MemAllocator, SamplePropertiesGoThroughInPart) {
    Set(1, 10);
    m_allocator->Commit();
    const auto sample = Get();
    const auto sample2 = sample.As<IMediaSample2>();
    ASSERT_TRUE(sample2);
    AM_SAMPLE2_PROPERTIES properties{};
    properties.dwSampleFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TYPECHANGED;
    properties.lActual = 6;
    properties.tStart = 77;
    properties.dwStreamId = 9;
    const auto* bytes = reinterpret_cast<const BYTE*>(&properties);
    ASSERT_EQ(sample2->SetProperties(offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId), bytes), S_OK);
    AM_SAMPLE2_PROPERTIES got{};
    ASSERT_EQ(sample2->GetProperties(sizeof(got), reinterpret_cast<BYTE*>(&got)), S_OK);
    EXPECT_EQ(got.cbData, sizeof(got));
    EXPECT_EQ(got.dwSampleFlags, AM_SAMPLE_TIMEVALID | AM_SAMPLE_SPLICEPOINT) << "no type came with the flag";
    EXPECT_EQ(got.lActual, 6);
    EXPECT_EQ(got.tStart, 77);
    EXPECT_EQ(got.dwStreamId, AM_STREAM_MEDIA) << "beyond what was set";
    ASSERT_EQ(sample2->SetProperties(sizeof(properties), bytes), S_OK);
    sample2->GetProperties(sizeof(got), reinterpret_cast<BYTE*>(&got));
    EXPECT_EQ(got.dwStreamId, 9u);

    properties.lActual = 11;
    EXPECT_EQ(sample2->SetProperties(sizeof(properties), bytes), VFW_E_BUFFER_OVERFLOW);
    properties.lActual = 2;
    BYTE elsewhere = 0;
    properties.pbBuffer = &elsewhere;
    EXPECT_EQ(sample2->SetProperties(sizeof(properties), bytes), E_INVALIDARG);
    EXPECT_EQ(sample->GetActualDataLength(), 6) << "a refusal changes nothing";
}

TEST_F(MemAllocator, ManyThreadsShareFewBuffers) {
    Set(3, 8);
    m_allocator->Commit();
    std::vector<std::thread> users;
    std::atomic<int> clashes{0};
    for (int user = 0; user < 4; ++user) {
        users.emplace_back([this, user, &clashes] {
            for (int i = 0; i < 500; ++i) {
                const auto sample = Wait();
                BYTE* buffer = nullptr;
                sample->GetPointer(&buffer);
                std::memset(buffer, user, 8);
                clashes += buffer[0] != user || buffer[7] != user ? 1 : 0;
            }
        });
    }
    for (std::thread& user : users) {
        user.join();
    }
    EXPECT_EQ(clashes, 0);
    EXPECT_EQ(m_allocator->FreeCount(), 3);
}

}  // namespace
