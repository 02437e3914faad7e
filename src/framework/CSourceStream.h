#pragma once
/// An output pin of a CSource with the worker thread that fills its samples.

#include <atomic>

#include "framework/CAMThread.h"
#include "framework/CBaseOutputPin.h"
#include "framework/CSource.h"

/// Active makes the thread and pauses it, Inactive ends it. The filter must not be destroyed while it is active.
class CSourceStream : public CAMThread, public CBaseOutputPin {
public:
    /// @param pinName  also the thread's name.
    CSourceStream(const wchar_t* objectName, HRESULT* result, CSource* filter, const wchar_t* pinName);
    ~CSourceStream() override;

    /// The commands of the worker.
    enum Command : DWORD { CMD_INIT = 0, CMD_PAUSE = 1, CMD_RUN = 2, CMD_STOP = 3, CMD_EXIT = 4 };

    HRESULT QueryId(wchar_t** id) override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    // Commands to the worker; each waits for its answer.
    HRESULT Init() { return static_cast<HRESULT>(CallWorker(CMD_INIT)); }
    HRESULT Exit() { return static_cast<HRESULT>(CallWorker(CMD_EXIT)); }
    using CBasePin::Run;
    HRESULT Run() { return static_cast<HRESULT>(CallWorker(CMD_RUN)); }
    HRESULT Pause() { return static_cast<HRESULT>(CallWorker(CMD_PAUSE)); }
    HRESULT Stop() { return static_cast<HRESULT>(CallWorker(CMD_STOP)); }

protected:
    DWORD ThreadProc() override;

    /// Fills a sample. S_OK: delivered. S_FALSE: the stream ends. E_ABORT: no sample this time, go on. Other failures
    /// end the stream with EC_ERRORABORT. Must not block for long: commands wait meanwhile.
    virtual HRESULT FillBuffer(IMediaSample* sample) = 0;
    /// On the worker; a failure keeps the pin from becoming active.
    virtual HRESULT OnThreadCreate();
    virtual HRESULT OnThreadDestroy();
    virtual HRESULT OnThreadStartPlay();
    /// Until a command ends it.
    virtual HRESULT DoBufferProcessingLoop();

    /// Whether the worker makes samples while the filter is paused. A live source does not.
    virtual bool StreamsWhilePaused() const { return true; }
    /// Whether the worker is inside its buffer loop, where it may be held up by the filters after it.
    bool IsLooping() const { return m_looping; }

    // CBasePin. A pin of one type overrides GetMediaType(type); one of several the form with a position, and
    // CheckMediaType.
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    virtual HRESULT GetMediaType(CMediaType* type);

private:
    enum class Step { kGoOn, kLeave };

    void RunLoop();
    void EndStream(HRESULT failure);
    HRESULT ProduceSample(Step& step);
    Step AnswerRequest(DWORD command);

    CSource* const m_source;
    std::atomic<bool> m_looping{false};
};
