#pragma once
/// What the sessions answer: 0, a negative error code, or from a wait a positive wait code.

#include <span>

namespace qrn {

// The error codes that are raised.
inline constexpr int kRtpOk = 0;
inline constexpr int kRtpOutOfMemory = -1;
/// -1 is also the answer to a datagram that does not parse, a buffer too small and a session that is not opened.
inline constexpr int kRtpFailed = -1;
inline constexpr int kRtpConnectionAlreadyCreated = -2;
inline constexpr int kRtpPortNotEven = -3;
inline constexpr int kRtpNoSocket = -4;
inline constexpr int kRtpBindFailed = -5;
inline constexpr int kRtpNoSuchDestination = -10;
inline constexpr int kRtpPacketTooLarge = -11;
inline constexpr int kRtpNotOpened = -12;
inline constexpr int kRtpPacketLimitTooSmall = -13;
inline constexpr int kRtpNoData = -14;
inline constexpr int kRtpNullArgument = -19;
inline constexpr int kRtpSessionNotCreated = -25;
inline constexpr int kRtpSessionAlreadyCreated = -26;
inline constexpr int kRtpSocketBufferFailed = -29;
inline constexpr int kRtpPacketLimitTooLarge = -31;
inline constexpr int kRtpNoLocalAddress = -33;
inline constexpr int kRtpMulticastInterfaceFailed = -34;
inline constexpr int kRtpMulticastTtlFailed = -35;
inline constexpr int kRtpNotMulticastAddress = -36;
inline constexpr int kRtpAlreadyInGroup = -37;
inline constexpr int kRtpNotInGroup = -38;
inline constexpr int kRtpJoinFailed = -39;
inline constexpr int kRtpTosFailed = -41;
/// Has no text.
inline constexpr int kRtpMulticastLoopFailed = -100;

// The wait codes.
/// The stop event fired, or the socket is closed: whoever waits in a loop ends.
inline constexpr int kRtpStop = 240;
/// A packet was read (from a wait), or a frame is complete (from reassembly).
inline constexpr int kRtpComplete = 241;
inline constexpr int kRtpTimeout = 242;
inline constexpr int kRtpWaitFailed = 243;
inline constexpr int kRtpFrameTooLarge = 245;

struct RtpErrorEntry {
    int code;
    const char* text;
};

/// Every code with its text, closed by a pair of 0 and null. Several codes are raised nowhere.
std::span<const RtpErrorEntry> RtpErrorTable();

/// @return the code's text, null for a code that has none. Static memory; any thread.
const char* RtpErrorText(int code);

}  // namespace qrn
