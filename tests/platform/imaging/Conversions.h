#pragma once

#include <functional>
#include <vector>

#include "TestPicture.h"

namespace qrn::test {

inline constexpr Ipp8u kTestAlpha = 0x5A;

/// Pictures as the primitives take them, so that every one can be called alike.
struct View {
    Ipp8u* const* planes;  ///< null stands for an array that is missing
    const int* steps;
};

enum class Matrix { kBt601, kBt709 };
enum class Chroma { kRepeated, kInterpolated };

/// One conversion: what it makes of what, and how far from the exact value it may be.
struct Conversion {
    const char* name;
    Layout from;
    Layout to;
    double tolerance;
    std::function<IppStatus(const View&, const View&, IppiSize)> run;
    Matrix matrix = Matrix::kBt601;
    Chroma chroma = Chroma::kRepeated;
};

const std::vector<Conversion>& AllConversions();

/// What the formulas make of a sample in double precision: of the component `component` (as TestPicture has them) of a
/// picture converted from `source`, at this place among the samples of its kind.
double ExactSample(const Conversion& conversion, const TestPicture& source, const TestPicture& result, int component,
                   int column, int row);

}  // namespace qrn::test
