#pragma once
/// Owns a file descriptor.

#include <unistd.h>

#include <utility>

namespace qrn {

class CFileDescriptor {
public:
    CFileDescriptor() = default;
    explicit CFileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    CFileDescriptor(CFileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    CFileDescriptor& operator=(CFileDescriptor&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~CFileDescriptor() { static_cast<void>(Close()); }

    int Get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

    /// @return false when the system reports a failure with errno; closed in any case.
    bool Close() {
        const int descriptor = std::exchange(m_descriptor, -1);
        return descriptor < 0 || close(descriptor) == 0;
    }

private:
    int m_descriptor = -1;
};

}  // namespace qrn
