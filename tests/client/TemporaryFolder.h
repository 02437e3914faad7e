#pragma once
/// Files of a test, gone with it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace qrn {

class CTemporaryFolder {
public:
    CTemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "qrn-test-XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~CTemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    std::string Path(std::string_view name) const { return (m_path / name).string(); }
    std::string Write(std::string_view name, std::string_view content) const {
        std::ofstream(Path(name), std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
        return Path(name);
    }

private:
    std::filesystem::path m_path;
};

}  // namespace qrn
