#include "framework/CVideoTransformFilter.h"

#include <gtest/gtest.h>

#include <string>

#include "Chain.h"
#include "TestFilters.h"

namespace qrn::test {
namespace {

constexpr REFERENCE_TIME kFrame = 400'000;  // 40 ms

class CTimedTransform final : public CVideoTransformFilter {
public:
    explicit CTimedTransform(CAutoClock* clock)
        : CVideoTransformFilter(L"timed", nullptr, GUID_NULL, *clock),
          m_clock(clock) {}

    HRESULT Transform(IMediaSample*, IMediaSample* out) override {
        ++transforms;
        m_clock->Advance(std::chrono::milliseconds(transformMs));
        out->SetActualDataLength(4);
        return transformResult;
    }
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = 1;
        request->cbBuffer = 64;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(10);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }
    HRESULT StartStreaming() override {
        calls += "+";
        return FAILED(startResult) ? startResult : CVideoTransformFilter::StartStreaming();
    }
    HRESULT StopStreaming() override {
        calls += "-";
        return S_OK;
    }
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType*) override {
        calls += direction == PINDIR_INPUT ? "i" : "o";
        return S_OK;
    }
    using CVideoTransformFilter::m_bSampleSkipped;
    using CVideoTransformFilter::m_bSkipping;
    using CVideoTransformFilter::m_itrAvgDecode;
    using CVideoTransformFilter::m_itrLate;
    using CVideoTransformFilter::m_nFramesSinceKeyFrame;
    using CVideoTransformFilter::m_nKeyFramePeriod;
    using CVideoTransformFilter::m_nWaitForKey;

    int transforms = 0;
    int transformMs = 0;
    HRESULT transformResult = S_OK;
    HRESULT startResult = S_OK;
    std::string calls;

private:
    CAutoClock* const m_clock;
};

class VideoTransform : public testing::Test {
protected:
    void SetUp() override {
        m_chain.Add(m_feed.Get());
        m_chain.Add(m_transform.Get());
        m_chain.Add(m_take.Get());
        ASSERT_EQ(m_chain.Connect(&m_feed->pin, m_transform->GetPin(0)), S_OK);
        ASSERT_EQ(m_chain.Connect(m_transform->GetPin(1), &m_take->pin), S_OK);
        m_chain.Run();
        m_transform->calls.clear();
    }
    /// The next picture of a stream without gaps. @return whether it was delivered.
    bool Picture(bool isKey) {
        const std::size_t before = m_take->pin.All().size();
        EXPECT_EQ(m_feed->Feed(m_time, m_time + kFrame, isKey), S_OK);
        m_time += kFrame;
        return m_take->pin.All().size() != before;
    }

    CAutoClock m_clock;
    CHeld<CFeedFilter> m_feed;
    CHeld<CTimedTransform, CAutoClock*> m_transform{&m_clock};
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
    REFERENCE_TIME m_time = 0;
};

TEST_F(VideoTransform, MeanOfTheDecodeTimeMovesByASixteenth) {
    EXPECT_EQ(m_transform->m_itrAvgDecode, 300000);
    m_transform->transformMs = 10;
    Picture(true);
    EXPECT_EQ(m_transform->m_itrAvgDecode, 10 * 625 + 15 * (300000 / 16));
    m_transform->transformMs = 0;
    Picture(false);
    EXPECT_EQ(m_transform->m_itrAvgDecode, 15 * (287500 / 16));
}

TEST_F(VideoTransform, LearnsTheKeyPeriod) {
    Picture(true);
    for (int i = 0; i < 4; ++i) {
        Picture(false);
    }
    EXPECT_EQ(m_transform->m_nKeyFramePeriod, 0) << "not known before the second key picture";
    EXPECT_EQ(m_transform->m_nFramesSinceKeyFrame, 5);
    Picture(true);
    EXPECT_EQ(m_transform->m_nKeyFramePeriod, 5);
    for (int i = 0; i < 7; ++i) {
        Picture(false);
    }
    EXPECT_EQ(m_transform->m_nKeyFramePeriod, 7) << "grows while a longer distance passes";
    Picture(true);
    EXPECT_EQ(m_transform->m_nKeyFramePeriod, 8);
    Picture(false);
    Picture(true);
    EXPECT_EQ(m_transform->m_nKeyFramePeriod, 8) << "a shorter distance does not shrink it";
}

TEST_F(VideoTransform, SkipsToTheNextKeyPictureWhenThatIsNearEnough) {
    for (int i = 0; i < 6; ++i) {
        Picture(i == 0 || i == 5);  // a period of 5
    }
    // Three pictures after the key picture, 5 - 3 - 1 = 1 picture before the next one.
    Picture(false);
    Picture(false);
    m_transform->m_itrLate = kFrame;  // exactly one picture late is not late enough
    EXPECT_TRUE(Picture(false));
    m_transform->m_itrLate = 3 * kFrame;
    const int before = m_transform->transforms;
    EXPECT_FALSE(Picture(false));
    EXPECT_EQ(m_transform->transforms, before) << "not even decoded";
    EXPECT_TRUE(m_transform->m_bSampleSkipped);
    EXPECT_EQ(m_transform->m_itrLate, 2 * kFrame);
    EXPECT_EQ(m_chain.graph->Count(EC_QUALITY_CHANGE), 1u);
    EXPECT_FALSE(Picture(false)) << "once begun it goes on";
    EXPECT_EQ(m_transform->m_itrLate, kFrame);
    EXPECT_TRUE(Picture(true)) << "to the next key picture";
    EXPECT_FALSE(m_transform->m_bSkipping);
    EXPECT_EQ(m_chain.graph->Count(EC_QUALITY_CHANGE), 1u);
}

