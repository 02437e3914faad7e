#pragma once
/// What the program says beside its data: on standard error.

#include <string>

namespace qrn {

/// "qrn: SENTENCE." in a line of its own.
void Say(const std::string& sentence);

}  // namespace qrn
