#pragma once
/// Enters one filter into the filter mapper, or takes it out. An answer of 0x80070002 (there was none) is success.

#include "qrn/filters.h"

/// The filter is taken out of the legacy category and, with `isRegistered`, entered anew.
HRESULT ChangeFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup, bool isRegistered);

/// The same through the older mapper.
HRESULT ChangeFilter(IFilterMapper& mapper, const AMOVIESETUP_FILTER& setup, bool isRegistered);