TEST_F(VideoTransform, DoesNotSkipWhenDecodingIsCheapOrTheKeyPictureFar) {
    for (int i = 0; i < 11; ++i) {
        Picture(i == 0 || i == 10);
    }
    m_transform->m_itrLate = 5 * kFrame;
    EXPECT_TRUE(Picture(false)) << "8 pictures to the next key picture, 5 late";
    m_transform->m_itrAvgDecode = static_cast<int>(kFrame / 4);
    m_transform->m_itrLate = 100 * kFrame;
    EXPECT_TRUE(Picture(false)) << "decoding takes a quarter of the time: skipping would not help";
}

TEST_F(VideoTransform, SamplesWithoutTimesAreNeverSkipped) {
    m_transform->m_nKeyFramePeriod = 2;
    m_transform->m_itrLate = 100 * kFrame;
    EXPECT_EQ(m_feed->Feed(-1, -1, false), S_OK);
    EXPECT_EQ(m_transform->transforms, 1);
    EXPECT_EQ(m_transform->m_nFramesSinceKeyFrame, 0);
}

TEST_F(VideoTransform, LatenessIsTakenUpToThirtySeconds) {
    CBasePin* output = m_transform->GetPin(1);
    EXPECT_EQ(output->Notify(nullptr, {Famine, 500, 299'999'999, 0}), E_FAIL);
    EXPECT_EQ(m_transform->m_itrLate, 299'999'999);
    output->Notify(nullptr, {Famine, 500, 300'000'001, 0});
    EXPECT_EQ(m_transform->m_itrLate, 300'000'001);
    output->Notify(nullptr, {Famine, 500, 5, 0});
    EXPECT_EQ(m_transform->m_itrLate, 300'000'000) << "past the limit it stays there";
    output->Notify(nullptr, {Famine, 500, 5, 0});
    EXPECT_EQ(m_transform->m_itrLate, 5) << "at the limit it is not past it";
}

TEST_F(VideoTransform, AfterADiscontinuityOnlyAKeyPictureShows) {
    const auto sample = m_feed->Sample(0, kFrame, false);
    sample->SetDiscontinuity(TRUE);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), S_OK);
    EXPECT_TRUE(m_take->pin.All().empty());
    EXPECT_EQ(m_transform->m_nWaitForKey, 29);
    EXPECT_EQ(m_chain.graph->Count(EC_QUALITY_CHANGE), 1u);
}

TEST_F(VideoTransform, WaitForAKeyPictureEndsAfterThirty) {
    {
        const auto sample = m_feed->Sample(0, kFrame, false);
        sample->SetDiscontinuity(TRUE);
        m_feed->pin.Deliver(sample.Get());
    }
    int shown = 0;
    for (int i = 0; i < 28; ++i) {
        shown += Picture(false) ? 1 : 0;
    }
    EXPECT_EQ(shown, 0);
    EXPECT_TRUE(Picture(false)) << "the thirtieth picture";
}

TEST_F(VideoTransform, KeyPictureEndsTheWait) {
    {
        const auto sample = m_feed->Sample(0, kFrame, false);
        sample->SetDiscontinuity(TRUE);
        m_feed->pin.Deliver(sample.Get());
    }
    EXPECT_FALSE(Picture(false));
    EXPECT_TRUE(Picture(true));
    EXPECT_TRUE(Picture(false));
}

TEST_F(VideoTransform, NewInputTypeRestartsStreaming) {
    const auto sample = m_feed->Sample(0, kFrame, true);
    const CMediaType type = TypeOf(2);
    sample->SetMediaType(&type);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), S_OK);
    EXPECT_EQ(m_transform->calls, "-i+");
    EXPECT_TRUE(m_transform->GetPin(0)->CurrentMediaType() == TypeOf(2));
    EXPECT_EQ(m_take->pin.All().size(), 1u);
}

TEST_F(VideoTransform, FailedRestartEndsTheStream) {
    m_transform->startResult = E_OUTOFMEMORY;
    const auto sample = m_feed->Sample(0, kFrame, true);
    const CMediaType type = TypeOf(2);
    sample->SetMediaType(&type);
    EXPECT_EQ(m_feed->pin.Deliver(sample.Get()), E_OUTOFMEMORY);
    ASSERT_EQ(m_chain.graph->Count(EC_ERRORABORT), 1u);
    EXPECT_EQ(m_chain.graph->Events()[0].param1, E_OUTOFMEMORY);
    EXPECT_EQ(m_take->pin.Ends(), 1);
}

}  // namespace
}  // namespace qrn::test
