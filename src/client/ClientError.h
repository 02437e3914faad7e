#pragma once
/// How the program ends, and the one kind of exception that ends it early.

#include <stdexcept>
#include <string>

namespace qrn {

/// The program's exit statuses.
enum class ExitStatus : int { kDone = 0, kFailed = 1, kWrongUse = 2 };

/// A failure that the user is told of: one sentence that names the object and the cause, without a closing dot.
/// Thrown while a command is set up and while it reads or writes files; caught in one place, at the end of the command.
class CClientError : public std::runtime_error {
public:
    explicit CClientError(const std::string& sentence, ExitStatus status = ExitStatus::kFailed)
        : std::runtime_error(sentence),
          m_status(status) {}

    ExitStatus Status() const { return m_status; }

private:
    ExitStatus m_status;
};

}  // namespace qrn
