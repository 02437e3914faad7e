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

/// Lets one allocation fail while it lives: the one after `allowed` more, of any thread. One at a time.
class CAllocationFault {
public:
    explicit CAllocationFault(int allowed);
    ~CAllocationFault();
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

    /// Whether it has come to that.
    bool HasStruck() const;
};

}  // namespace qrn::test
