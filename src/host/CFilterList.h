#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

/// The filters of a graph in the order in which they came, under names that are theirs alone. Holds a reference to
/// each.
///
/// Its lock is held for single looks only and never while a filter is called, so that filters and streaming threads may
/// ask while the graph changes its state.
class CFilterList {
public:
    struct Entry {
        ComPtr<IBaseFilter> filter;
        ComPtr<IUnknown> identity;
        std::wstring name;
    };

    /// A name that no filter has, at most MAX_FILTER_NAME - 1 characters: `wanted`, else with a number behind it.
    /// Empty when even the numbers are used up.
    std::wstring UniqueName(std::wstring_view wanted) const QRN_EXCLUDES(m_lock);

    void Add(Entry entry) QRN_EXCLUDES(m_lock);
    /// Does nothing for a filter that is not there.
    void Remove(const IUnknown* identity) QRN_EXCLUDES(m_lock);

    bool Holds(const IUnknown* identity) const QRN_EXCLUDES(m_lock);
    /// Null when there is none.
    ComPtr<IBaseFilter> Find(std::wstring_view name) const QRN_EXCLUDES(m_lock);
    std::vector<Entry> Entries() const QRN_EXCLUDES(m_lock);

    /// Changes whenever a filter comes or goes.
    std::uint64_t Version() const QRN_EXCLUDES(m_lock);
    /// The filters from `position` on, at most `count`, if the list is still that version; else nothing and `false`.
    bool Slice(std::uint64_t version, std::size_t position, std::size_t count,
               std::vector<ComPtr<IBaseFilter>>& filters) const QRN_EXCLUDES(m_lock);

private:
    bool HasName(std::wstring_view name) const QRN_REQUIRES(m_lock);

    mutable CMutex m_lock;
    std::vector<Entry> m_entries QRN_GUARDED_BY(m_lock);
    std::uint64_t m_version QRN_GUARDED_BY(m_lock) = 0;
};

}  // namespace qrn
