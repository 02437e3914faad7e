#pragma once
/// The body of the framework's enumeration objects.

#include <atomic>
#include <new>

#include "framework/Boundary.h"
#include "framework/CCritSec.h"
#include "framework/CUnknown.h"
#include "qrn/filters.h"

/// Walks what an owner has, at positions 0, 1, ... VFW_E_ENUM_OUT_OF_SYNC once that has changed; Reset starts anew.
/// Holds the owner. Any thread.
///
/// `Walk` tells what is walked: the types Interface, Owner and Item, and
///     LONG Version(const Owner&)                          grows with every change
///     HRESULT Get(Owner&, int position, Item* item)       S_OK, S_FALSE past the last one, or a failure
///     void LetGo(Item)                                    frees what Get gave
template <class Walk>
class CEnumerator final : public Walk::Interface {
public:
    using Interface = typename Walk::Interface;
    using Owner = typename Walk::Owner;
    using Item = typename Walk::Item;

    /// @param walk  receives the enumerator with its first reference, or null. E_OUTOFMEMORY.
    static HRESULT Create(Owner* owner, Interface** walk) { return Create(owner, 0, Walk::Version(*owner), walk); }

    CEnumerator(const CEnumerator&) = delete;
    CEnumerator& operator=(const CEnumerator&) = delete;

    HRESULT QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (id == IID_IUnknown || id == IID_Of<Interface>) {
            return GetInterface(static_cast<Interface*>(this), object);
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_count; }
    ULONG Release() override {
        const ULONG left = --m_count;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    /// A failure on the way gives nothing, and the walk stays where it was.
    HRESULT Next(ULONG count, Item* items, ULONG* fetched) override {
        if (items == nullptr || (fetched == nullptr && count > 1)) {
            return items == nullptr ? E_POINTER : E_INVALIDARG;
        }
        CAutoLock lock(&m_lock);
        if (fetched != nullptr) {
            *fetched = 0;
        }
        ULONG given = 0;
        HRESULT result = IsOutOfSync() ? VFW_E_ENUM_OUT_OF_SYNC : S_OK;
        while (result == S_OK && given < count) {
            result = GetNext(&items[given]);
            given += result == S_OK ? 1 : 0;
        }
        if (FAILED(result)) {
            m_position -= static_cast<int>(given);
            while (given > 0) {
                Walk::LetGo(items[--given]);
            }
            return result;
        }
        if (fetched != nullptr) {
            *fetched = given;
        }
        return result;
    }

    /// S_FALSE when there were fewer; the walk is at its end then.
    HRESULT Skip(ULONG count) override {
        CAutoLock lock(&m_lock);
        HRESULT result = IsOutOfSync() ? VFW_E_ENUM_OUT_OF_SYNC : S_OK;
        for (; result == S_OK && count > 0; --count) {
            Item item{};
            result = GetNext(&item);
            if (result == S_OK) {
                Walk::LetGo(item);
            }
        }
        return result;
    }

    HRESULT Reset() override {
        CAutoLock lock(&m_lock);
        m_position = 0;
        m_version = Walk::Version(*m_owner);
        return S_OK;
    }

    HRESULT Clone(Interface** clone) override {
        if (clone == nullptr) {
            return E_POINTER;
        }
        CAutoLock lock(&m_lock);
        *clone = nullptr;
        return IsOutOfSync() ? VFW_E_ENUM_OUT_OF_SYNC : Create(m_owner, m_position, m_version, clone);
    }

private:
    CEnumerator(Owner* owner, int position, LONG version) : m_owner(owner), m_position(position), m_version(version) {
        m_owner->AddRef();
    }
    ~CEnumerator() { m_owner->Release(); }

    static HRESULT Create(Owner* owner, int position, LONG version, Interface** walk) {
        *walk = new (std::nothrow) CEnumerator(owner, position, version);
        return *walk != nullptr ? S_OK : E_OUTOFMEMORY;
    }

    bool IsOutOfSync() const QRN_REQUIRES(m_lock) { return Walk::Version(*m_owner) != m_version; }

    HRESULT GetNext(Item* item) QRN_REQUIRES(m_lock) {
        const int position = m_position;
        const HRESULT result = qrn::AnswerFor([this, position, item] { return Walk::Get(*m_owner, position, item); });
        m_position += result == S_OK ? 1 : 0;
        return result;
    }

    std::atomic<ULONG> m_count{1};
    Owner* const m_owner;
    CCritSec m_lock;
    int m_position QRN_GUARDED_BY(m_lock);
    LONG m_version QRN_GUARDED_BY(m_lock);
};
