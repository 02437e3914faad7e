#pragma once
/// The settings of a bad network as they are typed.

#include <cstdint>
#include <string>

#include "client/impair/ImpairmentModel.h"

namespace qrn {

/// Empty: not given.
struct ImpairmentTexts {
    std::string loss;       // P
    std::string burst;      // P,LENGTH
    std::string delay;      // MS
    std::string jitter;     // MS
    std::string reorder;    // P,DISTANCE
    std::string duplicate;  // P
    std::string rate;       // KBIT
    std::string seed;       // N
};

/// @throws CClientError (wrong use) that names the option and what it takes.
ImpairmentSettings ParseImpairment(const ImpairmentTexts& texts);

}  // namespace qrn
