#include "rtp/LocalAddress.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct AddressCase {
    const char* name;
    std::vector<std::uint32_t> addresses;
    std::uint32_t chosen;
};

void PrintTo(const AddressCase& row, std::ostream* stream) {
    *stream << row.name;
}

class LocalAddress : public testing::TestWithParam<AddressCase> {};

TEST_P(LocalAddress, IsChosen) {
    EXPECT_EQ(qrn::ChooseLocalAddress(GetParam().addresses), GetParam().chosen);
}

INSTANTIATE_TEST_SUITE_P(Machines, LocalAddress,
                         testing::Values(AddressCase{"None", {}, 0},
                                         AddressCase{"LoopbackOnly", {0x7F000001, 0x7F000101}, 0x7F000101},
                                         AddressCase{"LoopbackFirst", {0x7F000001, 0xC0A80102, 0x0A000001}, 0xC0A80102},
                                         AddressCase{"NetworkFirst", {0x0A000001, 0x7F000001}, 0x0A000001},
                                         AddressCase{"UnconfiguredLast", {0x7F000001, 0}, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
