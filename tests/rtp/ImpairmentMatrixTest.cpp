// Our sender over a bad network to our receiver, in virtual time: every mix of losses, bursts, reordering, copies and
// jitter, each with a wrap of the sequence numbers and of the timestamps and with a sender that starts anew.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "ReferenceReceiver.h"
#include "TestWire.h"
#include "client/impair/ImpairmentModel.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "rtp/RtpErrors.h"
#include "support/FakeClock.h"

namespace qrn {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using test::Bytes;
using test::CFakeTransport;
using test::CReferenceReceiver;
using test::WirePacket;

// ---------------------------------------------------------------------------------------------------------------------
// Frames that tell what they are: each packet's payload is a chunk with its place, its length and a checksum.

constexpr std::size_t kChunkHead = 12;
constexpr int kPacketLimit = 300;
constexpr std::size_t kChunkBytes = kPacketLimit - 12;
constexpr unsigned kMostChunks = 12;

struct Chunk {
    unsigned frame;
    unsigned index;
    unsigned count;

    bool operator==(const Chunk&) const = default;
};

std::uint32_t Checksum(std::string_view bytes) {  // FNV-1a, 32 bits (draft-eastlake-fnv)
    std::uint32_t hash = 2166136261u;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<std::uint8_t>(byte)) * 16777619u;
    }
    return hash;
}

std::string MakeChunk(const Chunk& chunk, std::size_t bytes) {
    std::string text(bytes, '\0');
    std::minstd_rand noise(chunk.frame * 64 + chunk.index + 1);
    std::generate(text.begin() + kChunkHead, text.end(), [&noise] { return static_cast<char>(noise()); });
    const auto put = [&text](std::size_t at, std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i) {
            text[at + static_cast<std::size_t>(i)] = static_cast<char>(value >> 8 * i);
        }
    };
    put(0, chunk.frame, 4);
    put(4, chunk.index, 1);
    put(5, chunk.count, 1);
    put(6, static_cast<std::uint32_t>(bytes), 2);
    put(8, Checksum(text), 4);
    return text;
}

unsigned ChunksOf(unsigned frame) {
    return 1 + frame * 7 % kMostChunks;
}

std::string MakeFrame(unsigned frame) {
    std::string text;
    for (unsigned i = 0; i < ChunksOf(frame); ++i) {
        const bool isLast = i + 1 == ChunksOf(frame);
        text += MakeChunk({frame, i, ChunksOf(frame)}, isLast ? kChunkHead + frame % 200 : kChunkBytes);
    }
    return text;
}

/// Takes what was delivered apart. Nothing when a byte of it is not as it was sent.
std::optional<std::vector<Chunk>> ReadChunks(std::string_view bytes) {
    std::vector<Chunk> chunks;
    while (!bytes.empty()) {
        const auto get = [bytes](std::size_t at, int count) {
            std::uint32_t value = 0;
            for (int i = count; i-- > 0;) {
                value = value << 8 | static_cast<std::uint8_t>(bytes[at + static_cast<std::size_t>(i)]);
            }
            return value;
        };
        if (bytes.size() < kChunkHead || get(6, 2) < kChunkHead || get(6, 2) > bytes.size()) {
            return std::nullopt;
        }
        const Chunk chunk{get(0, 4), get(4, 1), get(5, 1)};
        if (MakeChunk(chunk, get(6, 2)) != bytes.substr(0, get(6, 2))) {
            return std::nullopt;
        }
        chunks.push_back(chunk);
        bytes.remove_prefix(get(6, 2));
    }
    return chunks;
}

bool IsWholeFrame(const std::vector<Chunk>& chunks) {
    for (unsigned i = 0; i < chunks.size(); ++i) {
        if (chunks[i] != Chunk{chunks[0].frame, i, static_cast<unsigned>(chunks.size())}) {
            return false;
        }
    }
    return !chunks.empty();
}

// ---------------------------------------------------------------------------------------------------------------------

struct Cell {
    bool isTolerant = false;
    ImpairmentSettings link;

