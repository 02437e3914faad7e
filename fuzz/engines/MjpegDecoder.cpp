#include "engines/MJPEGVideoDecoder.h"

#include "DecoderFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return qrn::fuzz::RunDecoder<UMC::MJPEGVideoDecoder>(data, size);
}
