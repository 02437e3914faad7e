#pragma once

#include <memory>
#include <string>

#include "host/CModule.h"
#include "platform/system/Lock.h"
#include "qrn/com.h"

namespace qrn {

/// The one module of the process: finds its file, loads it on first use, unloads it when it is idle. Any thread.
class CModuleHolder {
public:
    /// The process's own. Never destroyed, so that activation works until the very end of the process.
    static CModuleHolder& Instance();

    CModuleHolder() = default;
    CModuleHolder(const CModuleHolder&) = delete;
    CModuleHolder& operator=(const CModuleHolder&) = delete;

    /// An empty path goes back to the search. E_UNEXPECTED while a module is loaded.
    HRESULT SetPath(const std::string& path) QRN_EXCLUDES(m_lock);

    /// The file that the module comes from where nothing is registered for a class.
    std::string UnregisteredFile() QRN_EXCLUDES(m_lock);

    /// The class's factory from the module. E_MODULE_NOT_FOUND when it cannot be loaded, E_UNEXPECTED when the class is
    /// registered for another one than is loaded, an error of the registry when that does not tell.
    HRESULT GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) QRN_EXCLUDES(m_lock);

    /// Unloads the module if it says that it can and no thread is inside GetClassObject.
    void FreeUnused() QRN_EXCLUDES(m_lock);

    /// Why the last attempt to find and load the module, or whatever else was noted, has failed; empty after a good
    /// one.
    std::string LastError() QRN_EXCLUDES(m_lock);
    /// @param error  empty for an attempt that has not failed.
    void NoteError(const std::string& error) QRN_EXCLUDES(m_lock);

private:
    class CCall;

    /// True when the module's file is given by the client or the environment, whatever is registered.
    bool IsFileGiven() QRN_EXCLUDES(m_lock);
    /// Counts the loaded module as in use, after it was loaded where it was not.
    /// @param registered  the file that is registered for the class that is wanted; empty when none is.
    /// @return null for a failure, which `result` then tells.
    const CModule* Enter(const std::string& registered, HRESULT& result) QRN_EXCLUDES(m_lock);
    HRESULT Load(const std::string& registered) QRN_REQUIRES(m_lock);
    void Leave() QRN_EXCLUDES(m_lock);
    std::string GivenFile() const QRN_REQUIRES(m_lock);
    void Note(const std::string& error) QRN_REQUIRES(m_lock);

    // Held while the module is loaded and unloaded: its load hooks must not activate anything.
    CMutex m_lock;
    std::string m_path QRN_GUARDED_BY(m_lock);
    std::string m_lastError QRN_GUARDED_BY(m_lock);
    std::unique_ptr<CModule> m_module QRN_GUARDED_BY(m_lock);
    int m_callsInside QRN_GUARDED_BY(m_lock) = 0;
};

}  // namespace qrn
