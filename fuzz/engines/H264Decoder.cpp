#include "engines/H264VideoDecoder.h"

#include "DecoderFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return qrn::fuzz::RunDecoder<UMC::H264VideoDecoder>(data, size);
}
