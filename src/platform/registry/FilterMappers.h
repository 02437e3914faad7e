#pragma once

#include <memory>

#include "platform/registry/CRegistry.h"
#include "qrn/com.h"

namespace qrn {

/// Makes one of the platform's filter mappers (CLSID_FilterMapper2, CLSID_FilterMapper) over a registry, as
/// CoCreateInstance makes an object: REGDB_E_CLASSNOTREG for any other class. Any thread.
HRESULT CreateFilterMapper(const std::shared_ptr<CRegistry>& registry, REFCLSID classId, REFIID interfaceId,
                           void** object);

}  // namespace qrn
