#pragma once
/// The DirectSound operations that the playback engine names, with their codes, flags and order. What stands behind
/// them here is a looping buffer that plays by the monotonic clock into a sink (CSoundBuffer, ISoundSink); a test may
/// put anything else behind them (SetDirectSoundFactory).
///
/// Only what is used is declared. Every operation may be called from any thread.

#include <functional>

#include "qrn/com.h"
#include "qrn/filters.h"

inline constexpr HRESULT DS_OK = 0;
/// Another user holds the device.
inline constexpr HRESULT DSERR_ALLOCATED = static_cast<HRESULT>(0x8878000Au);
inline constexpr HRESULT DSERR_PRIOLEVELNEEDED = static_cast<HRESULT>(0x88780046u);
inline constexpr HRESULT DSERR_BADFORMAT = static_cast<HRESULT>(0x88780064u);
/// There is no such device, or it does not open.
inline constexpr HRESULT DSERR_NODRIVER = static_cast<HRESULT>(0x88780078u);
/// The device has gone; Restore tries to get it back.
inline constexpr HRESULT DSERR_BUFFERLOST = static_cast<HRESULT>(0x88780096u);

inline constexpr DWORD DSSCL_PRIORITY = 2;

inline constexpr DWORD DSBCAPS_CTRLPAN = 0x40;
inline constexpr DWORD DSBCAPS_CTRLPOSITIONNOTIFY = 0x100;
inline constexpr DWORD DSBCAPS_GLOBALFOCUS = 0x8000;
inline constexpr DWORD DSBCAPS_GETCURRENTPOSITION2 = 0x10000;

inline constexpr DWORD DSBPLAY_LOOPING = 1;
inline constexpr DWORD DSBLOCK_ENTIREBUFFER = 2;

inline constexpr DWORD DSBSTATUS_PLAYING = 1;
inline constexpr DWORD DSBSTATUS_BUFFERLOST = 2;
inline constexpr DWORD DSBSTATUS_LOOPING = 4;

inline constexpr DWORD DSBSIZE_MIN = 4;
inline constexpr DWORD DSBSIZE_MAX = 0x0FFFFFFF;

/// A window as the cooperative level takes it; 0 is none.
using DirectSoundWindow = DWORD_PTR;

/// What a secondary buffer is to be.
struct DSBUFFERDESC {
    /// Always kDirectSoundDescBytes: the size of the record where pointers have 32 bits, not sizeof.
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwBufferBytes;
    DWORD dwReserved;
    const WAVEFORMATEX* lpwfxFormat;
    GUID guid3DAlgorithm;
};
inline constexpr DWORD kDirectSoundDescBytes = 36;

/// Says that a buffer could signal positions. Nobody gives it any, so it has no operation of its own here.
struct IDirectSoundNotify : IUnknown {
protected:
    ~IDirectSoundNotify() = default;
};
inline constexpr IID IID_IDirectSoundNotify = qrn::Guid("B0210783-89CD-11D0-AF08-00A0C925CD16");
template <>
inline constexpr IID IID_Of<IDirectSoundNotify> = IID_IDirectSoundNotify;

/// A buffer that plays in a circle. Offsets, cursors and lengths are bytes.
struct IDirectSoundBuffer : IUnknown {
    /// `play` is what is heard now, `write` the first byte that may still be changed. Each may be null.
    virtual HRESULT GetCurrentPosition(DWORD* play, DWORD* write) = 0;
    /// DSBSTATUS_ flags.
    virtual HRESULT GetStatus(DWORD* status) = 0;
    /// Opens `bytes` bytes from `offset` for writing, in two parts where they go over the end; without a second part
    /// its pointer is null and its length 0. What is written is played from Unlock on. E_INVALIDARG for an offset
    /// outside, no bytes or more bytes than there are. DSERR_BUFFERLOST.
    virtual HRESULT Lock(DWORD offset, DWORD bytes, void** part1, DWORD* bytes1, void** part2, DWORD* bytes2,
                         DWORD flags) = 0;
    /// Both zero arguments are reserved. Only DSBPLAY_LOOPING is there, E_NOTIMPL without it. DSERR_BUFFERLOST.
    virtual HRESULT Play(DWORD reserved1, DWORD reserved2, DWORD flags) = 0;
    virtual HRESULT SetCurrentPosition(DWORD play) = 0;
    /// Leaves the cursor where it is.
    virtual HRESULT Stop() = 0;
    /// Takes what Lock gave, with the number of bytes really written to each part.
    virtual HRESULT Unlock(void* part1, DWORD bytes1, void* part2, DWORD bytes2) = 0;
    /// Tries to get a lost device back: S_OK, or DSERR_BUFFERLOST when it is still gone. The buffer is then stopped.
    virtual HRESULT Restore() = 0;

protected:
    ~IDirectSoundBuffer() = default;
};
inline constexpr IID IID_IDirectSoundBuffer = qrn::Guid("279AFA85-4981-11CE-A521-0020AF0BE560");
template <>
inline constexpr IID IID_Of<IDirectSoundBuffer> = IID_IDirectSoundBuffer;

struct IDirectSound : IUnknown {
    /// @param outer  null. DSERR_PRIOLEVELNEEDED before SetCooperativeLevel, E_INVALIDARG for a wrong record,
    /// DSERR_BADFORMAT for anything but 16-bit PCM, DSERR_NODRIVER when the device does not open with that format.
    virtual HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, IDirectSoundBuffer** buffer, IUnknown* outer) = 0;
    /// E_INVALIDARG without a window. Devices are shared here, so the level has no further effect.
    virtual HRESULT SetCooperativeLevel(DirectSoundWindow window, DWORD level) = 0;

protected:
    ~IDirectSound() = default;
};
inline constexpr IID IID_IDirectSound = qrn::Guid("279AFA83-4981-11CE-A521-0020AF0BE560");
template <>
inline constexpr IID IID_Of<IDirectSound> = IID_IDirectSound;

/// Opens a device: null or GUID_NULL is the default one; SoundDevices.h tells which there are.
/// @param outer  null. DSERR_NODRIVER for a device that is not there; the log says why.
HRESULT DirectSoundCreate(const GUID* device, IDirectSound** directSound, IUnknown* outer);

namespace qrn {

using DirectSoundFactory = std::function<HRESULT(const GUID& device, IDirectSound** directSound)>;

/// Puts `factory` behind DirectSoundCreate for the whole process; an empty one gives it back to the real devices.
void SetDirectSoundFactory(DirectSoundFactory factory);

}  // namespace qrn
