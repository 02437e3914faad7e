#pragma once

#include "platform/registry/CRegistry.h"
#include "qrn/com.h"

namespace qrn {

/// Makes all changes below one root, through any key of the registry, one change: none of them is seen by another
/// process before Commit, and none stays when the scope ends without it, or when the process dies. May be nested; what
/// an inner one leaves uncommitted is undone, the rest stays.
///
/// Other processes can read meanwhile, and wait with their own changes; so the scope is to be short. One thread.
class CRegistryTransaction {
public:
    CRegistryTransaction(CRegistry& registry, RegistryRoot root);
    ~CRegistryTransaction();
    CRegistryTransaction(const CRegistryTransaction&) = delete;
    CRegistryTransaction& operator=(const CRegistryTransaction&) = delete;

    /// Why it could not be begun. Nothing is to be changed then: each change would stand alone.
    LONG Error() const { return m_error; }

    /// At most once. A failure has undone everything.
    LONG Commit();

private:
    CRegistry& m_registry;
    CRegistryStore* m_store = nullptr;  // null once it is over
    LONG m_error = ERROR_SUCCESS;
};

}  // namespace qrn
