#pragma once

#include <atomic>

#include "framework/CBaseObject.h"
#include "module/CFactoryTemplate.h"
#include "qrn/QRN_Media2.h"

/// Makes the objects of one class. Any thread.
class CClassFactory final : public IClassFactory, public IQRN_ClassInfo, public IQRN_ModuleHooks, public CBaseObject {
public:
    /// The count of references starts at zero.
    explicit CClassFactory(const CFactoryTemplate& classRow);

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // IClassFactory
    HRESULT CreateInstance(IUnknown* outer, REFIID id, void** object) override;
    HRESULT LockServer(BOOL lock) override;

    // IQRN_ClassInfo
    HRESULT GetDisplayName(const wchar_t** name) override;
    HRESULT GetSetup(const AMOVIESETUP_FILTER** setup) override;

    // IQRN_ModuleHooks
    HRESULT SetMessageBoxHandler(MessageBoxHandler handler, void* context) override;
    HRESULT SetDebugOutputHandler(DebugOutputHandler handler, void* context) override;

    /// True while LockServer holds the module loaded.
    static bool IsServerLocked();

private:
    ~CClassFactory() = default;

    const CFactoryTemplate& m_class;
    std::atomic<ULONG> m_references{0};
};
