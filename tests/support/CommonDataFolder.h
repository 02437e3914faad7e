#pragma once
/// A machine-wide application data folder for one test.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace qrn::test {

/// Named by QRN_COMMON_APPDATA while the object lives, and removed with it. Make it before the test starts threads.
class CCommonDataFolder {
public:
    enum class LogFolder { kMissing, kPresent };

    explicit CCommonDataFolder(LogFolder logFolder = LogFolder::kPresent) {
        std::string path = std::filesystem::temp_directory_path() / "qrn-test-XXXXXX";
        m_path = mkdtemp(path.data());
        if (logFolder == LogFolder::kPresent) {
            std::filesystem::create_directories(m_path / "Mondrake/Client/Log");
        }
        setenv("QRN_COMMON_APPDATA", m_path.c_str(), 1);
    }
    ~CCommonDataFolder() {
        unsetenv("QRN_COMMON_APPDATA");
        std::filesystem::remove_all(m_path);
    }
    CCommonDataFolder(const CCommonDataFolder&) = delete;
    CCommonDataFolder& operator=(const CCommonDataFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    /// What the debug log holds; empty when there is none.
    std::string DebugLog() const {
        std::ifstream file(m_path / "Mondrake/Client/Log/qrn_debug.txt", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path m_path;
};

}  // namespace qrn::test
