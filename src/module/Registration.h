#pragma once
/// Registration of the module: its classes, and its filters in the filter mapper.

#include <functional>
#include <memory>
#include <span>

#include "module/CFactoryTemplate.h"
#include "platform/registry/CRegistry.h"
#include "qrn/com.h"

/// What registration works with.
struct RegistrationContext {
    /// As CoCreateInstance makes an object of the platform. The mappers that it makes work on `registry`.
    using CreateObject = std::function<HRESULT(REFCLSID classId, REFIID interfaceId, void** object)>;

    std::shared_ptr<qrn::CRegistry> registry;
    std::span<const CFactoryTemplate> classes;
    CreateObject createObject;
};

/// Registers the classes. Afterwards the legacy category lists "QRN Video Render 3D" and none of the other filters, and
/// the compressor categories neither compressor: a client makes the filters by their class ids and does not come upon
/// them by looking through the categories. All of it happens or, with a failure as the answer, nothing.
HRESULT RegisterModule(const RegistrationContext& context);

/// Takes all of that back. What is not registered is no failure; E_ACCESSDENIED for classes that are registered for the
/// whole machine when this process may only change what is its user's.
HRESULT UnregisterModule(const RegistrationContext& context);
