#include "module/Registration.h"

#include <string>

#include "module/FilterRegistration.h"
#include "module/ModuleFile.h"
#include "platform/com/Text.h"
#include "platform/registry/CRegistryTransaction.h"
#include "platform/registry/ClassRegistration.h"
#include "qrn/QRN_Media2.h"
#include "qrn/filters.h"

namespace {

/// The filters that leave the legacy category again. CLSID_QRN_VideoRender3D is not among them, on purpose: it stays
/// listed.
constexpr const CLSID* kUnlisted[] = {
    &CLSID_QRN_HttpWebcam,       &CLSID_QRN_AudioMicAEC,       &CLSID_QRN_AudioRenderAEC,  &CLSID_QRN_TempScaler,
    &CLSID_QRN_VideoCompressor2, &CLSID_QRN_VideoDeCompressor, &CLSID_QRN_AudioCompressor, &CLSID_QRN_AudioDeCompressor,
    &CLSID_QRN_VideoRender,      &CLSID_QRN_AudioRender,       &CLSID_QRN_VideoSender,     &CLSID_QRN_AudioSender,
    &CLSID_QRN_VideoReceiver,    &CLSID_QRN_AudioReceiver,
};

template <class Mapper>
qrn::ComPtr<Mapper> CreateMapper(const RegistrationContext& context, REFCLSID classId, HRESULT& result) {
    qrn::ComPtr<Mapper> mapper;
    result = context.createObject(classId, IID_Of<Mapper>, mapper.PutVoid());
    return mapper;
}

LONG WriteClasses(const RegistrationContext& context, const std::wstring& modulePath) {
    for (const CFactoryTemplate& row : context.classes) {
        const LONG error = qrn::WriteClass(*context.registry, *row.m_classId, row.m_name, modulePath);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

LONG RemoveClasses(const RegistrationContext& context) {
    for (const CFactoryTemplate& row : context.classes) {
        const LONG error = qrn::RemoveClass(*context.registry, *row.m_classId);
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

template <class Mapper>
HRESULT ChangeFilters(const RegistrationContext& context, Mapper& mapper, bool isRegistered) {
    for (const CFactoryTemplate& row : context.classes) {
        const HRESULT result = row.m_setup == nullptr ? S_OK : ChangeFilter(mapper, *row.m_setup, isRegistered);
        if (FAILED(result)) {
            return result;
        }
    }
    return S_OK;
}

/// Through the mapper, or through the older one where a system has no other. No thread needs to be made ready for
/// either here, and no library is loaded for them that would be freed afterwards.
HRESULT ChangeFilters(const RegistrationContext& context, bool isRegistered) {
    HRESULT result = S_OK;
    if (const auto mapper = CreateMapper<IFilterMapper2>(context, CLSID_FilterMapper2, result); SUCCEEDED(result)) {
        return ChangeFilters(context, *mapper, isRegistered);
    }
    if (const auto mapper = CreateMapper<IFilterMapper>(context, CLSID_FilterMapper, result); SUCCEEDED(result)) {
        return ChangeFilters(context, *mapper, isRegistered);
    }
    return result;
}

/// What registering and unregistering have in common.
HRESULT ChangeRegistration(const RegistrationContext& context, bool isRegistered) {
    std::string modulePath;
    LONG error = FindModuleFile(modulePath);
    if (error == ERROR_SUCCESS && isRegistered) {
        error = WriteClasses(context, qrn::ToWide(modulePath));
    }
    if (error != ERROR_SUCCESS) {
        return qrn::ResultOf(error);
    }
    const HRESULT result = ChangeFilters(context, isRegistered);
    return FAILED(result) || isRegistered ? result : qrn::ResultOf(RemoveClasses(context));
}

HRESULT RegisterAndUnlist(const RegistrationContext& context) {
    HRESULT result = S_OK;
    const auto mapper = CreateMapper<IFilterMapper2>(context, CLSID_FilterMapper2, result);
    if (FAILED(result)) {
        return result;
    }
    // Earlier versions entered the compressors there. Whether there was an entry does not matter; a store that failed
    // fails the steps that follow too.
    mapper->UnregisterFilter(&CLSID_VideoCompressorCategory, nullptr, CLSID_QRN_VideoCompressor2);
    mapper->UnregisterFilter(&CLSID_AudioCompressorCategory, nullptr, CLSID_QRN_AudioCompressor);

    result = ChangeRegistration(context, true);
    if (FAILED(result)) {
        return result;
    }
    for (const CLSID* filter : kUnlisted) {
        mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, *filter);
    }
    return S_OK;
}

/// The steps as one transaction: an interrupted registration leaves what was before.
HRESULT AsOneChange(const RegistrationContext& context, const std::function<HRESULT()>& steps) {
    qrn::CRegistryTransaction transaction(*context.registry, qrn::RegistryRoot::kClassesRoot);
    if (transaction.Error() != ERROR_SUCCESS) {
        return qrn::ResultOf(transaction.Error());
    }
    const HRESULT result = steps();
    return FAILED(result) ? result : qrn::ResultOf(transaction.Commit());
}

}  // namespace

HRESULT RegisterModule(const RegistrationContext& context) {
    return AsOneChange(context, [&] { return RegisterAndUnlist(context); });
}

HRESULT UnregisterModule(const RegistrationContext& context) {
    return AsOneChange(context, [&] { return ChangeRegistration(context, false); });
}
