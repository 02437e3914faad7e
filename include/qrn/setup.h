#pragma once
/// What a filter says of itself to whoever registers it, and the registered filters.

#include "qrn/com.h"

// ---------------------------------------------------------------------------------------------------------------------
// A filter's own words

struct AMOVIESETUP_MEDIATYPE {
    const CLSID* clsMajorType;
    const CLSID* clsMinorType;
};

struct AMOVIESETUP_PIN {
    const wchar_t* strName;
    BOOL bRendered;
    BOOL bOutput;
    BOOL bZero;
    BOOL bMany;
    const CLSID* clsConnectsToFilter;
    const wchar_t* strConnectsToPin;
    UINT nMediaTypes;
    const AMOVIESETUP_MEDIATYPE* lpMediaType;
};

struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    const wchar_t* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};

inline constexpr DWORD MERIT_NORMAL = 0x600000;
inline constexpr DWORD MERIT_UNLIKELY = 0x200000;

struct IAMovieSetup : IUnknown {
    virtual HRESULT Register() = 0;
    virtual HRESULT Unregister() = 0;

protected:
    ~IAMovieSetup() = default;
};
inline constexpr IID IID_IAMovieSetup = qrn::Guid("A3D8CEC0-7E5A-11CF-BBC5-00805F6CEF20");
template <>
inline constexpr IID IID_Of<IAMovieSetup> = IID_IAMovieSetup;

// ---------------------------------------------------------------------------------------------------------------------
// The filter mapper: the registered filters, by category

inline constexpr CLSID CLSID_LegacyAmFilterCategory = qrn::Guid("083863F1-70DE-11D0-BD40-00A0C911CE86");
inline constexpr CLSID CLSID_VideoCompressorCategory = qrn::Guid("33D9A760-90C8-11D0-BD43-00A0C911CE86");
inline constexpr CLSID CLSID_AudioCompressorCategory = qrn::Guid("33D9A761-90C8-11D0-BD43-00A0C911CE86");
/// The category of the categories.
inline constexpr CLSID CLSID_ActiveMovieCategories = qrn::Guid("DA4E3DA0-D07D-11D0-BD50-00A0C911CE86");

using REGPINTYPES = AMOVIESETUP_MEDIATYPE;
using REGFILTERPINS = AMOVIESETUP_PIN;

/// What is registered of a filter, version 1.
struct REGFILTER2 {
    DWORD dwVersion;
    DWORD dwMerit;
    ULONG cPins;
    const REGFILTERPINS* rgPins;
};

struct IMoniker;
struct IEnumMoniker;
struct IEnumRegFilters;
struct REGPINMEDIUM;

struct IFilterMapper2 : IUnknown {
    virtual HRESULT CreateCategory(REFCLSID category, DWORD merit, const wchar_t* description) = 0;
    /// Null `category`: the legacy category. Null `instance`: the filter's class id in braces. 0x80070002 when there is
    /// no such entry.
    virtual HRESULT UnregisterFilter(const CLSID* category, const wchar_t* instance, REFCLSID filter) = 0;
    /// The same defaults; an entry of that name is replaced. `moniker` is null, or points to null.
    virtual HRESULT RegisterFilter(REFCLSID filter, const wchar_t* name, IMoniker** moniker, const CLSID* category,
                                   const wchar_t* instance, const REGFILTER2* record) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumMoniker** filters, DWORD flags, BOOL exactMatch, DWORD merit,
                                        BOOL inputNeeded, DWORD inputTypeCount, const GUID* inputTypes,
                                        const REGPINMEDIUM* inputMedium, const CLSID* inputPinCategory, BOOL render,
                                        BOOL outputNeeded, DWORD outputTypeCount, const GUID* outputTypes,
                                        const REGPINMEDIUM* outputMedium, const CLSID* outputPinCategory) = 0;

protected:
    ~IFilterMapper2() = default;
};
inline constexpr CLSID CLSID_FilterMapper2 = qrn::Guid("CDA42200-BD88-11D0-BD4E-00A0C911CE86");
inline constexpr IID IID_IFilterMapper2 = qrn::Guid("B79BB0B0-33C1-11D1-ABE1-00A0C905F375");
template <>
inline constexpr IID IID_Of<IFilterMapper2> = IID_IFilterMapper2;

/// The older mapper: it knows the legacy category only, and takes a filter piece by piece.
struct IFilterMapper : IUnknown {
    virtual HRESULT RegisterFilter(CLSID filter, const wchar_t* name, DWORD merit) = 0;
    virtual HRESULT RegisterFilterInstance(CLSID filter, const wchar_t* name, CLSID* instance) = 0;
    /// GUID_NULL and null where the pin connects to nothing else.
    virtual HRESULT RegisterPin(CLSID filter, const wchar_t* name, BOOL rendered, BOOL output, BOOL zero, BOOL many,
                                CLSID connectsToFilter, const wchar_t* connectsToPin) = 0;
    virtual HRESULT RegisterPinType(CLSID filter, const wchar_t* pin, CLSID majorType, CLSID subType) = 0;
    virtual HRESULT UnregisterFilter(CLSID filter) = 0;
    virtual HRESULT UnregisterFilterInstance(CLSID instance) = 0;
    virtual HRESULT UnregisterPin(CLSID filter, const wchar_t* name) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumRegFilters** filters, DWORD merit, BOOL inputNeeded, CLSID inputMajorType,
                                        CLSID inputSubType, BOOL render, BOOL outputNeeded, CLSID outputMajorType,
                                        CLSID outputSubType) = 0;

protected:
    ~IFilterMapper() = default;
};
inline constexpr CLSID CLSID_FilterMapper = qrn::Guid("E436EBB2-524F-11CE-9F53-0020AF0BA770");
inline constexpr IID IID_IFilterMapper = qrn::Guid("56A868A3-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IFilterMapper> = IID_IFilterMapper;
