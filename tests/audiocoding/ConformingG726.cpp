#include "ConformingG726.h"

#include <spandsp/telephony.h>
// The library's headers do not stand alone, and their macros are kept from others' headers.
#include <spandsp/bitstream.h>
#include <spandsp/g726.h>

namespace qrn::test {

CConformingG726::CConformingG726(int bitsPerSample, Packing packing)
    : m_state(g726_init(nullptr, bitsPerSample * 8000, G726_ENCODING_LINEAR,
                        packing == Packing::kAsOurs ? G726_PACKING_RIGHT : G726_PACKING_NONE)) {}

CConformingG726::~CConformingG726() {
    g726_free(static_cast<g726_state_t*>(m_state));
}

Bytes CConformingG726::Encode(const Pcm& pcm) {
    Bytes bytes(pcm.size());
    const int length =
        g726_encode(static_cast<g726_state_t*>(m_state), bytes.data(), pcm.data(), static_cast<int>(pcm.size()));
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

Pcm CConformingG726::Decode(const Bytes& bytes) {
    Pcm pcm(bytes.size() * 4);
    const int samples =
        g726_decode(static_cast<g726_state_t*>(m_state), pcm.data(), bytes.data(), static_cast<int>(bytes.size()));
    pcm.resize(static_cast<std::size_t>(samples));
    return pcm;
}

}  // namespace qrn::test