    std::string Name() const {
        return std::string(isTolerant ? "tolerant" : "strict") + " loss " + std::to_string(link.loss) + " burst " +
               std::to_string(link.burstStart) + "," + std::to_string(link.burstLength) + " reorder " +
               std::to_string(link.reorderDistance) + " duplicate " + std::to_string(link.duplicate) + " jitter " +
               std::to_string(link.jitter.count() / 1'000'000);
    }
    /// What the receiver can put right: it loses nothing then, and holds up nothing longer than it must.
    bool IsInsideTheWindow() const {
        return link.loss == 0 && link.burstStart == 0 && link.reorderDistance < CNetworkReceiver::kLargestWindow &&
               !HasTwins();
    }
    /// A packet that is held back beside its copy comes out first, and the copy then counts as a gap, which is meant.
    /// The tolerant way holds back the first packets of every source.
    bool HasTwins() const {
        return link.duplicate > 0 && (isTolerant || link.reorderDistance > 0 || link.loss > 0 || link.burstStart > 0);
    }
};

/// Both ends and the link between them, on a clock that jumps from one event to the next while the receiver waits.
class CCall : private IClock {
    // First: what the receiver holds outlives it.
    CFakeTransport m_sending;
    CFakeTransport m_receiving;
    CEvent m_stop{EventReset::kManual};

public:
    struct Delivered {
        std::string bytes;
        nanoseconds at;
    };
    struct Sent {
        WirePacket packet;
        int source;      // 0 the first sender, 1 the one in its place
        unsigned index;  // among its source's packets
        nanoseconds at;
    };

    explicit CCall(const Cell& cell) : m_cell(cell), m_link(cell.link) {
        m_receiver.SetExternalTransport(&m_receiving);
        EXPECT_EQ(m_receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, &m_stop), 0);
        m_receiver.StartExternal();
        EXPECT_TRUE(m_packet.Allocate(kCapacity));
    }

    static constexpr std::uint32_t kCapacity = kMostChunks * kChunkBytes;
    static constexpr unsigned kFramesEach = 60;
    static constexpr milliseconds kFrameInterval{10};
    static constexpr milliseconds kPause{300};

    void Run() {
        const auto first = MakeSender();
        GoTo(*first, 65386);
        // Frames of 6.5 packets on average: both wraps fall into the first sender's time.
        SendFrames(*first, 0, 0u - 30 * static_cast<std::uint32_t>(kFrameInterval.count()));
        m_nextSend += kPause;
        const auto second = MakeSender();
        GoTo(*second, 20000);
        SendFrames(*second, 1, 5000);
        for (int quiet = 0; quiet < 3;) {
            m_packet.m_payloadType = kPayloadVideo;
            const int result = m_cell.isTolerant ? m_receiver.ReceiveFrameTolerant(m_packet, 100)
                                                 : m_receiver.ReceiveFrame(m_packet, 100);
            if (result == kRtpComplete) {
                m_delivered.push_back(
                    {std::string(reinterpret_cast<const char*>(m_packet.m_data), m_packet.m_length), m_now});
            }
            m_tooLarge += result == kRtpFrameTooLarge ? 1 : 0;
            const bool isIdle = m_agenda.empty() && !m_link.NextTime();
            quiet = isIdle && result == kRtpTimeout ? quiet + 1 : 0;
        }
    }

    const Cell m_cell;
    CImpairmentModel m_link;
    CNetworkReceiver m_receiver{*this};
    std::vector<Sent> m_sent;
    std::vector<CReferenceReceiver::Arrival> m_arrivals;
    std::vector<std::uint64_t> m_arrivedNumbers;  // of m_sent
    std::vector<Delivered> m_delivered;
    std::uint64_t m_tooLarge = 0;

