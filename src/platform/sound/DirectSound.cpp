#include "platform/sound/DirectSound.h"

#include <exception>
#include <utility>

#include "platform/sound/CSoundDevice.h"
#include "platform/sound/SoundDevices.h"
#include "platform/system/Lock.h"
#include "platform/system/Log.h"

namespace {

struct FactoryPlace {
    qrn::CMutex gate;
    qrn::DirectSoundFactory factory QRN_GUARDED_BY(gate);
};

FactoryPlace& Place() {
    static FactoryPlace place;
    return place;
}

qrn::DirectSoundFactory CurrentFactory() {
    FactoryPlace& place = Place();
    const qrn::CScopedLock lock(place.gate);
    return place.factory;
}

HRESULT CreateReal(const GUID& device, IDirectSound** directSound) {
    auto choice = qrn::ChooseSoundDevice(device, qrn::SoundEnvironment::OfProcess());
    if (!choice.makeSink) {
        qrn::Log(qrn::LogLevel::kWarn, "sound", "no sound device: %s", choice.error.c_str());
        return DSERR_NODRIVER;
    }
    *directSound = qrn::CSoundDevice::Create(std::move(choice.makeSink)).Detach();
    return DS_OK;
}

}  // namespace

HRESULT DirectSoundCreate(const GUID* device, IDirectSound** directSound, IUnknown* outer) {
    if (directSound == nullptr) {
        return E_INVALIDARG;
    }
    *directSound = nullptr;
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    const GUID wanted = device != nullptr ? *device : GUID_NULL;
    try {
        const qrn::DirectSoundFactory factory = CurrentFactory();
        return factory ? factory(wanted, directSound) : CreateReal(wanted, directSound);
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
}

void qrn::SetDirectSoundFactory(DirectSoundFactory factory) {
    FactoryPlace& place = Place();
    const CScopedLock lock(place.gate);
    std::swap(place.factory, factory);
}
