#include "host/TestModule.h"

#include <atomic>

namespace {

std::atomic<int> g_objects{0};

template <class Interface>
class CCounted : public Interface {
public:
    explicit CCounted(IID id) : m_id(id) { ++g_objects; }

    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != IID_IUnknown && id != m_id) {
            return E_NOINTERFACE;
        }
        *object = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    virtual ~CCounted() { --g_objects; }

private:
    const IID m_id;
    std::atomic<ULONG> m_references{0};
};

class CObject final : public CCounted<IUnknown> {
public:
    CObject() : CCounted(IID_IUnknown) {}
};

class CFactory final : public CCounted<IClassFactory> {
public:
    CFactory() : CCounted(IID_IClassFactory) {}
    HRESULT CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        if (outer != nullptr) {
            return CLASS_E_NOAGGREGATION;
        }
        return qrn::ComPtr<IUnknown>::Share(new CObject)->QueryInterface(id, object);
    }
    HRESULT LockServer(BOOL) override { return E_NOTIMPL; }
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    if (classId == qrn::test::kLyingClass) {
        return S_OK;
    }
    if (classId == qrn::test::kForbiddenClass) {
        return E_ACCESSDENIED;
    }
    if (classId != qrn::test::kCountedClass) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return qrn::ComPtr<IClassFactory>::Share(new CFactory)->QueryInterface(interfaceId, object);
}

__attribute__((visibility("default"))) HRESULT DllCanUnloadNow() {
    return g_objects == 0 ? S_OK : S_FALSE;
}

__attribute__((visibility("default"))) HRESULT DllRegisterServer() {
    return S_OK;
}

__attribute__((visibility("default"))) HRESULT DllUnregisterServer() {
    return E_FAIL;
}

}  // extern "C"
