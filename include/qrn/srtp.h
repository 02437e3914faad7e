#pragma once
/// A transport for sessions that encrypts: SRTP (RFC 3711) over a UDP socket of its own. Link with libqrn_host.
///
/// A client makes one transport for each session, or one for a sender and a receiver that are to share a port, gives
/// its IExternalTransport to the filters before they open their networks (IQRN_AudioSender::SetExternalTransport,
/// IQRN_AudioReceiver::SetExternalTransport, ...) and holds it until those filters are gone.
///
/// On the wire: media packets are those of RFC 3711, or of RFC 7714 with AES-GCM, without MKI and without SRTCP; any
/// peer with the same master key and suite reads them. Parity packets (payload type 127) carry the SSRC of the media
/// but count by themselves, so under the same keys they would use a key stream twice. They are protected by a context
/// of their own, whose master key is the media's and whose master salt is the media's with its first byte XORed with
/// 127. The key derivation of RFC 3711 section 4.3 changes only the last seven bytes of the salt, so that no key of the
/// one context is one of the other. Stuffing datagrams do not go through a transport and are not encrypted.
///
/// A key belongs to one call: the same key in a later one lets an attacker play back what was recorded before, and
/// leaves it to the chance of two SSRCs being alike whether a key stream is used twice. The two ways of a call are best
/// given a key each.

#include "qrn/host.h"

struct IExternalTransport;

enum QrnSrtpSuite : DWORD {
    /// AES_CM_128_HMAC_SHA1_80 (RFC 4568 section 6.2): 30 bytes of master key and salt, 10 bytes more a packet.
    kQrnSrtpAesCm128HmacSha1_80 = 0,
    /// AEAD_AES_128_GCM (RFC 7714): 28 bytes, 16 more a packet.
    kQrnSrtpAeadAes128Gcm = 1,
};

/// The most bytes that a master key with its salt has in any suite.
inline constexpr DWORD kQrnSrtpMaxKeyBytes = 30;

struct QrnSrtpDestination {
    /// Dotted IPv4.
    const char* address;
    /// Takes the packets that the session sends to this port; 0: all, at the port that the session names.
    WORD port;
};

struct QrnSrtpParameters {
    /// sizeof(QrnSrtpParameters)
    DWORD size;
    /// A QrnSrtpSuite.
    DWORD suite;
    /// Master key and behind it the master salt; null for a transport that only receives, or only sends.
    const BYTE* sendKey;
    DWORD sendKeyBytes;
    const BYTE* receiveKey;
    DWORD receiveKeyBytes;
    /// Dotted IPv4 and port that the transport's socket is bound to; null for any address, 0 for any port. The
    /// session's own port has no meaning then.
    const char* localAddress;
    WORD localPort;
    /// Where packets go: a session tells its transport the port only, so that the addresses given to the sender with
    /// AddDestination have no meaning. Give a sender one destination for each port.
    const QrnSrtpDestination* destinations;
    DWORD destinationCount;
};

/// Packets since the transport was made.
struct QrnSrtpStatistics {
    ULONGLONG sent;
    /// Not sent: no packets, too long, or their number has been used before with other contents.
    ULONGLONG sendRefused;
    /// Not taken by the system.
    ULONGLONG sendFailed;
    /// Authentic and new, and so given to the session.
    ULONGLONG received;
    /// Of another key, changed on the way or made up.
    ULONGLONG notAuthentic;
    /// Authentic and not new, or too old to tell.
    ULONGLONG replayed;
    /// No RTP packets at all.
    ULONGLONG malformed;
    /// Authentic, and thrown away because the session did not fetch them in time.
    ULONGLONG overrun;
    /// Sources (SSRCs) that authentic packets came from.
    ULONGLONG sources;
};

/// Any thread.
struct IQRN_SrtpTransport : IUnknown {
    /// For the filters; lives as long as this object, and without it as long as a stream of a running session.
    virtual IExternalTransport* GetTransport() = 0;
    /// Where the socket is bound, in host order. E_POINTER.
    virtual HRESULT GetLocalPort(DWORD* port) = 0;
    /// E_POINTER.
    virtual HRESULT GetStatistics(QrnSrtpStatistics* statistics) = 0;

protected:
    ~IQRN_SrtpTransport() = default;
};
inline constexpr IID IID_IQRN_SrtpTransport = qrn::Guid("6B0F3D61-4C0B-4B7C-9A0E-52D3A9E1C7F4");
template <>
inline constexpr IID IID_Of<IQRN_SrtpTransport> = IID_IQRN_SrtpTransport;

extern "C" {

/// Makes a transport and binds its socket. Keys and texts are copied.
/// @return E_POINTER; E_INVALIDARG for a size, suite, key length, address or destination that is none, and when there
/// is neither key; E_ACCESSDENIED when the port is in use or not to be had; E_NOTIMPL for a suite that the SRTP library
/// of this machine has not; E_OUTOFMEMORY; E_FAIL. QrnLastSrtpError tells why.
QRN_HOST_API HRESULT QrnCreateSrtpTransport(const QrnSrtpParameters* parameters, IQRN_SrtpTransport** transport);

/// Reads a master key with its salt: hexadecimal digits or base64 (RFC 4648 section 4), nothing around them. The length
/// that the suite asks for tells the two apart.
/// @param key  room for kQrnSrtpMaxKeyBytes. @param bytes  receives how many were written; 0 on failure.
/// @return E_POINTER, E_INVALIDARG (QrnLastSrtpError tells why, without the text: it may be nearly the key).
QRN_HOST_API HRESULT QrnParseSrtpKey(const char* text, DWORD suite, BYTE* key, DWORD* bytes);

/// Why the last of these calls on this thread has failed, in words without a closing dot (UTF-8); empty when it has
/// not. Valid until this thread's next call of them.
QRN_HOST_API const char* QrnLastSrtpError();

}  // extern "C"
