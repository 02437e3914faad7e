#include "platform/sound/SoundDevices.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/sound/DirectSound.h"
#include "qrn/QRN_Media2.h"
#include "support/TempFolder.h"

namespace {

/// Sets a variable for its scope. The tests that use it run no threads beside.
class CVariable {
public:
    CVariable(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    ~CVariable() { m_old ? setenv(m_name, m_old->c_str(), 1) : unsetenv(m_name); }
    CVariable(const CVariable&) = delete;
    CVariable& operator=(const CVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

HRESULT Create(const GUID& device) {
    qrn::ComPtr<IDirectSound> made;
    const HRESULT result = DirectSoundCreate(&device, made.Put(), nullptr);
    EXPECT_EQ(static_cast<bool>(made), SUCCEEDED(result));
    return result;
}

/// Opens a buffer on the device. @return what making it gave.
HRESULT Open(const GUID& device) {
    qrn::ComPtr<IDirectSound> made;
    if (const HRESULT result = DirectSoundCreate(&device, made.Put(), nullptr); FAILED(result)) {
        return result;
    }
    made->SetCooperativeLevel(1, DSSCL_PRIORITY);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    const DSBUFFERDESC desc{kDirectSoundDescBytes, 0, 1000, 0, &format, GUID_NULL};
    qrn::ComPtr<IDirectSoundBuffer> buffer;
    return made->CreateSoundBuffer(&desc, buffer.Put(), nullptr);
}

struct ChoiceCase {
    const char* name;
    GUID device;
    std::optional<std::string> sound;
    std::optional<std::string> soundFile;
    const char* error;  // a part of it; empty: there is a device
};

class SoundDeviceChoice : public testing::TestWithParam<ChoiceCase> {};

TEST_P(SoundDeviceChoice, FollowsIdAndEnvironment) {
    const ChoiceCase& c = GetParam();
    const auto choice = qrn::ChooseSoundDevice(c.device, {c.sound, c.soundFile});
    EXPECT_EQ(static_cast<bool>(choice.makeSink), std::string(c.error).empty()) << choice.error;
    EXPECT_NE(choice.error.find(c.error), std::string::npos) << choice.error;
}

INSTANTIATE_TEST_SUITE_P(
    Devices, SoundDeviceChoice,
    testing::Values(ChoiceCase{"NullById", QRN_SoundDeviceNull, "file:", {}, ""},
                    ChoiceCase{"NullByVariable", QRN_SoundDeviceDefault, "null", {}, ""},
                    ChoiceCase{"FileByVariable", QRN_SoundDeviceDefault, "file:a.wav", {}, ""},
                    ChoiceCase{"FileWithoutAName", QRN_SoundDeviceDefault, "file:", "b.wav", "QRN_SOUND names no file"},
                    ChoiceCase{"FileById", QRN_SoundDeviceFile, {}, "a.wav", ""},
                    ChoiceCase{"FileByIdWithoutAName", QRN_SoundDeviceFile, "file:a.wav", {}, "QRN_SOUND_FILE names"},
                    ChoiceCase{"WrongVariable", QRN_SoundDeviceDefault, "speaker", {}, "neither sdl nor null"},
                    ChoiceCase{"UnknownId", IID_IUnknown, "null", {}, "00000000-0000-0000-C000-000000000046"}),
    [](const auto& c) { return std::string(c.param.name); });

TEST(DirectSoundCreate, TheDefaultIsWhatTheEnvironmentSays) {
    const qrn::test::CTempFolder folder;
    const std::string file = folder.File("out.wav");
    const CVariable variable("QRN_SOUND", ("file:" + file).c_str());
    EXPECT_EQ(Open(QRN_SoundDeviceDefault), S_OK);
    EXPECT_TRUE(std::filesystem::exists(file));
    qrn::ComPtr<IDirectSound> made;
    EXPECT_EQ(DirectSoundCreate(nullptr, made.Put(), nullptr), S_OK) << "a null id is the default too";
}

TEST(DirectSoundCreate, UnknownDevicesAreNoDriver) {
    EXPECT_EQ(Create(IID_IUnknown), DSERR_NODRIVER);
}

TEST(DirectSoundCreate, RefusesWrongArguments) {
    EXPECT_EQ(DirectSoundCreate(&QRN_SoundDeviceNull, nullptr, nullptr), E_INVALIDARG);
    qrn::ComPtr<IDirectSound> made;
    ASSERT_EQ(DirectSoundCreate(&QRN_SoundDeviceNull, made.Put(), nullptr), S_OK);
    qrn::ComPtr<IDirectSound> inner;
    EXPECT_EQ(DirectSoundCreate(&QRN_SoundDeviceNull, inner.Put(), made.Get()), CLASS_E_NOAGGREGATION);
    EXPECT_FALSE(inner);
}

TEST(DirectSoundCreate, AFileInUseIsNoDriver) {
    const qrn::test::CTempFolder folder;
    const CVariable variable("QRN_SOUND_FILE", folder.File("out.wav").c_str());
    qrn::ComPtr<IDirectSound> made;
    ASSERT_EQ(DirectSoundCreate(&QRN_SoundDeviceFile, made.Put(), nullptr), S_OK);
    made->SetCooperativeLevel(1, DSSCL_PRIORITY);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    const DSBUFFERDESC desc{kDirectSoundDescBytes, 0, 1000, 0, &format, GUID_NULL};
    qrn::ComPtr<IDirectSoundBuffer> buffer;
    ASSERT_EQ(made->CreateSoundBuffer(&desc, buffer.Put(), nullptr), S_OK);
    EXPECT_EQ(Open(QRN_SoundDeviceFile), DSERR_NODRIVER);
    buffer.Reset();
    EXPECT_EQ(Open(QRN_SoundDeviceFile), S_OK);
}

TEST(DirectSoundCreate, AFactoryStandsBeforeTheRealDevices) {
    GUID asked{};
    qrn::SetDirectSoundFactory([&asked](const GUID& device, IDirectSound**) {
        asked = device;
        return DSERR_ALLOCATED;
    });
    EXPECT_EQ(Create(QRN_SoundDeviceNull), DSERR_ALLOCATED);
    EXPECT_EQ(asked, QRN_SoundDeviceNull);
    qrn::SetDirectSoundFactory({});
    EXPECT_EQ(Create(QRN_SoundDeviceNull), S_OK);
}

TEST(DirectSoundCreate, WithoutAWorkingDriverOfSdlThereIsNoDevice) {
    const CVariable sound("QRN_SOUND", nullptr);
    const CVariable driver("SDL_AUDIODRIVER", "no-such-driver");
    EXPECT_EQ(Create(QRN_SoundDeviceSdl), DSERR_NODRIVER);
    EXPECT_EQ(Create(QRN_SoundDeviceDefault), DSERR_NODRIVER);
}

TEST(DirectSoundCreate, ADriverOfSdlThatWorksIsADevice) {
    const CVariable sound("QRN_SOUND", "sdl");
    const CVariable driver("SDL_AUDIODRIVER", "dummy");
    EXPECT_EQ(Open(QRN_SoundDeviceSdl), S_OK);
    EXPECT_EQ(Open(QRN_SoundDeviceDefault), S_OK);
}

}  // namespace
