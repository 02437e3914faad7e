// CAudioCompressor loads any bytes as its settings, also over settings of its own, and saves what it then has.
//
// Input: the stream.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/MemoryStream.h"

namespace {

using qrn::ComPtr;
using qrn::test::Bytes;
using qrn::test::CMemoryStream;

void Require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
}

Bytes Save(IPersistStream& persist) {
    const auto stream = CMemoryStream::Create();
    Require(persist.Save(stream.Get(), TRUE) == S_OK);
    return stream->bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HRESULT result = S_OK;
    auto* filter = static_cast<CAudioCompressor*>(CAudioCompressor::CreateInstance(nullptr, &result));
    const auto owner = ComPtr<IUnknown>::Share(filter->GetOwner());
    const auto persist = owner.As<IPersistStream>();
    const Bytes before = Save(*persist);
    const auto stream = CMemoryStream::Create();
    stream->bytes.assign(data, data + size);
    const HRESULT loaded = persist->Load(stream.Get());
    const Bytes after = Save(*persist);
    if (FAILED(loaded)) {
        Require(after == before);
        return 0;
    }
    // The 12 bytes behind the version text come back as they were, and the filter works with them.
    Require(size >= 36 && after.size() == 36 && std::equal(after.begin() + 24, after.end(), data + 24));
    DWORD channels = 0;
    DWORD codec = 0;
    DWORD packetBytes = 0;
    Require(filter->GetChannels(&channels) == S_OK && (channels == 1 || channels == 2));
    Require(filter->GetCodec(&codec) == S_OK && codec < kQrnAudioCodecCount);
    Require(filter->GetInputPacketBytes(&packetBytes) == S_OK && packetBytes > 0);
    CMediaType type;
    Require(filter->GetMediaType(0, &type) == S_OK);
    return 0;
}
