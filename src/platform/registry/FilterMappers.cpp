#include "platform/registry/FilterMappers.h"

#include <new>

#include "platform/registry/CFilterMapper.h"
#include "platform/registry/CFilterMapper2.h"
#include "qrn/filters.h"

namespace qrn {

namespace {

template <class Mapper>
HRESULT Create(const std::shared_ptr<CRegistry>& registry, REFIID interfaceId, void** object) {
    const auto mapper = ComPtr<Mapper>::Share(new (std::nothrow) Mapper(registry));
    return mapper ? mapper->QueryInterface(interfaceId, object) : E_OUTOFMEMORY;
}

}  // namespace

HRESULT CreateFilterMapper(const std::shared_ptr<CRegistry>& registry, REFCLSID classId, REFIID interfaceId,
                           void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (classId == CLSID_FilterMapper2) {
        return Create<CFilterMapper2>(registry, interfaceId, object);
    }
    if (classId == CLSID_FilterMapper) {
        return Create<CFilterMapper>(registry, interfaceId, object);
    }
    return REGDB_E_CLASSNOTREG;
}

}  // namespace qrn
