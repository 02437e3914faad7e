#include "transport/Parity.h"

#include <array>
#include <chrono>
#include <cstring>
#include <vector>

#include "rtp/CRtpParityCoder.h"
#include "rtp/RtpPacket.h"
#include "transport/Ends.h"
#include "transport/Statistics.h"

namespace qrn::bench {
namespace {

constexpr std::size_t kPackets = 200;
constexpr std::size_t kPacketBytes = kHeaderBytes + kPayloadBytes;
constexpr int kRepetitions = 200;

/// @return nanoseconds of one call for each packet.
template <class Call>
double Time(std::vector<std::uint8_t>& packets, Call call) {
    std::vector<double> nanoseconds;
    for (int i = 0; i < kRepetitions; ++i) {
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t at = 0; at < packets.size(); at += kPacketBytes) {
            call(std::span(packets).subspan(at, kPacketBytes));
        }
        const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
        nanoseconds.push_back(took.count() / kPackets);
    }
    return Median(nanoseconds);
}

}  // namespace

FoldingCost MeasureFolding(std::uint32_t groupSize) {
    std::vector<std::uint8_t> packets(kPackets * kPacketBytes, 0x80);
    std::vector<std::uint8_t> parity(65536);
    CRtpParityCoder coder;
    coder.SetGroupSize(groupSize);
    FoldingCost cost;
    cost.fold = Time(packets, [&](std::span<const std::uint8_t> packet) {
        Check(coder.AddPacket(packet.first(kHeaderBytes), packet.subspan(kHeaderBytes), parity, 0) >= 0, "folding");
    });
    cost.copy = Time(packets, [&](std::span<const std::uint8_t> packet) {
        std::memcpy(parity.data(), packet.data(), packet.size());
        asm volatile("" : : "r"(parity.data()) : "memory");
    });
    return cost;
}

}  // namespace qrn::bench
