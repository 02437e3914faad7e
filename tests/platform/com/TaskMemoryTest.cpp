#include "platform/com/TaskMemory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using qrn::CopyToTaskMemory;
using qrn::TaskMemoryPtr;

TEST(TaskMemory, CopyEndsWithZeroBehindAPartOfALongerText) {
    const std::wstring longer = L"microphone";
    const TaskMemoryPtr<wchar_t> copy(CopyToTaskMemory(std::wstring_view(longer).substr(0, 5)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::wstring(copy.get()), L"micro");
}

TEST(TaskMemory, EmptyTextIsStillAText) {
    const TaskMemoryPtr<wchar_t> copy(CopyToTaskMemory(L""));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(*copy, L'\0');
}

TEST(TaskMemory, NoBytesAreStillMemoryToFree) {
    void* memory = CoTaskMemAlloc(0);
    EXPECT_NE(memory, nullptr);
    CoTaskMemFree(memory);
    CoTaskMemFree(nullptr);
}

}  // namespace
