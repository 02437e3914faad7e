#pragma once

#include <cstddef>
#include <vector>

namespace qrn {

/// How the samples along one axis of a picture are made from those of another: for each new sample the same number of
/// neighbouring old ones, from First on, with weights that sum up to 1. What would lie beyond an edge is already
/// counted for the edge sample, so that no index leaves the source.
class CAxisKernel {
public:
    /// @param interpolation  IPPI_INTER_..., of which Supports is true; both sizes are positive.
    /// @throws std::bad_alloc
    CAxisKernel(int sourceSize, int destinationSize, int interpolation);

    static bool Supports(int interpolation);

    [[nodiscard]] int Taps() const { return m_taps; }
    [[nodiscard]] int First(int index) const { return m_first[static_cast<std::size_t>(index)]; }
    [[nodiscard]] const float* Weights(int index) const {
        return m_weights.data() + static_cast<std::size_t>(index) * static_cast<std::size_t>(m_taps);
    }

private:
    void AddWeight(int index, int sample, double weight, int sourceSize);
    void Normalise(int index);

    int m_taps;
    std::vector<int> m_first;
    std::vector<float> m_weights;
};

}  // namespace qrn
