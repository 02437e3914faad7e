#pragma once
/// A sound device whose cursor the test moves and whose failures it chooses. Used on the test's own thread.

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/sound/DirectSound.h"

namespace qrn::test {

/// What happened to the device and its buffer, in order, and what is to happen.
struct FakeSound {
    // Results that the operations give.
    HRESULT createResult = S_OK;
    HRESULT levelResult = S_OK;
    HRESULT bufferResult = S_OK;
    HRESULT statusResult = S_OK;
    HRESULT positionResult = S_OK;
    HRESULT playResult = S_OK;
    HRESULT lockResult = S_OK;
    bool hasNotify = true;
    bool comesBack = true;    // Restore succeeds
    bool loseAtLock = false;  // the next Lock finds the device gone

    // The device as it stands.
    std::vector<BYTE> bytes;
    DWORD play = 0;
    DWORD ahead = 0;  // from the play to the write cursor
    bool playing = false;
    bool lost = false;

    // What was asked for.
    GUID device{};
    DirectSoundWindow window = 0;
    DWORD level = 0;
    DSBUFFERDESC desc{};
    WAVEFORMATEX format{};
    std::vector<std::string> calls;
    DWORD lockOffset = 0;
    DWORD lockBytes = 0;

    void Note(const char* call) { calls.emplace_back(call); }
    std::ptrdiff_t Count(const std::string& call) const { return std::count(calls.begin(), calls.end(), call); }
    void MovePlay(DWORD count) { play = static_cast<DWORD>((std::size_t{play} + count) % bytes.size()); }
    void Lose() {
        lost = true;
        playing = false;
    }
};

class CFakeSoundBuffer final : public IDirectSoundBuffer, public IDirectSoundNotify {
public:
    explicit CFakeSoundBuffer(FakeSound& sound) : m_sound(sound) {}

    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id == IID_IDirectSoundNotify && m_sound.hasNotify) {
            *object = static_cast<IDirectSoundNotify*>(this);
        } else if (id == IID_IDirectSoundBuffer || id == IID_IUnknown) {
            *object = static_cast<IDirectSoundBuffer*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        m_sound.Note(left == 0 ? "buffer gone" : "buffer released");
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT GetCurrentPosition(DWORD* play, DWORD* write) override {
        if (FAILED(m_sound.positionResult)) {
            return m_sound.positionResult;
        }
        *play = m_sound.play;
        *write = static_cast<DWORD>((std::size_t{m_sound.play} + (m_sound.playing ? m_sound.ahead : 0)) %
                                    m_sound.bytes.size());
        return S_OK;
    }
    HRESULT GetStatus(DWORD* status) override {
        *status =
            (m_sound.lost ? DSBSTATUS_BUFFERLOST : 0) | (m_sound.playing ? DSBSTATUS_PLAYING | DSBSTATUS_LOOPING : 0);
        return m_sound.statusResult;
    }
    HRESULT Lock(DWORD offset, DWORD count, void** part1, DWORD* bytes1, void** part2, DWORD* bytes2,
                 DWORD flags) override {
        m_sound.Note("Lock");
        if (std::exchange(m_sound.loseAtLock, false)) {
            m_sound.Lose();
        }
        if (m_sound.lost) {
            return DSERR_BUFFERLOST;
        }
        if (FAILED(m_sound.lockResult)) {
            return m_sound.lockResult;
        }
        const auto size = static_cast<DWORD>(m_sound.bytes.size());
        const DWORD wanted = (flags & DSBLOCK_ENTIREBUFFER) != 0 ? size : count;
        if (offset >= size || wanted == 0 || wanted > size) {
            return E_INVALIDARG;
        }
        m_sound.lockOffset = offset;
        m_sound.lockBytes = wanted;
        *part1 = m_sound.bytes.data() + offset;
        *bytes1 = std::min(wanted, size - offset);
        *bytes2 = wanted - *bytes1;
        *part2 = *bytes2 > 0 ? m_sound.bytes.data() : nullptr;
        return S_OK;
    }
    HRESULT Unlock(void*, DWORD, void*, DWORD) override {
        m_sound.Note("Unlock");
        return S_OK;
    }
    HRESULT Play(DWORD, DWORD, DWORD flags) override {
        m_sound.Note("Play");
        if ((flags & DSBPLAY_LOOPING) == 0) {
            return E_NOTIMPL;
        }
        if (m_sound.lost) {
            return DSERR_BUFFERLOST;
        }
        m_sound.playing = SUCCEEDED(m_sound.playResult);
        return m_sound.playResult;
    }
    HRESULT SetCurrentPosition(DWORD play) override {
        m_sound.Note("SetCurrentPosition");
        if (play >= m_sound.bytes.size()) {
            return E_INVALIDARG;
        }
        m_sound.play = play;
        return S_OK;
    }
    HRESULT Stop() override {
        m_sound.Note("Stop");
        m_sound.playing = false;
        return S_OK;
    }
    HRESULT Restore() override {
        m_sound.Note("Restore");
        if (m_sound.lost && !m_sound.comesBack) {
            return DSERR_BUFFERLOST;
        }
        m_sound.lost = false;
        return S_OK;
    }

private:
    ~CFakeSoundBuffer() = default;

    FakeSound& m_sound;
    ULONG m_references = 1;
};

class CFakeDirectSound final : public IDirectSound {
public:
    explicit CFakeDirectSound(FakeSound& sound) : m_sound(sound) {}

    /// For SetDirectSoundFactory; `sound` outlives every device made.
    static DirectSoundFactory Factory(FakeSound& sound) {
        return [&sound](const GUID& device, IDirectSound** out) {
            sound.Note("DirectSoundCreate");
            sound.device = device;
            if (SUCCEEDED(sound.createResult)) {
                *out = new CFakeDirectSound(sound);
            }
            return sound.createResult;
        };
    }

    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            m_sound.Note("device gone");
            delete this;
        }
        return left;
    }
    HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, IDirectSoundBuffer** buffer, IUnknown*) override {
        m_sound.Note("CreateSoundBuffer");
        if (FAILED(m_sound.bufferResult)) {
            return m_sound.bufferResult;
        }
        if (m_sound.window == 0) {
            return DSERR_PRIOLEVELNEEDED;
        }
        m_sound.desc = *desc;
        m_sound.format = *desc->lpwfxFormat;
        m_sound.bytes.assign(desc->dwBufferBytes, 0xEE);
        *buffer = new CFakeSoundBuffer(m_sound);
        return S_OK;
    }
    HRESULT SetCooperativeLevel(DirectSoundWindow window, DWORD level) override {
        m_sound.Note("SetCooperativeLevel");
        if (window == 0) {
            return E_INVALIDARG;
        }
        m_sound.window = window;
        m_sound.level = level;
        return m_sound.levelResult;
    }

private:
    ~CFakeDirectSound() = default;

    FakeSound& m_sound;
    ULONG m_references = 1;
};

}  // namespace qrn::test
