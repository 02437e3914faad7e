#pragma once
/// The G.726 coder of libspandsp, whose own tests are the test sequences of ITU-T.

#include "Signals.h"

namespace qrn::test {

class CConformingG726 {
public:
    enum class Packing { kOneWordAByte, kAsOurs };

    explicit CConformingG726(int bitsPerSample, Packing packing = Packing::kOneWordAByte);
    ~CConformingG726();
    CConformingG726(const CConformingG726&) = delete;
    CConformingG726& operator=(const CConformingG726&) = delete;

    Bytes Encode(const Pcm& pcm);
    /// Samples are not limited to 16 bits but cut to them.
    Pcm Decode(const Bytes& bytes);

private:
    void* const m_state;
};

}  // namespace qrn::test
