#include "framework/CPosPassThru.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "Chain.h"
#include "TestFilters.h"
#include "framework/CBaseRenderer.h"
#include "framework/CRendererPosPassThru.h"
#include "framework/CTransformFilter.h"

namespace qrn::test {
namespace {

constexpr HRESULT kAnswer = 0x00041234;  // a success that nobody makes up

/// A source's view of the position: notes what it is asked and answers kAnswer. Its own format counts half the units of
/// media time.
class CSeekingPin final : public CBaseOutputPin, public IMediaSeeking, public IMediaPosition {
public:
    DECLARE_IUNKNOWN

    CSeekingPin(CBaseFilter* filter, CCritSec* lock) : CBaseOutputPin(L"seeking pin", filter, lock, nullptr, L"Out") {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        if (id == IID_IMediaSeeking && seeks) {
            return GetInterface(static_cast<IMediaSeeking*>(this), object);
        }
        if (id == IID_IMediaPosition && seeks) {
            return GetInterface(static_cast<IMediaPosition*>(this), object);
        }
        return CBaseOutputPin::NonDelegatingQueryInterface(id, object);
    }
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(1);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES wanted{2, 16, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(&wanted, &actual);
    }

    HRESULT GetCapabilities(DWORD* bits) override { return Note("GetCapabilities", bits, DWORD{7}); }
    HRESULT CheckCapabilities(DWORD* bits) override { return Note("CheckCapabilities", bits, *bits & 1); }
    HRESULT IsFormatSupported(const GUID* format) override { return NoteFormat("IsFormatSupported", format); }
    HRESULT QueryPreferredFormat(GUID* format) override { return Note("QueryPreferredFormat", format, IID_IPin); }
    HRESULT GetTimeFormat(GUID* format) override { return Note("GetTimeFormat", format, IID_IPin); }
    HRESULT IsUsingTimeFormat(const GUID* format) override { return NoteFormat("IsUsingTimeFormat", format); }
    HRESULT SetTimeFormat(const GUID* format) override { return NoteFormat("SetTimeFormat", format); }
    HRESULT GetDuration(LONGLONG* duration) override { return Note("GetDuration", duration, LONGLONG{500}); }
    HRESULT GetStopPosition(LONGLONG* stop) override { return Note("GetStopPosition", stop, LONGLONG{400}); }
    HRESULT GetCurrentPosition(LONGLONG* now) override { return Note("GetCurrentPosition", now, LONGLONG{33}); }
    HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* to, LONGLONG source, const GUID* from) override {
        const bool isFromMedia = to == nullptr && *from == TIME_FORMAT_MEDIA_TIME;
        return Note("ConvertTimeFormat", target, isFromMedia ? source / 2 : -source);
    }
    HRESULT SetPositions(LONGLONG* now, DWORD nowFlags, LONGLONG* stop, DWORD stopFlags) override {
        *now += nowFlags;
        return Note("SetPositions", stop, LONGLONG{stopFlags});
    }
    HRESULT GetPositions(LONGLONG* now, LONGLONG* stop) override {
        *now = 1;
        return Note("GetPositions", stop, LONGLONG{2});
    }
    HRESULT GetAvailable(LONGLONG* first, LONGLONG* last) override {
        *first = 3;
        return Note("GetAvailable", last, LONGLONG{4});
    }
    HRESULT SetRate(double rate) override { return NoteNumber("SetRate", rate); }
    HRESULT GetRate(double* rate) override { return Note("GetRate", rate, 1.25); }
    HRESULT GetPreroll(LONGLONG* preroll) override { return Note("GetPreroll", preroll, LONGLONG{9}); }

