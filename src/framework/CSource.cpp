#include "framework/CSource.h"

#include <algorithm>
#include <cwchar>

#include "framework/Boundary.h"
#include "framework/CSourceStream.h"

CSource::CSource(const wchar_t* name, IUnknown* outer, REFCLSID classId, HRESULT* /*result*/)
    : CBaseFilter(name, outer, &m_cStateLock, classId) {}

CSource::~CSource() {
    while (CBasePin* pin = CSource::GetPin(CSource::GetPinCount() - 1)) {
        delete pin;  // takes itself out of the array
    }
}

int CSource::GetPinCount() {
    CAutoLock lock(&m_pinsLock);
    return static_cast<int>(m_paStreams.size());
}

CBasePin* CSource::GetPin(int index) {
    CAutoLock lock(&m_pinsLock);
    if (index < 0 || static_cast<std::size_t>(index) >= m_paStreams.size()) {
        return nullptr;
    }
    return m_paStreams[static_cast<std::size_t>(index)];
}

HRESULT CSource::FindPin(const wchar_t* id, IPin** pin) {
    if (id == nullptr || pin == nullptr) {
        return E_POINTER;
    }
    *pin = nullptr;
    wchar_t* end = nullptr;
    const long number = std::wcstol(id, &end, 10);
    if (end == id || *end != L'\0' || number < 1 || number > GetPinCount()) {
        return VFW_E_NOT_FOUND;
    }
    *pin = GetPin(static_cast<int>(number) - 1);
    if (*pin == nullptr) {
        return VFW_E_NOT_FOUND;
    }
    (*pin)->AddRef();
    return S_OK;
}

int CSource::FindPinNumber(IPin* pin) {
    CAutoLock lock(&m_pinsLock);
    const auto found = std::find_if(m_paStreams.begin(), m_paStreams.end(),
                                    [pin](CSourceStream* stream) { return static_cast<IPin*>(stream) == pin; });
    return found == m_paStreams.end() ? 0 : static_cast<int>(found - m_paStreams.begin()) + 1;
}

HRESULT CSource::AddPin(CSourceStream* stream) {
    return qrn::AnswerFor([this, stream] {
        CAutoLock lock(&m_pinsLock);
        m_paStreams.push_back(stream);
        IncrementPinVersion();
        return S_OK;
    });
}

HRESULT CSource::RemovePin(CSourceStream* stream) {
    CAutoLock lock(&m_pinsLock);
    const auto removed = std::erase(m_paStreams, stream);
    if (removed == 0) {
        return S_FALSE;
    }
    IncrementPinVersion();
    return S_OK;
}
