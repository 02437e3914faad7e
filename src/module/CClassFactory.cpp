#include "module/CClassFactory.h"

#include <exception>
#include <string>
#include <utility>

#include "framework/Boundary.h"
#include "platform/system/DebugOutput.h"
#include "platform/system/MessageBox.h"

namespace {

std::atomic<LONG> g_serverLocks{0};

/// Runs a class's creation function; what its constructor throws becomes a result code, since nothing may leave an
/// interface method here.
CUnknown* Create(const CFactoryTemplate& row, IUnknown* outer, HRESULT* result) {
    try {
        return row.m_create(outer, result);
    } catch (const std::bad_alloc&) {
        *result = E_OUTOFMEMORY;
    } catch (const std::exception&) {
        *result = E_FAIL;
    }
    return nullptr;
}

}  // namespace

CClassFactory::CClassFactory(const CFactoryTemplate& classRow) : CBaseObject(L"class factory"), m_class(classRow) {}

HRESULT CClassFactory::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IClassFactory) {
        *object = static_cast<IClassFactory*>(this);
    } else if (id == IID_IQRN_ClassInfo) {
        *object = static_cast<IQRN_ClassInfo*>(this);
    } else if (id == IID_IQRN_ModuleHooks) {
        *object = static_cast<IQRN_ModuleHooks*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG CClassFactory::AddRef() {
    return ++m_references;
}

ULONG CClassFactory::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    // An aggregate's outer object needs the inner object's own identity and nothing else.
    if (outer != nullptr && id != IID_IUnknown) {
        return E_NOINTERFACE;
    }

    HRESULT result = S_OK;
    CUnknown* created = Create(m_class, outer, &result);
    if (created == nullptr) {
        return SUCCEEDED(result) ? E_OUTOFMEMORY : result;
    }
    // The object comes without a reference. Holding one while it is asked lets the last release destroy it when it has
    // no such interface, or when its constructor reported a failure.
    created->NonDelegatingAddRef();
    if (SUCCEEDED(result)) {
        result = created->NonDelegatingQueryInterface(id, object);
    }
    created->NonDelegatingRelease();
    return result;
}

HRESULT CClassFactory::LockServer(BOOL lock) {
    if (lock != FALSE) {
        ++g_serverLocks;
    } else {
        --g_serverLocks;
    }
    return S_OK;
}

HRESULT CClassFactory::GetDisplayName(const wchar_t** name) {
    if (name == nullptr) {
        return E_POINTER;
    }
    *name = m_class.m_name;
    return S_OK;
}

HRESULT CClassFactory::GetSetup(const AMOVIESETUP_FILTER** setup) {
    if (setup == nullptr) {
        return E_POINTER;
    }
    *setup = m_class.m_setup;
    return S_OK;
}

HRESULT CClassFactory::SetMessageBoxHandler(MessageBoxHandler handler, void* context) {
    return qrn::AnswerFor([=] {
        qrn::MessageBoxSink sink;
        if (handler != nullptr) {
            sink = [=](std::wstring_view text, std::wstring_view caption, std::uint32_t style) {
                handler(context, std::wstring(text).c_str(), std::wstring(caption).c_str(), style);
            };
        }
        qrn::SetMessageBoxSink(std::move(sink));
        return S_OK;
    });
}

HRESULT CClassFactory::SetDebugOutputHandler(DebugOutputHandler handler, void* context) {
    return qrn::AnswerFor([=] {
        qrn::DebugOutputSink sink;
        if (handler != nullptr) {
            sink = [=](std::wstring_view text) { handler(context, std::wstring(text).c_str()); };
        }
        qrn::SetDebugOutputSink(std::move(sink));
        return S_OK;
    });
}

bool CClassFactory::IsServerLocked() {
    return g_serverLocks > 0;
}
