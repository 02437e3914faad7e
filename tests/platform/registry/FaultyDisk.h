#pragma once
/// Makes a chosen write of SQLite fail, for every file that this program opens through it.

namespace qrn::test {

enum class WriteFault {
    kDiskFull,
    /// The process ends in the middle of the write: half of its bytes are in the file.
    kDeath,
};

/// The exit status of a process that ended by WriteFault::kDeath.
inline constexpr int kDeathStatus = 66;

/// Lets `count` writes pass; the ones after it fail. Installs itself on first use, for files opened afterwards.
void FailWritesAfter(int count, WriteFault fault);
/// Lets all writes pass again. @return whether one failed.
bool EndWriteFaults();

}  // namespace qrn::test
