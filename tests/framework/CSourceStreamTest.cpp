#include "framework/CSourceStream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <stdexcept>
#include <string>

#include "Chain.h"
#include "TestFilters.h"
#include "platform/com/TaskMemory.h"

namespace qrn::test {
namespace {

class CScriptedStream final : public CSourceStream {
public:
    CScriptedStream(CSource* filter, const wchar_t* name) : CSourceStream(L"scripted stream", nullptr, filter, name) {}

    HRESULT FillBuffer(IMediaSample* sample) override {
        ++fills;
        CScopedLock lock(m_gate);
        if (m_throws) {
            throw std::runtime_error("out of order");
        }
        if (m_script.empty()) {
            return E_ABORT;
        }
        const HRESULT result = m_script.front();
        m_script.pop_front();
        sample->SetActualDataLength(1);
        return result;
    }
    HRESULT OnThreadCreate() override {
        Note('c');
        return createResult;
    }
    HRESULT OnThreadDestroy() override {
        Note('d');
        return S_OK;
    }
    HRESULT OnThreadStartPlay() override {
        Note('p');
        return S_OK;
    }
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override {
        *type = TypeOf(1);
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = 1;
        request->cbBuffer = 8;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }

    void Script(std::initializer_list<HRESULT> results) {
        CScopedLock lock(m_gate);
        m_script.insert(m_script.end(), results);
    }
    void Throw() {
        CScopedLock lock(m_gate);
        m_throws = true;
    }
    std::string Notes() const {
        CScopedLock lock(m_gate);
        return m_notes;
    }

    std::atomic<int> fills{0};
    HRESULT createResult = S_OK;

private:
    void Note(char what) {
        CScopedLock lock(m_gate);
        m_notes += what;
    }

    mutable CMutex m_gate;
    std::deque<HRESULT> m_script QRN_GUARDED_BY(m_gate);
    bool m_throws QRN_GUARDED_BY(m_gate) = false;
    std::string m_notes QRN_GUARDED_BY(m_gate);
};

class CScriptedSource final : public CSource {
public:
    CScriptedSource() : CSource(L"scripted source", nullptr, GUID_NULL), stream(new CScriptedStream(this, L"Out")) {}
    CScriptedStream* const stream;  // the base deletes it
};

class SourceStream : public testing::Test {
protected:
    void SetUp() override {
        m_chain.Add(m_source.Get());
        m_chain.Add(m_take.Get());
        ASSERT_EQ(m_chain.Connect(m_source->stream, &m_take->pin), S_OK);
    }

