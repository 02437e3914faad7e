#include "client/impair/ImpairmentModel.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qrn {
namespace {

constexpr std::uint64_t kDatagramHeadBytes = 28;

/// What a datagram's draws decide; the order is part of what a seed means.
enum Purpose : std::uint64_t { kLoss, kBurst, kDuplicate, kReorder, kDistance, kJitter, kPurposes };

/// The `index`th output of SplitMix64 (G. L. Steele, D. Lea, C. H. Flood, "Fast splittable pseudorandom number
/// generators", OOPSLA 2014): each output is a function of the seed and its index, so that no draw depends on how many
/// others were made.
std::uint64_t SplitMix64(std::uint64_t seed, std::uint64_t index) {
    std::uint64_t value = seed + (index + 1) * 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

/// NaN becomes the lower end.
double Bounded(double value, double lowest, double highest) {
    return value > lowest ? std::min(value, highest) : lowest;
}

}  // namespace

CImpairmentModel::CImpairmentModel(const ImpairmentSettings& settings) : m_settings(settings) {
    for (double* share : {&m_settings.loss, &m_settings.burstStart, &m_settings.reorder, &m_settings.duplicate}) {
        *share = Bounded(*share, 0, 1);
    }
    m_settings.burstLength = Bounded(m_settings.burstLength, 1, 1e9);
    m_settings.delay = std::max(m_settings.delay, Time{0});
    m_settings.jitter = std::max(m_settings.jitter, Time{0});
    m_settings.queueDatagrams = std::max<std::size_t>(m_settings.queueDatagrams, 1);
}

double CImpairmentModel::Draw(std::uint64_t purpose) const {
    constexpr double kOne = 9007199254740992.0;  // 2^53, the steps that a double has between 0 and 1
    return static_cast<double>(SplitMix64(m_settings.seed, m_counters.offered * kPurposes + purpose) >> 11) / kOne;
}

DatagramFate CImpairmentModel::DecideFate() {
    DatagramFate fate;
    const double burstChange = m_inBurst ? 1 / m_settings.burstLength : m_settings.burstStart;
    if (Draw(kBurst) < burstChange) {
        m_inBurst = !m_inBurst;
    }
    fate.isInBurst = m_inBurst;
    fate.isLost = m_inBurst || Draw(kLoss) < m_settings.loss;
    fate.isDuplicated = Draw(kDuplicate) < m_settings.duplicate;
    if (m_settings.reorderDistance > 0 && Draw(kReorder) < m_settings.reorder) {
        fate.overtakenBy = 1 + static_cast<std::uint32_t>(Draw(kDistance) * m_settings.reorderDistance);
    }
    fate.jitterShare = Draw(kJitter);
    return fate;
}

DatagramFate CImpairmentModel::Offer(std::span<const std::uint8_t> bytes, Time now) {
    ReleaseHeld(now);
    const DatagramFate fate = DecideFate();
    const std::uint64_t number = m_counters.offered++;
    m_counters.offeredBytes += bytes.size();
    if (fate.isLost) {
        ++(fate.isInBurst ? m_counters.lostInBursts : m_counters.lost);
    } else {
        const int copies = fate.isDuplicated ? 2 : 1;
        m_counters.duplicated += fate.isDuplicated ? 1 : 0;
        m_counters.reordered += fate.overtakenBy > 0 ? 1 : 0;
        for (int copy = 0; copy < copies; ++copy) {
            Datagram datagram{{bytes.begin(), bytes.end()}, now, number};
            ++m_counters.waiting;
            if (fate.overtakenBy > 0) {
                m_held.emplace(number + fate.overtakenBy, Held{std::move(datagram), fate.jitterShare, now});
            } else {
                Pass(std::move(datagram), fate.jitterShare, now);
            }
        }
    }
    // Behind this one go those that it was to overtake, also when it was lost: numbers count, not what survives.
    while (!m_held.empty() && m_held.begin()->first <= number) {
        Held held = std::move(m_held.begin()->second);
        m_held.erase(m_held.begin());
        Pass(std::move(held.datagram), held.jitterShare, now);
    }
    return fate;
}

/// Those that have been held for long enough, each at the time when that was.
void CImpairmentModel::ReleaseHeld(Time now) {
    for (;;) {
        const auto oldest = std::ranges::min_element(
            m_held, {}, [](const auto& entry) { return std::pair(entry.second.since, entry.second.datagram.number); });
        if (oldest == m_held.end() || oldest->second.since + kLongestHold > now) {
            return;
        }
        Held held = std::move(oldest->second);
        m_held.erase(oldest);
        Pass(std::move(held.datagram), held.jitterShare, held.since + kLongestHold);
    }
}

/// The line with its queue, then the way with its delay.
void CImpairmentModel::Pass(Datagram datagram, double jitterShare, Time now) {
    Time left = now;
    if (m_settings.rateKbit > 0) {
        while (!m_onTheLine.empty() && m_onTheLine.front() <= now) {
            m_onTheLine.pop_front();
        }
        if (m_onTheLine.size() > m_settings.queueDatagrams) {  // one is on the line, the others wait
            ++m_counters.droppedByQueue;
            --m_counters.waiting;
            return;
        }
        const double bits = 8.0 * static_cast<double>(datagram.bytes.size() + kDatagramHeadBytes);
        const Time onTheLine(std::llround(bits * 1e6 / m_settings.rateKbit));
        m_lineFree = std::max(m_lineFree, now) + onTheLine;
        m_onTheLine.push_back(m_lineFree);
        left = m_lineFree;
    }
    const Time jitter(std::llround(jitterShare * static_cast<double>(m_settings.jitter.count())));
    datagram.leaves = left + m_settings.delay + jitter;
    if (!m_underWay.empty()) {
        datagram.leaves = std::max(datagram.leaves, m_underWay.back().leaves);
    }
    m_underWay.push_back(std::move(datagram));
}

std::optional<CImpairmentModel::Time> CImpairmentModel::NextTime() const {
    std::optional<Time> next;
    if (!m_underWay.empty()) {
        next = m_underWay.front().leaves;
    }
    for (const auto& [number, held] : m_held) {
        const Time released = held.since + kLongestHold;
        next = next ? std::min(*next, released) : released;
    }
    return next;
}

std::optional<CImpairmentModel::Datagram> CImpairmentModel::Take(Time now) {
    ReleaseHeld(now);
    if (m_underWay.empty() || m_underWay.front().leaves > now) {
        return std::nullopt;
    }
    Datagram datagram = std::move(m_underWay.front());
    m_underWay.pop_front();
    --m_counters.waiting;
    ++m_counters.delivered;
    m_counters.deliveredBytes += datagram.bytes.size();
    return datagram;
}

}  // namespace qrn
