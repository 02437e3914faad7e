#pragma once
/// The media packet: plain RTP (RFC 3550 section 5.1) with timestamps in milliseconds. Built with a fixed header of 12
/// bytes; padding, extension and CSRC list are accepted when parsed.

#include <cstdint>
#include <span>

namespace qrn {

inline constexpr std::int32_t kRtpHeaderBytes = 12;
/// Bytes of a parity packet in front of its payload.
inline constexpr std::int32_t kParityHeaderBytes = 24;
/// Limits of a session's packet size, in bytes of the whole packet.
inline constexpr std::int32_t kDefaultMaxPacketBytes = 1100;
inline constexpr std::int32_t kSmallestMaxPacketBytes = 300;
inline constexpr std::int32_t kLargestMaxPacketBytes = 65535;
/// Room that every read of a datagram must be given.
inline constexpr std::size_t kReceiveBufferBytes = 65535;

/// Payload types are fixed by the codec, never negotiated.
enum RtpPayloadType : std::uint8_t {
    kPayloadAudio = 112,  // GSM, G.726, Speex: one packet is one frame, its timestamp carries no framing bit
    kPayloadVideo = 113,  // MPEG-4, Motion JPEG, Snow, and every frame of the paced sender
    kPayloadMp3 = 114,
    kPayloadOpus = 115,
    kPayloadTheora = 116,
    kPayloadH264 = 117,
    kPayloadVc1 = 118,
    kPayloadVp8 = 119,
    kPayloadParity = 127,
};

/// The payload type of frames that a video encoder of this id made.
std::uint8_t PayloadTypeOfVideo(std::uint32_t encoder);

}  // namespace qrn

/// The header of a received packet, all in host order.
struct RtpPacketInfo {
    std::uint32_t ssrc = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t sequence = 0;
    /// Continues over the wraps of `sequence`; filled by CRtpSession.
    std::uint32_t extendedSequence = 0;
    std::uint8_t payloadType = 0;
    std::uint8_t marker = 0;
    /// Into the buffer that was parsed. Null in a record that no packet has filled yet.
    const std::uint8_t* payload = nullptr;
    std::int32_t payloadLength = 0;
};

namespace qrn {

/// What varies in the header of a packet to send.
struct RtpHeader {
    std::uint8_t payloadType;  // its low seven bits count
    bool marker;
    std::uint16_t sequence;
    std::uint32_t timestamp;
    std::uint32_t ssrc;  // host order
};

/// Writes the header and `payload` behind it.
/// @return the packet's bytes, 0 when `packet` is too small for them. Keeps no state.
std::size_t BuildRtpPacket(std::span<std::uint8_t> packet, const RtpHeader& header,
                           std::span<const std::uint8_t> payload);

}  // namespace qrn

/// Reads a datagram. @param info  written on success only; its payload points into `buffer`.
/// @return 0, or -1 for what is no RTP packet of version 2 or is cut off. Keeps no state.
int ParseRtpPacket(const std::uint8_t* buffer, std::int32_t length, RtpPacketInfo& info);
