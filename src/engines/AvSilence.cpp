#include "engines/AvSilence.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>

namespace UMC {

namespace {

thread_local int t_depth = 0;

void Log(void* object, int level, const char* format, va_list values) {
    if (t_depth == 0) {
        av_log_default_callback(object, level, format, values);
    }
}

/// Gone with the module, whose code the library must not call then.
class Callback {
public:
    Callback() { av_log_set_callback(&Log); }
    ~Callback() { av_log_set_callback(&av_log_default_callback); }
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;
};

}  // namespace

AvSilence::AvSilence() {
    static const Callback callback;
    ++t_depth;
}

AvSilence::~AvSilence() {
    --t_depth;
}

}  // namespace UMC
