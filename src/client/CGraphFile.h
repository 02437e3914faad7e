#pragma once

#include <string>
#include <vector>

#include "client/FileDescriptor.h"
#include "qrn/host.h"

namespace qrn {

/// The file that a call's graphs are described in. The ending of its name tells how: .json, .dot, else text.
class CGraphFile {
public:
    /// Makes the file or empties it: one that cannot be written is told before the call and not after it.
    /// @throws CClientError then.
    explicit CGraphFile(std::string path);

    /// To be called once. @throws CClientError when it cannot be written.
    void Write(const std::vector<QrnNamedGraph>& graphs);

private:
    QrnDumpFormat Format() const;
    [[noreturn]] void Fail(int error) const;

    const std::string m_path;
    CFileDescriptor m_file;
};

}  // namespace qrn
