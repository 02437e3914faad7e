#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>

#include "CountedNew.h"
#include "FilterBench.h"
#include "MemoryStream.h"
#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "audiocoding/CPropPageAudioCompressor.h"
#include "audiocoding/CPropPageAudioDeCompressor.h"
#include "framework/CMemAllocator.h"

namespace {

using qrn::test::CAllocationFault;
using qrn::test::CFilterBench;

/// Lets each allocation of `call` fail in turn: that is its answer then, and not an exception. The last round, which
/// has all the memory that it wants, must do well.
void ExpectAnswers(const std::function<HRESULT()>& call) {
    for (int allowed = 0;; ++allowed) {
        HRESULT result = S_OK;
        bool hasStruck = false;
        {
            const CAllocationFault fault(allowed);
            result = call();
            hasStruck = fault.HasStruck();
        }
        if (!hasStruck) {
            EXPECT_GT(allowed, 0) << "nothing was ever allocated";
            EXPECT_EQ(result, S_OK);
            return;
        }
        ASSERT_EQ(result, E_OUTOFMEMORY) << "without the allocation behind " << allowed << " others";
    }
}

class AudioOutOfMemory : public testing::Test {
protected:
    template <class Filter>
    Filter* Make() {
        HRESULT result = S_OK;
        CUnknown* filter = Filter::CreateInstance(nullptr, &result);
        m_bench.emplace(filter);
        return static_cast<Filter*>(filter);
    }
    static CMediaType CodedType(WORD tag) {
        CMediaType type = qrn::test::PcmType(1650, 2);
        std::memcpy(type.Format(), &tag, sizeof(tag));
        return type;
    }

    std::optional<CFilterBench> m_bench;
};

TEST_F(AudioOutOfMemory, IsTheAnswerOfCreation) {
    for (auto* create : {CAudioCompressor::CreateInstance, CAudioDeCompressor::CreateInstance,
                         CPropPageAudioCompressor::CreateInstance, CPropPageAudioDeCompressor::CreateInstance}) {
        ExpectAnswers([create] {
            HRESULT result = S_OK;
            CUnknown* made = create(nullptr, &result);
            EXPECT_EQ(made == nullptr, FAILED(result));
            if (made != nullptr) {
                made->NonDelegatingAddRef();
                made->NonDelegatingRelease();
            }
            return result;
        });
    }
}

TEST_F(AudioOutOfMemory, IsTheAnswerOfTheCompressor) {
    auto* filter = Make<CAudioCompressor>();
    for (DWORD codec = 0; codec < 6; ++codec) {
        ASSERT_EQ(filter->SetChannels(2), S_OK);
        ExpectAnswers([&] { return filter->SetCodec(codec, 44); });
    }
    Make<CAudioCompressor>();
    const auto stream = qrn::test::CMemoryStream::Create();
    ASSERT_EQ(m_bench->As<IPersistStream>()->Save(stream.Get(), FALSE), S_OK);
    ExpectAnswers([&] {
        stream->Rewind();
        return m_bench->As<IPersistStream>()->Load(stream.Get());
    });
    filter = Make<CAudioCompressor>();
    ASSERT_EQ(filter->SetChannels(2), S_OK);
    const CMediaType stereo = qrn::test::PcmType(8000, 2);
    ExpectAnswers([&] { return filter->CheckInputType(&stereo); });
}

TEST_F(AudioOutOfMemory, IsTheAnswerOfTheDeCompressor) {
    auto* filter = Make<CAudioDeCompressor>();
    for (WORD tag = 14212; tag < 14218; ++tag) {
        const CMediaType type = CodedType(tag);
        ExpectAnswers([&] { return filter->SetMediaType(PINDIR_INPUT, &type); });
    }
    ASSERT_EQ(m_bench->ConnectInput(CodedType(14212)), S_OK);
    qrn::ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.Put());
    ALLOCATOR_PROPERTIES request{0, 0, 1, 0};
    ExpectAnswers([&] { return filter->DecideBufferSize(allocator.Get(), &request); });
}

}  // namespace
