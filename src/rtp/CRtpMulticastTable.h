#pragma once

#include <cstdint>
#include <vector>

/// The multicast groups that a session has joined, addresses in host order. One thread at a time.
class CRtpMulticastTable {
public:
    /// @return 0, -37 for a group that is there already, -1 without memory.
    int Insert(std::uint32_t group);
    /// @return 0, -38 for a group that is not there.
    int Remove(std::uint32_t group);
    void Clear() { m_groups.clear(); }

    const std::vector<std::uint32_t>& Groups() const { return m_groups; }

private:
    std::vector<std::uint32_t> m_groups;  // ascending
};