    CHeld<CScriptedSource> m_source;
    CHeld<CTakeFilter> m_take;
    CChain m_chain;
};

TEST_F(SourceStream, AbsenceOfASampleKeepsTheStreamAlive) {
    m_source->stream->Script({E_ABORT, E_ABORT, S_OK, E_ABORT, S_OK});
    m_chain.Run();
    EXPECT_TRUE(m_take->pin.WaitForSamples(2));
    EXPECT_TRUE(WaitUntil([this] { return m_source->stream->fills >= 10; })) << "and it goes on asking";
    EXPECT_EQ(m_take->pin.Ends(), 0);
    m_chain.Stop();
    EXPECT_EQ(m_take->pin.All().size(), 2u);
    EXPECT_TRUE(m_chain.graph->Events().empty());
}

TEST_F(SourceStream, EndOfTheStreamIsDeliveredOnce) {
    m_source->stream->Script({S_OK, S_FALSE, S_OK});
    m_chain.Run();
    EXPECT_TRUE(WaitUntil([this] { return m_take->pin.Ends() == 1; }));
    m_chain.Stop();
    EXPECT_EQ(m_take->pin.All().size(), 1u);
    EXPECT_EQ(m_source->stream->fills, 2);
    EXPECT_TRUE(m_chain.graph->Events().empty());
}

TEST_F(SourceStream, FailureEndsTheStreamAndTellsTheGraph) {
    m_source->stream->Script({S_OK, E_OUTOFMEMORY});
    m_chain.Run();
    EXPECT_TRUE(m_chain.graph->WaitFor(EC_ERRORABORT, 1));
    m_chain.Stop();
    EXPECT_EQ(m_take->pin.Ends(), 1);
    EXPECT_EQ(m_chain.graph->Events()[0].param1, E_OUTOFMEMORY);
    EXPECT_EQ(m_source->stream->fills, 2);
}

TEST_F(SourceStream, ExceptionEndsTheStreamNotTheProcess) {
    m_source->stream->Throw();
    m_chain.Run();
    EXPECT_TRUE(m_chain.graph->WaitFor(EC_ERRORABORT, 1));
    EXPECT_EQ(m_chain.Stop(), S_OK);
    EXPECT_EQ(m_take->pin.Ends(), 1);
    EXPECT_EQ(m_source->stream->Notes(), "cpd");
}

TEST_F(SourceStream, RefusalDownstreamLeavesTheLoopQuietly) {
    m_take->pin.onReceive = [](IMediaSample*) { return S_FALSE; };
    m_source->stream->Script({S_OK, S_OK, S_OK});
    m_chain.Run();
    EXPECT_TRUE(m_take->pin.WaitForSamples(1));
    m_chain.Stop();
    EXPECT_EQ(m_source->stream->fills, 1);
    EXPECT_EQ(m_take->pin.Ends(), 0);
    EXPECT_TRUE(m_chain.graph->Events().empty());
}

TEST_F(SourceStream, StopEndsAWaitForABuffer) {
    m_take->pin.keepsSamples = true;
    m_source->stream->Script({S_OK, S_OK});
    m_chain.Run();
    EXPECT_TRUE(m_take->pin.WaitForSamples(1));
    EXPECT_EQ(m_chain.Stop(), S_OK);
    EXPECT_EQ(m_source->stream->Notes(), "cpd");
    EXPECT_FALSE(m_source->stream->ThreadExists());
    m_take->pin.ReleaseKept();
}

TEST_F(SourceStream, RunsAgainAfterAStop) {
    for (int i = 1; i <= 3; ++i) {
        m_source->stream->Script({S_OK});
        m_chain.Run();
        EXPECT_TRUE(m_take->pin.WaitForSamples(static_cast<std::size_t>(i)));
        m_chain.Stop();
    }
    EXPECT_EQ(m_source->stream->Notes(), "cpdcpdcpd");
}

TEST_F(SourceStream, FailedThreadCreationKeepsTheFilterStopped) {
    m_source->stream->createResult = E_ACCESSDENIED;
    EXPECT_EQ(m_source->Pause(), E_ACCESSDENIED);
    EXPECT_TRUE(m_source->IsStopped());
    EXPECT_FALSE(m_source->stream->ThreadExists());
    m_source->stream->createResult = S_OK;
    EXPECT_EQ(m_source->Pause(), S_OK);
}

TEST_F(SourceStream, StreamsFromPauseOn) {
    m_source->stream->Script({S_OK});
    m_chain.Pause();
    EXPECT_TRUE(m_take->pin.WaitForSamples(1));
}

TEST_F(SourceStream, LetGoOfWhileRunningEndsItsThread) {
    m_source->stream->Script({S_OK, S_OK, S_OK});
    CHeld<CScriptedSource> source;
    CHeld<CTakeFilter> take;
    ASSERT_EQ(source->stream->Connect(&take->pin, nullptr), S_OK);
    take->Run(0);
    source->Run(0);
    EXPECT_TRUE(WaitUntil([&source] { return source->stream->fills > 0; }));
    // The other side lets go of the source, then the test does: nobody has stopped it.
    take->Stop();
    take->pin.Disconnect();
    source.Release();
}

TEST(Source, PinsAreNumberedFromOne) {
    CHeld<CScriptedSource> source;
    auto* second = new CScriptedStream(source.Get(), L"More");
    EXPECT_EQ(source->GetPinCount(), 2);
    qrn::ComPtr<IPin> pin;
    ASSERT_EQ(source->FindPin(L"2", pin.Put()), S_OK);
    EXPECT_EQ(pin, static_cast<IPin*>(second));
    wchar_t* id = nullptr;
    ASSERT_EQ(pin->QueryId(&id), S_OK);
    EXPECT_EQ(std::wstring(id), L"2");
    CoTaskMemFree(id);
    pin.Reset();
    for (const wchar_t* wrong : {L"0", L"3", L"-1", L"", L"1x", L"Out", L"99999999999999999999"}) {
        EXPECT_EQ(source->FindPin(wrong, pin.Put()), VFW_E_NOT_FOUND);
    }
    const LONG version = source->GetPinVersion();
    delete source->stream;
    EXPECT_NE(source->GetPinVersion(), version);
    EXPECT_EQ(source->GetPin(0), second);
    EXPECT_EQ(source->GetPin(1), nullptr);
}

TEST(Source, PinOfOneTypeAcceptsThatType) {
    CHeld<CScriptedSource> source;
    CMediaType type;
    CBasePin* pin = source->GetPin(0);
    EXPECT_EQ(pin->GetMediaType(0, &type), S_OK);
    EXPECT_EQ(pin->CheckMediaType(&type), S_OK);
    EXPECT_EQ(pin->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(pin->GetMediaType(-1, &type), E_INVALIDARG);
    const CMediaType other = TypeOf(2);
    EXPECT_EQ(pin->CheckMediaType(&other), E_FAIL);
}

/// Answers commands with their number plus one.
class CEcho final : public CAMThread {
public:
    static constexpr DWORD kEnd = 100;
    static constexpr DWORD kEndUnanswered = 101;
    ~CEcho() override { Close(); }
    std::atomic<int> seen{0};

protected:
    DWORD ThreadProc() override {
        for (;;) {
            const DWORD command = GetRequest();
            ++seen;
            if (command == kEndUnanswered) {
                return 0;
            }
            Reply(command + 1);
            if (command == kEnd) {
                return 0;
            }
        }
    }
};

TEST(AMThread, CommandsAreAnsweredInTurn) {
    CEcho echo;
    EXPECT_EQ(echo.CallWorker(1), static_cast<DWORD>(E_UNEXPECTED)) << "no thread yet";
    ASSERT_TRUE(echo.Create());
    EXPECT_FALSE(echo.Create());
    std::vector<std::thread> callers;
    std::atomic<int> wrong{0};
    for (DWORD caller = 0; caller < 3; ++caller) {
        callers.emplace_back([&echo, &wrong, caller] {
            for (int i = 0; i < 200; ++i) {
                wrong += echo.CallWorker(caller) != caller + 1 ? 1 : 0;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(echo.CallWorker(CEcho::kEnd), CEcho::kEnd + 1);
    echo.Close();
    EXPECT_FALSE(echo.ThreadExists());
}

TEST(AMThread, PostedCommandsNeverAnswerForCalledOnes) {
    CEcho echo;
    ASSERT_TRUE(echo.Create());
    for (DWORD i = 0; i < 200; ++i) {
        echo.PostWorker(50);
        ASSERT_EQ(echo.CallWorker(i % 40), i % 40 + 1);
    }
    echo.CallWorker(CEcho::kEnd);
}

TEST(AMThread, EndOfTheWorkerAnswersItsCaller) {
    CEcho echo;
    ASSERT_TRUE(echo.Create());
    EXPECT_EQ(echo.CallWorker(CEcho::kEndUnanswered), static_cast<DWORD>(E_UNEXPECTED));
    EXPECT_EQ(echo.CallWorker(1), static_cast<DWORD>(E_UNEXPECTED));
    echo.Close();
    ASSERT_TRUE(echo.Create()) << "and another one can be made";
    EXPECT_EQ(echo.CallWorker(1), 2u);
    echo.CallWorker(CEcho::kEnd);
}

}  // namespace
}  // namespace qrn::test
