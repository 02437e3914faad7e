#pragma once
/// The program behind main.

#include <string>
#include <vector>

namespace qrn {

/// @param arguments  without the program's name. @return the exit status.
int RunProgram(const std::vector<std::string>& arguments);

}  // namespace qrn
