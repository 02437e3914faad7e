#include "audiodevices/CDirectSoundManager.h"

#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr DWORD kBlocksInBuffer = 6;
constexpr DWORD kStartBlocks = 2;
constexpr DWORD kMostBlocks = 5;
constexpr LONGLONG kCeilingMs = 240;
constexpr WORD kBitsPerSample = 16;
constexpr DWORD kBufferFlags =
    DSBCAPS_CTRLPAN | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_GLOBALFOCUS | DSBCAPS_GETCURRENTPOSITION2;

/// A piece of a sound buffer while it is open for writing.
struct LockedPiece {
    void* part1 = nullptr;
    DWORD bytes1 = 0;
    void* part2 = nullptr;
    DWORD bytes2 = 0;

    HRESULT Lock(IDirectSoundBuffer& buffer, DWORD offset, DWORD bytes, DWORD flags) {
        return buffer.Lock(offset, bytes, &part1, &bytes1, &part2, &bytes2, flags);
    }
    void CopyFrom(const BYTE* data) const {
        std::memcpy(part1, data, bytes1);
        if (part2 != nullptr) {
            std::memcpy(part2, data + bytes1, bytes2);
        }
    }
    void Unlock(IDirectSoundBuffer& buffer) const { buffer.Unlock(part1, bytes1, part2, bytes2); }
};

}  // namespace

CDirectSoundManager::~CDirectSoundManager() {
    if (m_buffer && m_playing) {
        m_buffer->Stop();
    }
    m_scratch.reset();
    m_notify.Reset();
    m_buffer.Reset();
    m_directSound.Reset();
}

HRESULT CDirectSoundManager::Create() {
    if (m_window == 0 || m_blockBytes == 0) {
        return 1;
    }
    if (m_created) {
        return 0;
    }
    if (!ComputeGeometry()) {
        return E_INVALIDARG;
    }
    HRESULT result = OpenDevice();
    if (SUCCEEDED(result)) {
        result = CreateBuffer();
    }
    if (FAILED(result)) {
        return result;
    }
    result = m_buffer->QueryInterface(IID_IDirectSoundNotify, m_notify.PutVoid());
    if (FAILED(result)) {
        return result;
    }
    Silence();  // a buffer that cannot be locked now is silent all the same, or lost and looked at in Write
    m_created = true;
    return 0;
}

/// @return false where a division by zero or a size beyond 32 bits would follow.
bool CDirectSoundManager::ComputeGeometry() {
    const DWORD channels = static_cast<WORD>(m_channels);
    const DWORD channelBytesPerMs = m_samplesPerSec / (1000 / 2);
    const std::uint64_t bufferBytes = std::uint64_t{m_blockBytes} * kBlocksInBuffer;
    const std::uint64_t bytesPerMs = std::uint64_t{channels} * m_samplesPerSec * kBitsPerSample / 8 / 1000;
    constexpr std::uint64_t kMost = std::numeric_limits<DWORD>::max();
    if (channels == 0 || channelBytesPerMs == 0 || bufferBytes > kMost || bytesPerMs == 0 || bytesPerMs > kMost) {
        return false;
    }
    m_bufferBytes = static_cast<DWORD>(bufferBytes);
    m_blockMs = m_blockBytes / channels / channelBytesPerMs;
    m_bytesPerMs = static_cast<DWORD>(bytesPerMs);
    return true;
}

HRESULT CDirectSoundManager::OpenDevice() {
    const HRESULT result = DirectSoundCreate(&m_device, m_directSound.Put(), nullptr);
    return FAILED(result) ? result : m_directSound->SetCooperativeLevel(m_window, DSSCL_PRIORITY);
}

HRESULT CDirectSoundManager::CreateBuffer() {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(m_channels);
    format.nSamplesPerSec = m_samplesPerSec;
    format.wBitsPerSample = kBitsPerSample;
    format.nBlockAlign = static_cast<WORD>(format.nChannels * 2);
    format.nAvgBytesPerSec = format.nBlockAlign * m_samplesPerSec;
    DSBUFFERDESC desc{};
    desc.dwSize = kDirectSoundDescBytes;
    desc.dwFlags = kBufferFlags;
    desc.dwBufferBytes = m_bufferBytes;
    desc.lpwfxFormat = &format;
    const HRESULT result = m_directSound->CreateSoundBuffer(&desc, m_buffer.Put(), nullptr);
    if (FAILED(result)) {
        m_buffer.Reset();
    }
    return result;
}

