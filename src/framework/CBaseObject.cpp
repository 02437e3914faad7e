#include "framework/CBaseObject.h"

#include <atomic>

namespace {

std::atomic<LONG> g_activeObjects{0};

}  // namespace

CBaseObject::CBaseObject(const wchar_t* /*name*/) {
    ++g_activeObjects;
}

CBaseObject::~CBaseObject() {
    --g_activeObjects;
}

LONG CBaseObject::ActiveObjects() {
    return g_activeObjects;
}
