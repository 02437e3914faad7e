// How fast G.726 is beside FFmpeg's g726le, at its four rates in both directions.
//
// Both sides code the same speech in packets of 80 ms: ours through CAudioEncoder and CAudioDecoder, packing and fault
// guard included, FFmpeg through its send and receive calls as any user of it would. They take turns every few packets,
// so that what else the machine does meets both alike; the medians of such rounds are told, and of their quotients.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/PeerG726.h"
#include "audiocoding/Signals.h"
#include "qrn/QRN_Media2.h"

namespace {

using qrn::test::Bytes;
using qrn::test::CPeerG726;
using qrn::test::Pcm;

constexpr std::size_t kPacketSamples = 640;
constexpr std::size_t kPackets = 64;       // of speech, over and over
constexpr std::size_t kPacketsARound = 8;  // by one side, then by the other
constexpr double kWanted = 2.0;

/// Seconds of CPU that this thread has used.
double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Result {
    std::string name;
    double ours;  ///< million samples a second
    double ffmpeg;
    double quotient;
};
std::vector<Result> g_results;

/// Times rounds of `own(packet)` and `peer(packet)` in turn.
template <class Own, class Peer>
void TakeTurns(benchmark::State& state, const std::string& name, Own own, Peer peer) {
    std::vector<double> ownSeconds;
    std::vector<double> peerSeconds;
    std::vector<double> quotients;
    std::size_t packet = 0;
    for (auto step : state) {
        const double start = Now();
        for (std::size_t i = 0; i < kPacketsARound; ++i) {
            own((packet + i) % kPackets);
        }
        const double middle = Now();
        for (std::size_t i = 0; i < kPacketsARound; ++i) {
            peer((packet + i) % kPackets);
        }
        const double end = Now();
        packet = (packet + kPacketsARound) % kPackets;
        ownSeconds.push_back(middle - start);
        peerSeconds.push_back(end - middle);
        quotients.push_back((end - middle) / (middle - start));
        state.SetIterationTime(middle - start);
    }
    constexpr double kSamples = kPacketsARound * kPacketSamples / 1e6;
    const Result result{name, kSamples / Median(ownSeconds), kSamples / Median(peerSeconds), Median(quotients)};
    state.counters["ours_Msps"] = result.ours;
    state.counters["ffmpeg_Msps"] = result.ffmpeg;
    state.counters["times_as_fast"] = result.quotient;
    // The benchmark library calls more than once, with more rounds each time: the last call is the one that counts.
    std::erase_if(g_results, [&](const Result& earlier) { return earlier.name == name; });
    g_results.push_back(result);
}

Pcm Speech() {
    return qrn::test::Voice(kPacketSamples * kPackets, 8000);
}

void Encode(benchmark::State& state, const std::string& name, int kbps) {
    const Pcm speech = Speech();
    CAudioEncoder encoder(kQrnCodecG72x, kbps);
    CPeerG726 peer(CPeerG726::Direction::kEncode, kbps / 8);
    std::array<std::uint8_t, 400> own{};
    Bytes theirs;
    TakeTurns(
        state, name,
        [&](std::size_t packet) {
            encoder.Encode(speech.data() + packet * kPacketSamples, kPacketSamples, own.data(), own.size());
            benchmark::DoNotOptimize(own);
        },
        [&](std::size_t packet) {
            theirs.clear();
            peer.Encode(std::span(speech).subspan(packet * kPacketSamples, kPacketSamples), theirs);
            benchmark::DoNotOptimize(theirs.data());
        });
}

void Decode(benchmark::State& state, const std::string& name, int kbps) {
    const Pcm speech = Speech();
    CAudioEncoder encoder(kQrnCodecG72x, kbps);
    const auto packetBytes = static_cast<std::size_t>(encoder.GetMaxPacketSize());
    Bytes packets(packetBytes * kPackets);
    encoder.Encode(speech.data(), static_cast<int>(speech.size()), packets.data(), static_cast<int>(packets.size()));
    CAudioDecoder decoder(kQrnCodecG72x, kbps);
    CPeerG726 peer(CPeerG726::Direction::kDecode, kbps / 8);
    std::array<std::int16_t, kPacketSamples> own{};
    Pcm theirs;
    TakeTurns(
        state, name,
        [&](std::size_t packet) {
            decoder.Decode(packets.data() + packet * packetBytes, static_cast<int>(packetBytes), own.data(),
                           sizeof own);
            benchmark::DoNotOptimize(own);
        },
        [&](std::size_t packet) {
            theirs.clear();
            peer.Decode(std::span(packets).subspan(packet * packetBytes, packetBytes), theirs);
            benchmark::DoNotOptimize(theirs.data());
        });
}

void Register(const char* direction, int kbps, void (*run)(benchmark::State&, const std::string&, int)) {
    const std::string name = std::string(direction) + "/" + std::to_string(kbps);
    benchmark::RegisterBenchmark(name.c_str(), run, name, kbps)->UseManualTime()->MinTime(1.0);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const int kbps : {16, 24, 32, 40}) {
        Register("encode", kbps, Encode);
        Register("decode", kbps, Decode);
    }
    benchmark::RunSpecifiedBenchmarks();
    std::printf("\nmillion samples a second (median); wanted: %.1f times as fast as FFmpeg\n", kWanted);
    std::printf("%-12s %10s %10s %10s\n", "kbit/s", "ours", "ffmpeg", "times");
    for (const Result& result : g_results) {
        std::printf("%-12s %10.1f %10.1f %10.2f%s\n", result.name.c_str(), result.ours, result.ffmpeg, result.quotient,
                    result.quotient < kWanted ? "  too slow" : "");
    }
    return 0;
}
