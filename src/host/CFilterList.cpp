#include "host/CFilterList.h"

#include <algorithm>
#include <utility>

namespace qrn {

namespace {

constexpr std::size_t kMaxName = MAX_FILTER_NAME - 1;
constexpr int kMaxNumber = 9999;

/// " 0001" to " 9999".
std::wstring NumberSuffix(int number) {
    const std::wstring digits = std::to_wstring(number);
    return L" " + std::wstring(4 - digits.size(), L'0') + digits;
}

}  // namespace

std::wstring CFilterList::UniqueName(std::wstring_view wanted) const {
    CScopedLock lock(m_lock);
    std::wstring name(wanted.substr(0, kMaxName));
    for (int number = 1; HasName(name); ++number) {
        if (number > kMaxNumber) {
            return {};
        }
        const std::wstring suffix = NumberSuffix(number);
        name = std::wstring(wanted.substr(0, kMaxName - suffix.size())) + suffix;
    }
    return name;
}

void CFilterList::Add(Entry entry) {
    CScopedLock lock(m_lock);
    m_entries.push_back(std::move(entry));
    ++m_version;
}

void CFilterList::Remove(const IUnknown* identity) {
    Entry removed;  // released after the lock: the filter may be destroyed by it
    CScopedLock lock(m_lock);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry& entry) { return entry.identity == identity; });
    if (found != m_entries.end()) {
        removed = std::move(*found);
        m_entries.erase(found);
        ++m_version;
    }
}

bool CFilterList::Holds(const IUnknown* identity) const {
    CScopedLock lock(m_lock);
    return std::any_of(m_entries.begin(), m_entries.end(),
                       [&](const Entry& entry) { return entry.identity == identity; });
}

ComPtr<IBaseFilter> CFilterList::Find(std::wstring_view name) const {
    CScopedLock lock(m_lock);
    for (const Entry& entry : m_entries) {
        if (entry.name == name) {
            return entry.filter;
        }
    }
    return nullptr;
}

std::vector<CFilterList::Entry> CFilterList::Entries() const {
    CScopedLock lock(m_lock);
    return m_entries;
}

std::uint64_t CFilterList::Version() const {
    CScopedLock lock(m_lock);
    return m_version;
}

bool CFilterList::Slice(std::uint64_t version, std::size_t position, std::size_t count,
                        std::vector<ComPtr<IBaseFilter>>& filters) const {
    CScopedLock lock(m_lock);
    filters.clear();
    if (version != m_version) {
        return false;
    }
    for (std::size_t at = position; at < m_entries.size() && filters.size() < count; ++at) {
        filters.push_back(m_entries[at].filter);
    }
    return true;
}

bool CFilterList::HasName(std::wstring_view name) const {
    return std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return entry.name == name; });
}

}  // namespace qrn
