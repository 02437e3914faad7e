#pragma once
/// Stands in for the system that datagrams come from.

#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "rtp/CReceiveBatch.h"

namespace qrn::test {

/// A message as the system gives it: one datagram, or several of `segmentBytes`, of which the last may be shorter.
struct FakeMessage {
    std::vector<std::uint8_t> bytes;
    int segmentBytes = 0;
    std::optional<std::uint32_t> noRoom;
};

/// Gives the messages that were put in. @param manyError  not 0: the call for several messages fails with it.
class CFakeReceiveCalls final : public qrn::IReceiveCalls {
public:
    explicit CFakeReceiveCalls(int manyError = 0) : m_manyError(manyError) {}

    int ReceiveMany(int /*descriptor*/, std::span<mmsghdr> messages, int flags) override {
        Require(flags == MSG_DONTWAIT);
        if (m_manyError != 0) {
            errno = m_manyError;
            return -1;
        }
        int count = 0;
        for (mmsghdr& message : messages) {
            const ssize_t bytes = Give(message.msg_hdr);
            if (bytes < 0) {
                break;
            }
            message.msg_len = static_cast<unsigned>(bytes);
            ++count;
        }
        return count > 0 ? count : -1;
    }
    ssize_t ReceiveOne(int /*descriptor*/, msghdr& message, int flags) override {
        Require(flags == MSG_DONTWAIT);
        return Give(message);
    }

    std::deque<FakeMessage> m_pending;
    std::deque<int> m_errors;  // come first

private:
    static void Require(bool isTrue) {
        if (!isTrue) {
            throw std::logic_error("not called as agreed");
        }
    }

    ssize_t Give(msghdr& header) {
        if (!m_errors.empty() || m_pending.empty()) {
            errno = m_errors.empty() ? EAGAIN : m_errors.front();
            if (!m_errors.empty()) {
                m_errors.pop_front();
            }
            return -1;
        }
        const FakeMessage message = std::move(m_pending.front());
        m_pending.pop_front();
        Require(header.msg_iov->iov_len >= message.bytes.size());
        std::ranges::copy(message.bytes, static_cast<std::uint8_t*>(header.msg_iov->iov_base));
        std::size_t used = 0;
        const auto note = [&](int level, int type, auto value) {
            header.msg_controllen = used + CMSG_SPACE(sizeof(value));
            auto* const at = reinterpret_cast<cmsghdr*>(static_cast<std::uint8_t*>(header.msg_control) + used);
            at->cmsg_level = level;
            at->cmsg_type = type;
            at->cmsg_len = CMSG_LEN(sizeof(value));
            std::memcpy(CMSG_DATA(at), &value, sizeof(value));
            used = header.msg_controllen;
        };
        if (message.noRoom) {
            note(SOL_SOCKET, SO_RXQ_OVFL, *message.noRoom);
        }
        if (message.segmentBytes != 0) {
            note(IPPROTO_UDP, UDP_GRO, message.segmentBytes);
        }
        header.msg_controllen = used;
        return static_cast<ssize_t>(message.bytes.size());
    }

    const int m_manyError;
};

}  // namespace qrn::test
