#pragma once
/// How loud a sound is.

#include <cstdint>
#include <span>
#include <vector>

namespace qrn {

/// What a level meter shows for digital silence, in dB.
inline constexpr double kSilenceDbfs = -100.0;

/// The root mean square of each channel in dB of full scale (a square wave of full scale is 0), over everything and
/// since the last look. Not locked: its owner does that.
class CLevelMeter {
public:
    explicit CLevelMeter(int channels) : m_total(static_cast<std::size_t>(channels)), m_recent(m_total.size()) {}

    void Add(std::span<const std::int16_t> interleaved);

    std::vector<double> TotalDbfs() const;
    /// The loudest channel since the last call.
    double TakeRecentDbfs();
    bool HeardAnything() const;

private:
    struct Sum {
        double squares = 0;
        std::uint64_t count = 0;
        double Dbfs() const;
    };
    std::vector<Sum> m_total;
    std::vector<Sum> m_recent;
};

}  // namespace qrn