    HRESULT get_Duration(REFTIME* duration) override { return Note("get_Duration", duration, 5.0); }
    HRESULT put_CurrentPosition(REFTIME now) override { return NoteNumber("put_CurrentPosition", now); }
    HRESULT get_CurrentPosition(REFTIME* now) override { return Note("get_CurrentPosition", now, 6.0); }
    HRESULT get_StopTime(REFTIME* stop) override { return Note("get_StopTime", stop, 7.0); }
    HRESULT put_StopTime(REFTIME stop) override { return NoteNumber("put_StopTime", stop); }
    HRESULT get_PrerollTime(REFTIME* preroll) override { return Note("get_PrerollTime", preroll, 8.0); }
    HRESULT put_PrerollTime(REFTIME preroll) override { return NoteNumber("put_PrerollTime", preroll); }
    HRESULT put_Rate(double rate) override { return NoteNumber("put_Rate", rate); }
    HRESULT get_Rate(double* rate) override { return Note("get_Rate", rate, 9.0); }
    HRESULT CanSeekForward(LONG* can) override { return Note("CanSeekForward", can, LONG{-1}); }
    HRESULT CanSeekBackward(LONG* can) override { return Note("CanSeekBackward", can, LONG{-1}); }

    bool seeks = true;
    std::string called;
    double number = 0;
    GUID givenFormat{};

private:
    template <class T, class Value>
    HRESULT Note(const char* name, T* out, Value value) {
        called = name;
        *out = value;
        return kAnswer;
    }
    HRESULT NoteFormat(const char* name, const GUID* given) {
        called = name;
        givenFormat = *given;
        return kAnswer;
    }
    HRESULT NoteNumber(const char* name, double given) {
        called = name;
        number = given;
        return kAnswer;
    }
};

class CSeekingSource final : public CBaseFilter {
public:
    CSeekingSource() : CBaseFilter(L"seeking source", nullptr, &m_lock, GUID_NULL) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

private:
    CCritSec m_lock;

public:
    CSeekingPin pin{this, &m_lock};
};

class CThrough final : public CTransformFilter {
public:
    CThrough() : CTransformFilter(L"through", nullptr, GUID_NULL) {}
    HRESULT Transform(IMediaSample*, IMediaSample*) override { return S_OK; }
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType*, const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES wanted{2, 16, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(&wanted, &actual);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        *type = TypeOf(2);
        return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
    }
};

class CPromptRenderer final : public CBaseRenderer {
public:
    CPromptRenderer() : CBaseRenderer(GUID_NULL, L"prompt", nullptr, nullptr) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT ShouldDrawSampleNow(IMediaSample*, REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
    HRESULT DoRenderSample(IMediaSample*) override { return S_OK; }
};

/// Source, transform, renderer: what the renderer is asked, the source answers by way of the transform.
class Position : public testing::Test {
protected:
    Position() {
        m_chain.Add(m_source.Get());
        m_chain.Add(m_transform.Get());
        m_chain.Add(m_renderer.Get());
        m_renderer->QueryInterface(IID_IMediaSeeking, m_seeking.PutVoid());
        m_renderer->QueryInterface(IID_IMediaPosition, m_position.PutVoid());
    }
    void Connect() {
        ASSERT_EQ(m_chain.Connect(&m_source->pin, m_transform->GetPin(0)), S_OK);
        ASSERT_EQ(m_chain.Connect(m_transform->GetPin(1), m_renderer->GetPin(0)), S_OK);
    }
    HRESULT Feed(REFERENCE_TIME start, REFERENCE_TIME stop) {
        ComPtr<IMediaSample> sample;
        m_source->pin.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0);
        sample->SetTime(&start, &stop);
        return m_source->pin.Deliver(sample.Get());
    }
    LONGLONG Now() {
        LONGLONG now = -1;
        EXPECT_TRUE(SUCCEEDED(m_seeking->GetCurrentPosition(&now)));
        return now;
    }

