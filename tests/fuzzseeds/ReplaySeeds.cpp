// Runs one fuzz target over its seeds, so that what once crashed it stays mended in every build.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

TEST(FuzzSeeds, AreSurvived) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QRN_SEEDS)) {
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> seed{std::istreambuf_iterator<char>(file), {}};
        EXPECT_EQ(LLVMFuzzerTestOneInput(seed.data(), seed.size()), 0);
        // Each beginning of a seed is an input as well, the empty one too.
        for (std::size_t length = 0; length < seed.size(); ++length) {
            LLVMFuzzerTestOneInput(seed.data(), length);
        }
        ++count;
    }
    EXPECT_GT(count, 0);
}

}  // namespace
