#include "framework/CUnknown.h"

#include <gtest/gtest.h>

namespace {

struct IPart : IUnknown {
    virtual int Number() = 0;

protected:
    ~IPart() = default;
};
constexpr IID kPartId = qrn::Guid("0E3D6A4C-3F0B-4B0A-9D2C-6B1F2E4D5A01");

class CPart final : public CUnknown, public IPart {
public:
    DECLARE_IUNKNOWN

    CPart(IUnknown* outer, int* finals) : CUnknown(L"part", outer), m_finals(finals) {}
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == kPartId ? GetInterface(static_cast<IPart*>(this), object)
                             : CUnknown::NonDelegatingQueryInterface(id, object);
    }
    int Number() override { return 7; }

protected:
    void FinalRelease() override {
        ++*m_finals;
        // Whatever runs here may pass references around.
        AddRef();
        Release();
    }

private:
    int* const m_finals;
};

/// The object around: gives out the part's interface as its own.
class CWhole final : public CUnknown {
public:
    explicit CWhole(int* finals) : CUnknown(L"whole", nullptr), m_part(new CPart(GetOwner(), finals)) {
        m_part->NonDelegatingAddRef();
    }
    ~CWhole() override { m_part->NonDelegatingRelease(); }
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        return id == kPartId ? m_part->NonDelegatingQueryInterface(id, object)
                             : CUnknown::NonDelegatingQueryInterface(id, object);
    }

private:
    CPart* const m_part;
};

TEST(CUnknown, EndsOnceWithItsLastReference) {
    const LONG before = CBaseObject::ActiveObjects();
    int finals = 0;
    auto* part = new CPart(nullptr, &finals);
    EXPECT_EQ(CBaseObject::ActiveObjects(), before + 1);
    EXPECT_EQ(part->AddRef(), 1u);
    EXPECT_EQ(part->AddRef(), 2u);
    EXPECT_EQ(part->Release(), 1u);
    EXPECT_EQ(finals, 0);
    EXPECT_EQ(part->Release(), 0u);
    EXPECT_EQ(finals, 1);
    EXPECT_EQ(CBaseObject::ActiveObjects(), before);
}

TEST(CUnknown, RefusesWhatItDoesNotHave) {
    int finals = 0;
    const auto part = qrn::ComPtr<CPart>::Share(new CPart(nullptr, &finals));
    void* object = &finals;
    EXPECT_EQ(part->QueryInterface(IID_IClassFactory, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(part->QueryInterface(kPartId, nullptr), E_POINTER);
    EXPECT_EQ(part->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(CUnknown, PartOfAnAggregateShowsTheIdentityOfTheWhole) {
    const LONG before = CBaseObject::ActiveObjects();
    int finals = 0;
    auto whole = qrn::ComPtr<IUnknown>::Share((new CWhole(&finals))->GetOwner());
    IPart* part = nullptr;
    ASSERT_EQ(whole->QueryInterface(kPartId, reinterpret_cast<void**>(&part)), S_OK);
    EXPECT_EQ(part->Number(), 7);

    qrn::ComPtr<IUnknown> fromPart;
    ASSERT_EQ(part->QueryInterface(IID_IUnknown, fromPart.PutVoid()), S_OK);
    EXPECT_EQ(fromPart.Get(), whole.Get());

    fromPart.Reset();
    whole.Reset();
    EXPECT_EQ(finals, 0) << "the part's interface must keep the whole";
    EXPECT_EQ(part->Release(), 0u);
    EXPECT_EQ(finals, 1);
    EXPECT_EQ(CBaseObject::ActiveObjects(), before);
}

}  // namespace
