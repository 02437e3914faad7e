#pragma once
/// Reference counting and aggregation.

#include <atomic>

#include "framework/CBaseObject.h"
#include "qrn/com.h"

/// What an aggregated object does for itself, while its IUnknown goes to the object around it.
struct INonDelegatingUnknown {
    virtual HRESULT NonDelegatingQueryInterface(REFIID id, void** object) = 0;
    virtual ULONG NonDelegatingAddRef() = 0;
    virtual ULONG NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

/// An object of one count that may be part of an aggregate. Made with a count of 0: whoever makes it takes the first
/// reference. Every class below it that has interfaces says DECLARE_IUNKNOWN and overrides NonDelegatingQueryInterface.
/// Any thread.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
public:
    /// @param outer  the controlling unknown, not counted; null when the object stands alone.
    CUnknown(const wchar_t* name, IUnknown* outer);
    virtual ~CUnknown();

    /// IUnknown only.
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;
    ULONG NonDelegatingAddRef() override;
    ULONG NonDelegatingRelease() override;

    /// Whose IUnknown the interfaces of this object use: the controlling unknown, or this object's own.
    IUnknown* GetOwner() const { return m_owner; }

protected:
    /// Called once, whole, when the last reference has gone and before the destructors run.
    virtual void FinalRelease() {}

private:
    /// The object's own IUnknown, which the maker of an aggregate holds.
    class CInner final : public IUnknown {
    public:
        explicit CInner(INonDelegatingUnknown& object) : m_object(object) {}
        HRESULT QueryInterface(REFIID id, void** object) override {
            return m_object.NonDelegatingQueryInterface(id, object);
        }
        ULONG AddRef() override { return m_object.NonDelegatingAddRef(); }
        ULONG Release() override { return m_object.NonDelegatingRelease(); }

    private:
        INonDelegatingUnknown& m_object;
    };

    CInner m_inner;
    IUnknown* m_owner;
    std::atomic<ULONG> m_count{0};
};

/// Answers a QueryInterface with `object`, adding a reference. E_POINTER for a null `out`.
template <class T>
HRESULT GetInterface(T* object, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = object;
    object->AddRef();
    return S_OK;
}

/// The IUnknown of a class with interfaces: goes to the owner.
#define DECLARE_IUNKNOWN                                        \
    HRESULT QueryInterface(REFIID id, void** object) override { \
        return GetOwner()->QueryInterface(id, object);          \
    }                                                           \
    ULONG AddRef() override {                                   \
        return GetOwner()->AddRef();                            \
    }                                                           \
    ULONG Release() override {                                  \
        return GetOwner()->Release();                           \
    }
