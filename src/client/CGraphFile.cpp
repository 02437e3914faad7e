#include "client/CGraphFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "client/CGraph.h"
#include "client/ClientError.h"

namespace qrn {

CGraphFile::CGraphFile(std::string path) : m_path(std::move(path)) {
    // Without waiting: opening a pipe that nobody reads would block.
    m_file = CFileDescriptor(open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
    if (!m_file) {
        Fail(errno);
    }
}

void CGraphFile::Write(const std::vector<QrnNamedGraph>& graphs) {
    const std::string text = DescribeGraphs(graphs, Format());
    for (std::string_view left = text; !left.empty();) {
        const ssize_t written = write(m_file.Get(), left.data(), left.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            Fail(written < 0 ? errno : ENOSPC);
        }
        left.remove_prefix(static_cast<std::size_t>(written));
    }
    if (!m_file.Close()) {
        Fail(errno);
    }
}

QrnDumpFormat CGraphFile::Format() const {
    return m_path.ends_with(".json") ? kQrnDumpJson : m_path.ends_with(".dot") ? kQrnDumpDot : kQrnDumpText;
}

void CGraphFile::Fail(int error) const {
    throw CClientError("cannot write the graph " + m_path + ": " + std::generic_category().message(error));
}

}  // namespace qrn
