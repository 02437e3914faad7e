#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "RegistryDump.h"
#include "platform/registry/CRegistry.h"
#include "platform/registry/CRegistryKey.h"
#include "support/TempFolder.h"

namespace qrn::test {

/// A registry of the test's own, in a folder that is gone afterwards; classes are written for the user.
class CRegistryTest : public testing::Test {
protected:
    CRegistryKey Create(RegistryRoot root, std::wstring_view path) {
        CRegistryKey key;
        EXPECT_EQ(m_registry.CreateKey(root, path, key), ERROR_SUCCESS);
        return key;
    }
    LONG Open(RegistryRoot root, std::wstring_view path) {
        CRegistryKey key;
        return m_registry.OpenKey(root, path, key);
    }

    const CTempFolder m_folder;
    const RegistryFiles m_files{m_folder.File("user/registry.db"), m_folder.File("machine/registry.db"), false};
    CRegistry m_registry{m_files};
};

/// Runs a function in a forked child, and answers what it returns. The child calls nothing of GoogleTest.
template <class Call>
int RunInChild(Call call) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(call());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace qrn::test