private:
    // IClock
    nanoseconds Now() const override { return m_now; }
    void SleepFor(nanoseconds time) override { m_now += time; }
    int Poll(std::span<pollfd> descriptors, nanoseconds timeout) override {
        const nanoseconds end = m_now + timeout;
        for (;;) {
            if (const int ready = test::PollNow(descriptors); ready != 0) {
                return ready;
            }
            const auto arrival = m_link.NextTime();
            const auto send = m_agenda.begin();
            const bool isSendNext = send != m_agenda.end() && (!arrival || send->first <= *arrival);
            const nanoseconds next = isSendNext ? send->first : arrival.value_or(end + nanoseconds(1));
            if (next > end) {
                m_now = end;
                return 0;
            }
            m_now = std::max(m_now, next);
            if (isSendNext) {
                const auto action = std::move(send->second);
                m_agenda.erase(send);
                action();
            } else if (auto datagram = m_link.Take(m_now)) {
                m_arrivals.push_back({m_now, test::Decode(datagram->bytes)});
                m_arrivedNumbers.push_back(datagram->number);
                m_receiving.Arrive(std::move(datagram->bytes));
            }
        }
    }

    std::unique_ptr<CNetworkSender> MakeSender() {
        auto sender = std::make_unique<CNetworkSender>(static_cast<IClock&>(*this));
        sender->SetExternalTransport(&m_sending);
        EXPECT_EQ(sender->Open(0, "127.0.0.1", 0.000125, true), 0);
        EXPECT_EQ(sender->AddDestination("127.0.0.1", 5000), 0);
        EXPECT_EQ(sender->SetPacketLimit(kPacketLimit), 0);
        return sender;
    }

    /// Uses up numbers, so that the sender goes on with this one. Without a stream nothing leaves.
    void GoTo(CNetworkSender& sender, std::uint16_t sequence) {
        const Bytes byte(1);
        sender.StartExternal();
        sender.SendSingle(byte, 0);
        sender.StopExternal();
        const std::uint16_t used = test::Decode(m_sending.m_sent.back().datagram).sequence;
        m_sending.m_sent.clear();
        for (auto left = static_cast<std::uint16_t>(sequence - 1 - used); left > 0; --left) {
            sender.SendSingle(byte, 0);
        }
    }

    void SendFrames(CNetworkSender& sender, int source, std::uint32_t timestamp) {
        sender.StartExternal();
        for (unsigned i = 0; i < kFramesEach; ++i, timestamp += kFrameInterval.count()) {
            const unsigned frame = static_cast<unsigned>(source) * kFramesEach + i;
            m_agenda.emplace(m_nextSend, [this, &sender, frame, source, timestamp] {
                const std::string bytes = MakeFrame(frame);
                EXPECT_EQ(sender.SendFrame(test::ToBytes(bytes), timestamp, kPayloadVideo), 0);
                for (CFakeTransport::Sent& sent : m_sending.m_sent) {
                    m_sent.push_back({test::Decode(sent.datagram), source, m_packetsOf[source]++, m_now});
                    m_link.Offer(sent.datagram, m_now);
                }
                m_sending.m_sent.clear();
            });
            m_nextSend += kFrameInterval;
        }
    }

    nanoseconds m_now = test::kFakeStart;
    nanoseconds m_nextSend = test::kFakeStart + milliseconds(20);
    std::multimap<nanoseconds, std::function<void()>> m_agenda;
    CPacket m_packet;
    std::map<int, unsigned> m_packetsOf;
};

// ---------------------------------------------------------------------------------------------------------------------

/// What the arrivals say by themselves.
class CObserved {
public:
    explicit CObserved(const CCall& call) {
        std::map<int, unsigned> highest;
        for (std::size_t i = 0; i < call.m_arrivals.size(); ++i) {
            const CCall::Sent& sent = call.m_sent[call.m_arrivedNumbers[i]];
            const nanoseconds transit = call.m_arrivals[i].at - sent.at;
            m_longestTransit = std::max(m_longestTransit, transit);
            m_shortestTransit = std::min(m_shortestTransit, transit);
            if (i > 0) {
                m_longestQuiet = std::max(m_longestQuiet, call.m_arrivals[i].at - call.m_arrivals[i - 1].at);
            }
            const bool isFirst = !highest.contains(sent.source);
            unsigned& top = highest[sent.source];
            if (isFirst && sent.index != 0) {
                m_startsDisordered.insert(sent.source);
            }
            if (!isFirst && sent.index < top) {
                if (top < kUnsettled) {
                    m_startsDisordered.insert(sent.source);
                }
                const WirePacket& highestPacket = call.m_sent[m_numberOfTop[sent.source]].packet;
                m_straggledOverTheWrap |= sent.packet.sequence > 60000 && highestPacket.sequence < 5000;
            }
            if (isFirst || sent.index > top) {
                top = sent.index;
                m_numberOfTop[sent.source] = call.m_arrivedNumbers[i];
            }
        }
    }

    /// Packets that a receiver may need to settle on a source, or behind a wrap.
    static constexpr unsigned kUnsettled = 45;

    nanoseconds Spread() const { return m_longestTransit - m_shortestTransit; }

    nanoseconds m_longestTransit{0};
    nanoseconds m_shortestTransit = nanoseconds::max();
    nanoseconds m_longestQuiet{0};
    std::set<int> m_startsDisordered;
    bool m_straggledOverTheWrap = false;

private:
    std::map<int, std::uint64_t> m_numberOfTop;
};

