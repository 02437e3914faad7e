#pragma once
/// The module's class table: every filter and property page that the module has, in the order in which they are
/// registered and searched.

#include <span>

#include "framework/CUnknown.h"
#include "qrn/filters.h"

/// One class. The records that it points to live as long as the module.
struct CFactoryTemplate {
    const wchar_t* m_name;
    const CLSID* m_classId;
    /// Gives the new object without a reference of its own, or null; a failure goes into `result`, which comes in as
    /// success.
    CUnknown* (*m_create)(IUnknown* outer, HRESULT* result);
    /// Called with true when the module is loaded and with false when it is unloaded. No class of the module has one.
    void (*m_initialise)(bool loading, const CLSID* classId);
    /// Null for a property page.
    const AMOVIESETUP_FILTER* m_setup;
};

/// All 20 rows. Any thread.
std::span<const CFactoryTemplate> ClassTable();

/// The row of a class, or null.
const CFactoryTemplate* FindClass(REFCLSID classId);
