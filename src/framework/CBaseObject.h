#pragma once
/// Counts the objects that live, so that a module knows when it may be unloaded.

#include "qrn/com.h"

/// Base of everything that keeps the module loaded. Each library that links the framework has its own count.
class CBaseObject {
public:
    /// @param name  for people who debug; not kept.
    explicit CBaseObject(const wchar_t* name);
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    /// Objects alive now. Any thread.
    static LONG ActiveObjects();

protected:
    ~CBaseObject();
};