/// Frames that have to arrive in a cell inside the window: all but those at whose packets the rules of the receiver
/// give way, which are the first ones of a source and those about a wrap with stragglers.
std::set<unsigned> SettledFrames(const CCall& call, const CObserved& observed) {
    std::set<unsigned> frames;
    std::set<unsigned> unsettled;
    std::optional<unsigned> wrap;
    std::map<int, unsigned> packetsOf;
    for (const CCall::Sent& sent : call.m_sent) {
        packetsOf[sent.source] = sent.index + 1;
        wrap = !wrap && sent.source == 0 && sent.packet.sequence == 0 ? sent.index : wrap;
    }
    EXPECT_TRUE(wrap) << "the numbers do not wrap";
    for (const CCall::Sent& sent : call.m_sent) {
        const auto chunks = ReadChunks(sent.packet.payload);
        const unsigned frame = chunks->front().frame;
        frames.insert(frame);
        const bool isAtStart = sent.index < CObserved::kUnsettled &&
                               (call.m_cell.isTolerant || observed.m_startsDisordered.contains(sent.source));
        const bool isAtWrap = observed.m_straggledOverTheWrap && sent.source == 0 &&
                              sent.index + CObserved::kUnsettled > *wrap && sent.index < *wrap + CObserved::kUnsettled;
        // Nothing follows that could overtake these, so the link holds them longer than the receiver waits.
        const bool isAtEnd = call.m_cell.link.reorderDistance > 0 &&
                             sent.index + CNetworkReceiver::kLargestWindow >= packetsOf[sent.source];
        if (isAtStart || isAtWrap || isAtEnd) {
            unsettled.insert(frame);
        }
    }
    for (const unsigned frame : unsettled) {
        frames.erase(frame);
    }
    return frames;
}

/// Against the rules told a second time: the same frames, and the same packets counted in the same way.
void ExpectAsTheRulesHaveIt(CCall& call) {
    const CReferenceReceiver::Result rules =
        CReferenceReceiver(call.m_cell.isTolerant, CCall::kCapacity).Run(call.m_arrivals, test::kFakeStart);
    std::vector<std::string> delivered;
    for (const CCall::Delivered& frame : call.m_delivered) {
        delivered.push_back(frame.bytes);
    }
    EXPECT_EQ(delivered.size(), rules.frames.size());
    EXPECT_TRUE(delivered == rules.frames) << "other frames";
    EXPECT_EQ(call.m_tooLarge, rules.tooLarge);

    const std::uint64_t received = call.m_receiver.TakeReceivedCount();
    const ReceiveStatistics statistics = call.m_receiver.ReceiveStatistics();
    EXPECT_EQ(received, rules.received);
    EXPECT_EQ(call.m_receiver.TakeGapCount(), rules.gaps);
    EXPECT_EQ(statistics.late, rules.late);
    EXPECT_EQ(statistics.duplicates, rules.twins);

    const ImpairmentCounters& link = call.m_link.Counters();
    EXPECT_EQ(link.offered, call.m_sent.size());
    EXPECT_EQ(statistics.datagrams, link.delivered);
    EXPECT_EQ(link.offered + link.duplicated,
              link.lost + link.lostInBursts + received + statistics.late + rules.flushed - rules.lookedAtAgain);
}

void ExpectNothingDamaged(const CCall& call, const CObserved& observed) {
    for (const CCall::Delivered& frame : call.m_delivered) {
        const auto chunks = ReadChunks(frame.bytes);
        ASSERT_TRUE(chunks) << "bytes that nobody sent";
        if (!call.m_cell.isTolerant) {
            EXPECT_TRUE(IsWholeFrame(*chunks)) << "frame " << chunks->front().frame;
        }
        for (std::size_t i = 1; i < chunks->size() && !call.m_cell.HasTwins() && !observed.m_straggledOverTheWrap;
             ++i) {
            const Chunk& before = (*chunks)[i - 1];
            const Chunk& after = (*chunks)[i];
            EXPECT_LT(std::pair(before.frame, before.index), std::pair(after.frame, after.index));
        }
    }
}