    CHeld<CSeekingSource> m_source;
    CHeld<CThrough> m_transform;
    CHeld<CPromptRenderer> m_renderer;
    CChain m_chain;
    ComPtr<IMediaSeeking> m_seeking;
    ComPtr<IMediaPosition> m_position;
};

TEST_F(Position, BelongsToItsFilterAndPin) {
    Connect();
    ASSERT_TRUE(m_seeking && m_position);
    EXPECT_EQ(m_position.As<IBaseFilter>(), static_cast<IBaseFilter*>(m_renderer.Get()));
    EXPECT_TRUE(m_position.As<IMediaSeeking>() == m_seeking);
    ComPtr<IMediaSeeking> ofPin;
    ASSERT_EQ(m_transform->GetPin(1)->QueryInterface(IID_IMediaSeeking, ofPin.PutVoid()), S_OK);
    EXPECT_EQ(ofPin.As<IPin>(), static_cast<IPin*>(m_transform->GetPin(1)));
    EXPECT_EQ(m_renderer->QueryInterface(IID_IMediaSeeking, nullptr), E_POINTER);
}

TEST_F(Position, IsNotImplementedWhereNobodyUpstreamKnowsIt) {
    LONGLONG number = 0;
    REFTIME seconds = 0;
    EXPECT_EQ(m_seeking->GetDuration(&number), E_NOTIMPL);  // not connected
    Connect();
    m_source->pin.seeks = false;
    EXPECT_EQ(m_seeking->GetDuration(&number), E_NOTIMPL);
    EXPECT_EQ(m_position->get_Duration(&seconds), E_NOTIMPL);
    EXPECT_EQ(m_seeking->GetCurrentPosition(nullptr), E_POINTER);
}

struct SeekingCase {
    const char* name;
    HRESULT (*ask)(IMediaSeeking& seeking, IMediaPosition& position, double& got);
    double expected;  // of what came back, or of what arrived
};

template <class T>
double Value(T value) {
    return static_cast<double>(value);
}

constexpr SeekingCase kCases[] = {
#define QRN_READS(object, T, Operation, expected)                          \
    {                                                                      \
#Operation,                                                              \
     [](IMediaSeeking& seeking, IMediaPosition& position, double& got) {      \
         static_cast<void>(seeking), static_cast<void>(position);             \
         T value{};                                                           \
         const HRESULT result = object.Operation(&value);                     \
         got = Value(value);                                                  \
         return result;                                                       \
     },                                                                       \
     expected \
    }
#define QRN_WRITES(object, Operation)                                      \
    {                                                                      \
#Operation,                                                              \
     [](IMediaSeeking& seeking, IMediaPosition& position, double&) {          \
         static_cast<void>(seeking), static_cast<void>(position);             \
         return object.Operation(2.5);                                        \
     },                                                                       \
     2.5 \
    }
    QRN_READS(seeking, DWORD, GetCapabilities, 7),
    QRN_READS(seeking, LONGLONG, GetDuration, 500),
    QRN_READS(seeking, LONGLONG, GetStopPosition, 400),
    QRN_READS(seeking, double, GetRate, 1.25),
    QRN_READS(seeking, LONGLONG, GetPreroll, 9),
    QRN_WRITES(seeking, SetRate),
    QRN_READS(position, REFTIME, get_Duration, 5),
    QRN_READS(position, REFTIME, get_CurrentPosition, 6),
    QRN_READS(position, REFTIME, get_StopTime, 7),
    QRN_READS(position, REFTIME, get_PrerollTime, 8),
    QRN_READS(position, double, get_Rate, 9),
    QRN_READS(position, LONG, CanSeekForward, -1),
    QRN_READS(position, LONG, CanSeekBackward, -1),
    QRN_WRITES(position, put_CurrentPosition),
    QRN_WRITES(position, put_StopTime),
    QRN_WRITES(position, put_PrerollTime),
    QRN_WRITES(position, put_Rate),
#undef QRN_READS
#undef QRN_WRITES
};

class PassedOn : public Position, public testing::WithParamInterface<SeekingCase> {};

TEST_P(PassedOn, ThroughTheTransformToTheSource) {
    Connect();
    double got = 0;
    EXPECT_EQ(GetParam().ask(*m_seeking, *m_position, got), kAnswer);
    EXPECT_EQ(m_source->pin.called, GetParam().name);
    EXPECT_EQ(got != 0 ? got : m_source->pin.number, GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(Operations, PassedOn, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Position, OperationsOfSeveralValuesArePassedOnWhole) {
    Connect();
    DWORD bits = 3;
    EXPECT_EQ(m_seeking->CheckCapabilities(&bits), kAnswer);
    EXPECT_EQ(bits, 1u);
    for (const auto operation :
         {&IMediaSeeking::IsFormatSupported, &IMediaSeeking::IsUsingTimeFormat, &IMediaSeeking::SetTimeFormat}) {
        m_source->pin.givenFormat = GUID_NULL;
        EXPECT_EQ((*m_seeking.*operation)(&TIME_FORMAT_FRAME), kAnswer);
        EXPECT_EQ(m_source->pin.givenFormat, TIME_FORMAT_FRAME);
    }
    GUID format{};
    EXPECT_EQ(m_seeking->QueryPreferredFormat(&format), kAnswer);
    EXPECT_EQ(m_seeking->GetTimeFormat(&format), kAnswer);
    EXPECT_EQ(m_source->pin.called, "GetTimeFormat");
    EXPECT_EQ(format, IID_IPin);
    LONGLONG a = 10;
    LONGLONG b = 20;
    EXPECT_EQ(m_seeking->SetPositions(&a, 1, &b, 2), kAnswer);
    EXPECT_EQ(a, 11);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(m_seeking->GetPositions(&a, &b), kAnswer);
    EXPECT_EQ(a * 10 + b, 12);
    EXPECT_EQ(m_seeking->GetAvailable(&a, &b), kAnswer);
    EXPECT_EQ(a * 10 + b, 34);
    EXPECT_EQ(m_seeking->ConvertTimeFormat(&a, &TIME_FORMAT_FRAME, 5, &TIME_FORMAT_BYTE), kAnswer);
    EXPECT_EQ(a, -5);
}

TEST_F(Position, IsThatOfWhatIsRendered) {
    Connect();
    EXPECT_EQ(Now(), 33) << "nothing rendered: the source's word";
    m_chain.Run();
    m_source->pin.DeliverNewSegment(1000, 9000, 2.0);
    ASSERT_EQ(Feed(50, 60), S_OK);
    EXPECT_EQ(Now(), (1000 + 50 * 2) / 2) << "in the source's format";
    m_source->pin.DeliverBeginFlush();
    m_source->pin.DeliverEndFlush();
    EXPECT_EQ(Now(), 33);
    ASSERT_EQ(Feed(70, 80), S_OK);
    EXPECT_EQ(Now(), 570);
    m_source->pin.DeliverEndOfStream();
    EXPECT_EQ(Now(), 400) << "all rendered: the stop position";
    m_chain.Stop();
    EXPECT_EQ(Now(), 33);
}

TEST_F(Position, TakesNoHarmFromTimesThatMakeNoSense) {
    Connect();
    m_chain.Run();
    for (const double rate : {1e300, std::numeric_limits<double>::quiet_NaN(), -1e300}) {
        m_source->pin.DeliverNewSegment(INT64_MAX, INT64_MAX, rate);
        ASSERT_EQ(Feed(INT64_MAX - 1, INT64_MAX), S_OK);
        EXPECT_EQ(Now(), 33);
    }
}

TEST_F(Position, KeepsItsFilter) {
    m_chain.Stop();
    const LONG before = CBaseObject::ActiveObjects();
    ComPtr<IMediaSeeking> seeking;
    {
        CHeld<CPromptRenderer> renderer;
        renderer->QueryInterface(IID_IMediaSeeking, seeking.PutVoid());
    }
    EXPECT_GT(CBaseObject::ActiveObjects(), before);
    LONGLONG number = 0;
    EXPECT_EQ(seeking->GetDuration(&number), E_NOTIMPL);
    seeking.Reset();
    EXPECT_EQ(CBaseObject::ActiveObjects(), before);
}

}  // namespace
}  // namespace qrn::test
