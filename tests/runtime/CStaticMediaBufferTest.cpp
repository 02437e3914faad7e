#include "runtime/CStaticMediaBuffer.h"

#include <gtest/gtest.h>

namespace {

TEST(StaticMediaBuffer, KnowsItsTwoInterfacesOnly) {
    BYTE bytes[4] = {};
    CStaticMediaBuffer buffer(bytes, sizeof(bytes));
    void* object = nullptr;
    EXPECT_EQ(buffer.QueryInterface(IID_IMediaBuffer, &object), S_OK);
    EXPECT_EQ(object, static_cast<IMediaBuffer*>(&buffer));
    EXPECT_EQ(buffer.QueryInterface(IID_IUnknown, &object), S_OK);
    EXPECT_EQ(object, static_cast<IUnknown*>(&buffer));
    EXPECT_EQ(buffer.QueryInterface(IID_IMediaSample, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(buffer.QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(StaticMediaBuffer, IsNeverDestroyedByItsCount) {
    CStaticMediaBuffer buffer(nullptr, 0);
    EXPECT_EQ(buffer.AddRef(), 2u);
    EXPECT_EQ(buffer.Release(), 1u);
    EXPECT_EQ(buffer.Release(), 1u);
}

TEST(StaticMediaBuffer, LengthIsStoredUncheckedAndEachOutputMayBeLeftOut) {
    BYTE bytes[4] = {};
    CStaticMediaBuffer buffer(bytes, sizeof(bytes));
    EXPECT_EQ(buffer.SetLength(1000), S_OK);
    DWORD length = 0;
    BYTE* data = nullptr;
    EXPECT_EQ(buffer.GetBufferAndLength(&data, nullptr), S_OK);
    EXPECT_EQ(buffer.GetBufferAndLength(nullptr, &length), S_OK);
    EXPECT_EQ(data, bytes);
    EXPECT_EQ(length, 1000u);
    EXPECT_EQ(buffer.GetMaxLength(&length), S_OK);
    EXPECT_EQ(length, sizeof(bytes));
    EXPECT_EQ(buffer.GetMaxLength(nullptr), E_POINTER);
}

}  // namespace
