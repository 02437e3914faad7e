#pragma once

#include <atomic>

#include "framework/CUnknown.h"
#include "qrn/com.h"

namespace qrn {

/// Makes the objects of one of the host's own classes. Any thread.
class CHostClassFactory final : public CUnknown, public IClassFactory {
public:
    /// Makes an object as CreateInstance does, whose answer it gives. `outer`, where there is one, asks for IUnknown.
    /// It may throw.
    using Create = HRESULT (*)(IUnknown* outer, REFIID id, void** object);

    explicit CHostClassFactory(Create create);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IClassFactory
    HRESULT CreateInstance(IUnknown* outer, REFIID id, void** object) override;
    /// The host library is never unloaded by itself: S_OK without effect.
    HRESULT LockServer(BOOL lock) override;

private:
    const Create m_create;
};

}  // namespace qrn
