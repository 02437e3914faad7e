#include "platform/sound/CSoundBuffer.h"

#include <algorithm>
#include <cinttypes>
#include <functional>
#include <utility>

#include "platform/system/Log.h"

namespace qrn {

namespace {

constexpr std::chrono::milliseconds kFeederPeriod{10};
constexpr std::size_t kPeriodMs = kFeederPeriod.count();
constexpr std::size_t kPlayedMs = 1000;
/// A device that stays away is asked for this often, since every try may take a while.
constexpr std::chrono::seconds kReopenPeriod{1};

DWORD Ahead(const SoundFormat& format, DWORD bufferBytes) {
    const std::size_t halfFrames = bufferBytes / 2 / format.FrameBytes();
    return static_cast<DWORD>(std::min(format.BytesOf(kPeriodMs), halfFrames * format.FrameBytes()));
}

}  // namespace

HRESULT CSoundBuffer::Create(std::unique_ptr<ISoundSink> sink, const SoundFormat& format, const DSBUFFERDESC& desc,
                             IClock& clock, IDirectSoundBuffer** buffer) {
    auto made = ComPtr<CSoundBuffer>::Adopt(new CSoundBuffer(std::move(sink), format, desc, clock));
    if (!made->m_feeder.Start("qrn-sound", [self = made.Get()] { self->Feed(); })) {
        qrn::Log(LogLevel::kWarn, "sound", "no thread for a sound buffer");
        return E_OUTOFMEMORY;
    }
    *buffer = made.Detach();
    return DS_OK;
}

CSoundBuffer::CSoundBuffer(std::unique_ptr<ISoundSink> sink, const SoundFormat& format, const DSBUFFERDESC& desc,
                           IClock& clock)
    : m_format(format),
      m_bufferBytes(desc.dwBufferBytes),
      m_hasNotify((desc.dwFlags & DSBCAPS_CTRLPOSITIONNOTIFY) != 0),
      m_aheadBytes(Ahead(format, desc.dwBufferBytes)),
      m_clock(clock),
      m_copy(desc.dwBufferBytes),
      m_sink(std::move(sink)),
      m_circle(format, desc.dwBufferBytes),
      m_played(format.BytesOf(kPlayedMs)),
      m_piece(format.BytesOf(kPeriodMs * 2)) {}

CSoundBuffer::~CSoundBuffer() {
    m_ending = true;
    m_wake.Set();
    if (m_feeder.IsHeld()) {
        m_feeder.Join();
    }
    const CScopedLock lock(m_sinkGate);
    m_sink->Close();
}

HRESULT CSoundBuffer::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IUnknown || id == IID_IDirectSoundBuffer) {
        *object = static_cast<IDirectSoundBuffer*>(this);
    } else if (id == IID_IDirectSoundNotify && m_hasNotify) {
        *object = static_cast<IDirectSoundNotify*>(this);
    } else {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG CSoundBuffer::AddRef() {
    return ++m_references;
}

ULONG CSoundBuffer::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CSoundBuffer::GetCurrentPosition(DWORD* play, DWORD* write) {
    const CScopedLock lock(m_gate);
    Advance();
    const std::size_t cursor = m_circle.Cursor();
    if (play != nullptr) {
        *play = static_cast<DWORD>(cursor);
    }
    if (write != nullptr) {
        *write = static_cast<DWORD>((cursor + (m_circle.IsPlaying() ? m_aheadBytes : 0)) % m_bufferBytes);
    }
    return DS_OK;
}

HRESULT CSoundBuffer::GetStatus(DWORD* status) {
    if (status == nullptr) {
        return E_INVALIDARG;
    }
    const CScopedLock lock(m_gate);
    *status = m_lost ? DSBSTATUS_BUFFERLOST : 0;
    if (m_circle.IsPlaying()) {
        *status |= DSBSTATUS_PLAYING | DSBSTATUS_LOOPING;
    }
    return DS_OK;
}

HRESULT CSoundBuffer::Lock(DWORD offset, DWORD bytes, void** part1, DWORD* bytes1, void** part2, DWORD* bytes2,
                           DWORD flags) {
    if (part1 == nullptr || bytes1 == nullptr || (flags & ~DSBLOCK_ENTIREBUFFER) != 0) {
        return E_INVALIDARG;
    }
    if ((flags & DSBLOCK_ENTIREBUFFER) != 0) {
        bytes = m_bufferBytes;
    }
    if (offset >= m_bufferBytes || bytes == 0 || bytes > m_bufferBytes) {
        return E_INVALIDARG;
    }
    const DWORD head = std::min(bytes, m_bufferBytes - offset);
    const DWORD tail = bytes - head;
    if (tail > 0 && (part2 == nullptr || bytes2 == nullptr)) {
        return E_INVALIDARG;
    }
    if (IsLost()) {
        return DSERR_BUFFERLOST;
    }
    *part1 = m_copy.data() + offset;
    *bytes1 = head;
    if (part2 != nullptr) {
        *part2 = tail > 0 ? m_copy.data() : nullptr;
    }
    if (bytes2 != nullptr) {
        *bytes2 = tail;
    }
    return DS_OK;
}

bool CSoundBuffer::IsPart(const void* part, DWORD bytes) const {
    const BYTE* const begin = m_copy.data();
    const auto* const at = static_cast<const BYTE*>(part);
    const std::less<const BYTE*> before;
    return !before(at, begin) && before(at, begin + m_bufferBytes) &&
           bytes <= m_bufferBytes - static_cast<std::size_t>(at - begin);
}

HRESULT CSoundBuffer::Unlock(void* part1, DWORD bytes1, void* part2, DWORD bytes2) {
    if (!IsPart(part1, bytes1) || (part2 != nullptr && !IsPart(part2, bytes2))) {
        return E_INVALIDARG;
    }
    const CScopedLock lock(m_gate);
    // What was heard up to now was the old sound.
    Advance();
    const auto commit = [this](const void* part, DWORD bytes) QRN_REQUIRES(m_gate) {
        const auto* const at = static_cast<const BYTE*>(part);
        m_circle.Write(static_cast<std::size_t>(at - m_copy.data()), std::span(at, bytes));
    };
    commit(part1, bytes1);
    if (part2 != nullptr) {
        commit(part2, bytes2);
    }
    return DS_OK;
}

HRESULT CSoundBuffer::Play(DWORD reserved1, DWORD reserved2, DWORD flags) {
    if (reserved1 != 0 || reserved2 != 0 || (flags & ~DSBPLAY_LOOPING) != 0) {
        return E_INVALIDARG;
    }
    if ((flags & DSBPLAY_LOOPING) == 0) {
        return E_NOTIMPL;
    }
    {
        const CScopedLock lock(m_gate);
        if (m_lost) {
            return DSERR_BUFFERLOST;
        }
        m_circle.Play(m_clock.Now());
    }
    m_wake.Set();
    return DS_OK;
}

HRESULT CSoundBuffer::SetCurrentPosition(DWORD play) {
    if (play >= m_bufferBytes) {
        return E_INVALIDARG;
    }
    const CScopedLock lock(m_gate);
    Advance();
    m_circle.SetCursor(play - play % m_format.FrameBytes(), m_clock.Now());
    return DS_OK;
}

HRESULT CSoundBuffer::Stop() {
    {
        const CScopedLock lock(m_gate);
        Advance();
        m_circle.Stop();
    }
    m_wake.Set();  // for what was played and has not gone out yet
    return DS_OK;
}

HRESULT CSoundBuffer::Restore() {
    const CScopedLock sinkLock(m_sinkGate);
    if (!IsLost()) {
        return DS_OK;
    }
    const auto now = m_clock.Now();
    if (now < m_nextReopen) {
        return DSERR_BUFFERLOST;
    }
    m_sink->Close();
    if (m_sink->Open(m_format)) {
        m_nextReopen = now + kReopenPeriod;
        return DSERR_BUFFERLOST;  // the loss has been told of already
    }
    m_nextReopen = {};
    qrn::Log(LogLevel::kInfo, "sound", "the sound device is back");
    const CScopedLock lock(m_gate);
    m_lost = false;
    return DS_OK;
}

bool CSoundBuffer::IsPlaying() {
    const CScopedLock lock(m_gate);
    return m_circle.IsPlaying();
}

bool CSoundBuffer::IsLost() {
    const CScopedLock lock(m_gate);
    return m_lost;
}

void CSoundBuffer::SetLost() {
    qrn::Log(LogLevel::kWarn, "sound", "the sound device has gone");
    const CScopedLock lock(m_gate);
    m_circle.Stop();
    m_played.Clear();
    m_lost = true;
}

void CSoundBuffer::Advance() {
    m_droppedBytes += m_circle.Advance(m_clock.Now(), m_played);
}

std::size_t CSoundBuffer::TakePlayed() {
    std::size_t bytes = 0;
    std::uint64_t dropped = 0;
    {
        const CScopedLock lock(m_gate);
        Advance();
        bytes = m_played.Pop(m_piece);
        dropped = std::exchange(m_droppedBytes, 0);
    }
    if (dropped > 0) {
        qrn::Log(LogLevel::kWarn, "sound", "more than a second late, %" PRIu64 " bytes are lost", dropped);
    }
    return bytes;
}

/// @return true when a whole piece went out, so that more may be due. Less than that is left to the next tick: time
/// goes on while the sink writes, and there would always be another frame.
bool CSoundBuffer::FeedSink() {
    const CScopedLock sinkLock(m_sinkGate);
    const std::size_t bytes = TakePlayed();
    if (bytes == 0) {
        return false;
    }
    if (!m_sink->Write(std::span(m_piece).first(bytes))) {
        SetLost();
        return false;
    }
    return bytes == m_piece.size();
}

void CSoundBuffer::Feed() {
    auto next = m_clock.Now();
    while (!m_ending) {
        while (!m_ending && FeedSink()) {
        }
        if (!IsPlaying()) {
            m_wake.Wait(m_clock, std::chrono::nanoseconds(-1));
            next = m_clock.Now();
            continue;
        }
        // On a grid that never moves, so that waking late does not add up; ticks that went by are made up at once.
        const auto now = m_clock.Now();
        if (now >= next) {
            next += ((now - next) / kFeederPeriod + 1) * kFeederPeriod;
        }
        m_wake.Wait(m_clock, next - now);
    }
    Stop();
    while (FeedSink()) {
    }
}

}  // namespace qrn
