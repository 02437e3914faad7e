#include "runtime/exceptions.h"

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>

namespace {

TEST(Exceptions, RootCarriesThePlaceTheWordsAndTheCode) {
    const base_exception exception(L"CNetwork", 79, L"No local address.", 10013);
    EXPECT_EQ(exception.File(), L"CNetwork");
    EXPECT_EQ(exception.Line(), 79);
    EXPECT_EQ(exception.Kind(), L"Exception");
    EXPECT_EQ(exception.Words(), L"No local address.");
    EXPECT_EQ(exception.Code(), 10013u);
}

TEST(Exceptions, ClientThatKnowsNoneOfThemReadsTheWords) {
    try {
        throw exc_create_shared_memory(L"CNetwork", 142, L"Can't creare shared memory", 0);
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "create_shared_memory: Can't creare shared memory (CNetwork:142)");
    }
}

TEST(Exceptions, NarrowWordsAreUtf8) {
    const exc_CNetwork exception(L"CNetwork", 85,
                                 std::string_view("adresse erron\xC3\xA9"
                                                  "e"),
                                 1);
    EXPECT_EQ(exception.Kind(), L"CNetwork");
    EXPECT_EQ(exception.Words(),
              L"adresse erron\x00E9"
              L"e");
    EXPECT_STREQ(exception.what(),
                 "CNetwork: adresse erron\xC3\xA9"
                 "e (CNetwork:85)");
}

TEST(Exceptions, CopyOutlivesTheOriginal) {
    std::optional<exc_get_shared_socket> original(std::in_place, L"CNetwork", 187, L"Null pointer", 0);
    const base_exception copy = *original;
    original.reset();
    EXPECT_EQ(copy.Kind(), L"get_shared_socket");
    EXPECT_STREQ(copy.what(), "get_shared_socket: Null pointer (CNetwork:187)");
    static_assert(std::is_nothrow_copy_constructible_v<base_exception>);
}

}  // namespace
