#pragma once
/// The interfaces of the filter framework, all of them; each header below may be included alone.
/// Order of operations, identifiers and constants are those of the native framework, so that a filter written against
/// them compiles there too. Times are REFERENCE_TIME: signed, in units of 100 nanoseconds.
///
/// Texts that come out of an operation (`wchar_t** text`) stand in task memory and are freed with CoTaskMemFree; format
/// blocks of media types too.

#include "qrn/capabilities.h"
#include "qrn/codes.h"
#include "qrn/control.h"
#include "qrn/dialogs.h"
#include "qrn/pages.h"
#include "qrn/persist.h"
#include "qrn/pins.h"
#include "qrn/position.h"
#include "qrn/samples.h"
#include "qrn/setup.h"
#include "qrn/statistics.h"
#include "qrn/video.h"
