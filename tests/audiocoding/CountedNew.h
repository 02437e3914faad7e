#pragma once

namespace qrn::test {

/// Counts what all threads take from operator new while it lives. One at a time.
class CAllocationCount {
public:
    CAllocationCount();
    ~CAllocationCount();
    CAllocationCount(const CAllocationCount&) = delete;
    CAllocationCount& operator=(const CAllocationCount&) = delete;

    /// Ends the count. @return the allocations so far.
    int Stop();
};

}  // namespace qrn::test
