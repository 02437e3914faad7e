#pragma once
/// The program `qrn` as a process of its own.

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/TempFolder.h"

namespace qrn::test {

/// Runs the built program with the built module. Standard output and error go to files, so that nothing can block.
class CProgram {
public:
    /// It has a registry of its own, which is empty.
    /// @param environment  "NAME=value" entries before those of the test and of this class.
    /// @param program  the file that is run: the built one, or a copy of it.
    explicit CProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {},
                      const std::string& program = QRN_PROGRAM);
    /// Kills it if it still runs.
    ~CProgram();
    CProgram(const CProgram&) = delete;
    CProgram& operator=(const CProgram&) = delete;

    /// The exit status; 128 and the signal for a process that a signal ended; nothing when it has not ended in time.
    std::optional<int> WaitForExit(std::chrono::seconds time = std::chrono::seconds(30));
    /// @return false when standard error has not shown the text in time, or the process has ended without it.
    bool WaitForError(const std::string& text, std::chrono::seconds time = std::chrono::seconds(20));
    /// @return false when it has not become true in time, or not before the process has ended.
    bool WaitUntil(const std::function<bool()>& condition, std::chrono::seconds time = std::chrono::seconds(20));
    void Signal(int signal) const;

    std::string Output() const;
    std::string Error() const;

private:
    bool HasEnded();

    CTempFolder m_folder;
    int m_pid = -1;
    std::optional<int> m_status;
};

}  // namespace qrn::test
