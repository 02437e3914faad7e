#pragma once
/// Times, waitable handles and the result codes of the filter framework.

#include "qrn/com.h"

using REFERENCE_TIME = LONGLONG;

/// An eventfd: "signalled" means that 1 is added to it. A counting semaphore is one made with EFD_SEMAPHORE.
using HEVENT = int;
using HSEMAPHORE = int;

// Result codes of the framework.
inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_S_STATE_INTERMEDIATE = 0x00040237;
inline constexpr HRESULT VFW_S_DUPLICATE_NAME = 0x0004022D;
inline constexpr HRESULT VFW_S_CANT_CUE = 0x00040268;
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = static_cast<HRESULT>(0x80040200u);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = static_cast<HRESULT>(0x80040203u);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = static_cast<HRESULT>(0x80040204u);
inline constexpr HRESULT VFW_E_FILTER_ACTIVE = static_cast<HRESULT>(0x80040205u);
inline constexpr HRESULT VFW_E_NO_TYPES = static_cast<HRESULT>(0x80040206u);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = static_cast<HRESULT>(0x80040207u);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = static_cast<HRESULT>(0x80040208u);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = static_cast<HRESULT>(0x80040209u);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = static_cast<HRESULT>(0x8004020Au);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = static_cast<HRESULT>(0x8004020Bu);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = static_cast<HRESULT>(0x8004020Du);
inline constexpr HRESULT VFW_E_BADALIGN = static_cast<HRESULT>(0x8004020Eu);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = static_cast<HRESULT>(0x8004020Fu);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = static_cast<HRESULT>(0x80040210u);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = static_cast<HRESULT>(0x80040211u);
inline constexpr HRESULT VFW_E_SIZENOTSET = static_cast<HRESULT>(0x80040212u);
inline constexpr HRESULT VFW_E_NO_CLOCK = static_cast<HRESULT>(0x80040213u);
inline constexpr HRESULT VFW_E_NO_SINK = static_cast<HRESULT>(0x80040214u);
inline constexpr HRESULT VFW_E_NOT_FOUND = static_cast<HRESULT>(0x80040216u);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = static_cast<HRESULT>(0x80040217u);
inline constexpr HRESULT VFW_E_CANNOT_RENDER = static_cast<HRESULT>(0x80040218u);
inline constexpr HRESULT VFW_E_NOT_STOPPED = static_cast<HRESULT>(0x80040224u);
inline constexpr HRESULT VFW_E_WRONG_STATE = static_cast<HRESULT>(0x80040227u);
inline constexpr HRESULT VFW_E_START_TIME_AFTER_END = static_cast<HRESULT>(0x80040228u);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = static_cast<HRESULT>(0x8004022Au);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED = static_cast<HRESULT>(0x8004022Bu);
inline constexpr HRESULT VFW_E_DUPLICATE_NAME = static_cast<HRESULT>(0x8004022Du);
inline constexpr HRESULT VFW_E_TIMEOUT = static_cast<HRESULT>(0x8004022Eu);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = static_cast<HRESULT>(0x80040249u);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = static_cast<HRESULT>(0x80040251u);
inline constexpr HRESULT VFW_E_NOT_IN_GRAPH = static_cast<HRESULT>(0x8004025Fu);