/// The frames of both senders come in order, and those that the receiver can put right all come, as early as can be.
void ExpectOrderAndTime(const CCall& call, const CObserved& observed) {
    std::map<unsigned, nanoseconds> complete;  // when the frame's last packet, and all before it, have come
    std::map<unsigned, nanoseconds> ownComplete;
    for (std::size_t i = 0; i < call.m_arrivals.size(); ++i) {
        const unsigned frame = ReadChunks(call.m_arrivals[i].packet.payload)->front().frame;
        ownComplete.emplace(frame, 0).first->second = call.m_arrivals[i].at;
    }
    nanoseconds latest{0};
    for (const auto& [frame, at] : ownComplete) {
        complete[frame] = latest = std::max(latest, at);
    }
    // The queue's age limit, seen at the next arrival or time-out; what comes later to the head of the queue, or goes
    // through it again because it ended a damaged frame, begins a new age.
    const nanoseconds longestHold = milliseconds(call.m_cell.isTolerant ? 201 : 101) +
                                    std::min<nanoseconds>(observed.m_longestQuiet, milliseconds(100)) +
                                    observed.Spread();
    std::set<unsigned> delivered;
    for (const CCall::Delivered& item : call.m_delivered) {
        const auto chunks = ReadChunks(item.bytes);
        const unsigned frame = chunks->front().frame;
        if (!call.m_cell.HasTwins() && !call.m_cell.isTolerant) {
            EXPECT_TRUE(delivered.empty() || *delivered.rbegin() < frame) << "frame " << frame;
        }
        if (IsWholeFrame(*chunks)) {
            delivered.insert(frame);
            EXPECT_LE(item.at - ownComplete[frame], longestHold) << "frame " << frame;
        }
    }
    EXPECT_TRUE(std::ranges::any_of(delivered, [](unsigned frame) { return frame >= CCall::kFramesEach; }))
        << "the second sender is not heard";
    if (!call.m_cell.IsInsideTheWindow()) {
        return;
    }
    const std::set<unsigned> settled = SettledFrames(call, observed);
    EXPECT_GE(settled.size(), 2 * CCall::kFramesEach - 42) << "hardly anything is looked at";
    for (const unsigned frame : settled) {
        EXPECT_TRUE(delivered.contains(frame)) << "frame " << frame << " is lost";
    }
    if (!call.m_cell.isTolerant && !observed.m_straggledOverTheWrap) {
        for (const CCall::Delivered& item : call.m_delivered) {
            const unsigned frame = ReadChunks(item.bytes)->front().frame;
            if (settled.contains(frame) && call.m_cell.link.duplicate == 0) {
                EXPECT_EQ(item.at, complete[frame]) << "frame " << frame << " is held up";
            }
        }
    }
}

struct Row {
    const char* name;
    bool isTolerant;
    double loss;
    double burstStart;
    double burstLength;
};

void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.name;
}

class ImpairmentMatrix : public testing::TestWithParam<Row> {};

TEST_P(ImpairmentMatrix, EveryPacketIsAccountedForAndNoFrameIsDamaged) {
    const Row& row = GetParam();
    std::uint64_t seed = 1;
    for (const std::uint32_t distance : {0u, 4u, 12u, 19u, 20u}) {
        for (const double duplicate : {0.0, 0.05}) {
            for (const milliseconds jitter : {milliseconds(0), milliseconds(15)}) {
                Cell cell{row.isTolerant,
                          {.loss = row.loss,
                           .burstStart = row.burstStart,
                           .burstLength = row.burstLength,
                           .delay = milliseconds(20),
                           .jitter = jitter,
                           .reorder = distance > 0 ? 0.1 : 0,
                           .reorderDistance = distance,
                           .duplicate = duplicate,
                           .seed = seed++}};
                SCOPED_TRACE(cell.Name());
                CCall call(cell);
                call.Run();
                ExpectAsTheRulesHaveIt(call);
                const CObserved observed(call);
                ExpectNothingDamaged(call, observed);
                ExpectOrderAndTime(call, observed);
            }
        }
    }
}

// 12 rows of 20 cells.
INSTANTIATE_TEST_SUITE_P(Rows, ImpairmentMatrix,
                         testing::Values(Row{"StrictNoLoss", false, 0, 0, 1}, Row{"StrictLoss1", false, 0.01, 0, 1},
                                         Row{"StrictLoss5", false, 0.05, 0, 1}, Row{"StrictLoss20", false, 0.2, 0, 1},
                                         Row{"StrictShortBursts", false, 0, 0.02, 3},
                                         Row{"StrictLongBursts", false, 0.01, 0.005, 25},
                                         Row{"TolerantNoLoss", true, 0, 0, 1}, Row{"TolerantLoss1", true, 0.01, 0, 1},
                                         Row{"TolerantLoss5", true, 0.05, 0, 1}, Row{"TolerantLoss20", true, 0.2, 0, 1},
                                         Row{"TolerantShortBursts", true, 0, 0.02, 3},
                                         Row{"TolerantLongBursts", true, 0.01, 0.005, 25}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qrn