HRESULT CDirectSoundManager::Silence() {
    const std::unique_ptr<BYTE[]> zeros(new (std::nothrow) BYTE[m_bufferBytes]());
    if (!zeros) {
        return E_OUTOFMEMORY;
    }
    LockedPiece piece;
    if (FAILED(piece.Lock(*m_buffer, 0, m_bufferBytes, DSBLOCK_ENTIREBUFFER))) {
        return E_FAIL;
    }
    piece.CopyFrom(zeros.get());
    piece.Unlock(*m_buffer);
    return S_OK;
}

HRESULT CDirectSoundManager::Start() {
    if (!m_buffer || m_playing) {
        return 0;
    }
    m_writeOffset = kStartBlocks * m_blockBytes;
    m_buffer->SetCurrentPosition(0);
    const HRESULT result = m_buffer->Play(0, 0, DSBPLAY_LOOPING);
    m_playing = SUCCEEDED(result);
    return m_playing ? 0 : result;
}

HRESULT CDirectSoundManager::Stop() {
    if (!m_buffer || !m_playing) {
        return 0;
    }
    m_buffer->Stop();
    Silence();
    m_playing = false;
    return 0;
}

void CDirectSoundManager::Restart() {
    Stop();
    Start();
}

HRESULT CDirectSoundManager::Write(const BYTE* data, DWORD length) {
    // A renderer that was connected anew may have lost its block size while the buffer of its first run stands.
    if (!m_created || m_blockBytes == 0) {
        return 1;
    }
    ReviveBuffer();
    DWORD play = m_lastPlayCursor;  // a cursor that cannot be read counts as one that stands still
    DWORD write = 0;
    m_buffer->GetCurrentPosition(&play, &write);
    if (play == m_lastPlayCursor) {
        Restart();
        return 1;
    }
    m_lastPlayCursor = play;
    if (!AdjustLatency(play, write) || length == 0 || length > m_bufferBytes) {
        return 0;
    }
    PlaceBlock(data, length);
    return 0;
}

/// Takes the status for a good one when it cannot be had.
void CDirectSoundManager::ReviveBuffer() {
    DWORD status = 0;
    if (FAILED(m_buffer->GetStatus(&status))) {
        return;
    }
    if ((status & DSBSTATUS_BUFFERLOST) != 0) {
        m_buffer->Restore();
    }
    if ((status & DSBSTATUS_PLAYING) == 0) {
        Restart();
    }
}

/// Measures the delay and brings the write offset back where it has run out of the band.
/// @return false when the block is to be dropped, so that the cursor can catch up.
bool CDirectSoundManager::AdjustLatency(DWORD play, DWORD write) {
    const qrn::CScopedLock lock(m_lock);
    LONGLONG distance = LONGLONG{m_writeOffset} - play;
    if (distance < 0) {
        distance += m_bufferBytes;
    }
    m_latencyMs = distance / m_bytesPerMs;
    if (m_latencyMs < m_blockMs || m_latencyMs > LONGLONG{kMostBlocks} * m_blockMs) {
        // The first block boundary after the write cursor. The delay reported stays the one just measured.
        const std::uint64_t boundary = (std::uint64_t{write} / m_blockBytes + 1) * m_blockBytes;
        m_writeOffset = boundary >= m_bufferBytes ? 0 : static_cast<DWORD>(boundary);
        return true;
    }
    if (m_latencyMs > kCeilingMs) {
        m_latencyMs = kCeilingMs;
        return false;
    }
    return true;
}

void CDirectSoundManager::PlaceBlock(const BYTE* data, DWORD length) {
    LockedPiece piece;
    HRESULT result = piece.Lock(*m_buffer, m_writeOffset, length, 0);
    if (result == DSERR_BUFFERLOST) {
        m_buffer->Restore();
        result = piece.Lock(*m_buffer, m_writeOffset, length, 0);
    }
    if (FAILED(result)) {
        const std::uint64_t next = std::uint64_t{m_writeOffset} + m_blockBytes;
        m_writeOffset = next >= m_bufferBytes ? 0 : static_cast<DWORD>(next);
        return;
    }
    piece.CopyFrom(data);
    const std::uint64_t next = std::uint64_t{m_writeOffset} + length;
    m_writeOffset = next >= m_bufferBytes ? piece.bytes2 : static_cast<DWORD>(next);
    piece.Unlock(*m_buffer);
}

LONGLONG CDirectSoundManager::LatencyMs() {
    const qrn::CScopedLock lock(m_lock);
    return m_latencyMs;
}
