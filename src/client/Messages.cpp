#include "client/Messages.h"

#include <cstdio>

namespace qrn {

void Say(const std::string& sentence) {
    std::fprintf(stderr, "qrn: %s.\n", sentence.c_str());
}

}  // namespace qrn
