// `qrn impair` as its users run it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "CProgram.h"
#include "client/NetworkCheck.h"
#include "client/impair/ImpairmentModel.h"
#include "rtp/TestWire.h"

namespace qrn {
namespace {

using test::CProgram;
using testing::HasSubstr;

/// A far end with an even port, as a call has.
test::CUdpPeer& FarEnd(std::vector<std::unique_ptr<test::CUdpPeer>>& tried) {
    do {
        tried.push_back(std::make_unique<test::CUdpPeer>());
    } while (tried.back()->Port() % 2 != 0);
    return *tried.back();
}

TEST(ImpairProgram, RelaysAsItsSeedHasItAndReports) {
    std::vector<std::unique_ptr<test::CUdpPeer>> tried;
    const test::CUdpPeer& farEnd = FarEnd(tried);
    const int port = FindFreeEvenPort("127.0.0.1");
    const std::string listen = std::to_string(port);
    const std::string to = "127.0.0.1:" + std::to_string(farEnd.Port());
    CProgram program({"impair", "--listen", listen, "--to", to, "--loss", "0.5", "--seed", "77", "--json"});
    ASSERT_TRUE(program.WaitForError("relaying UDP port " + listen)) << program.Error();

    CImpairmentModel model({.loss = 0.5, .seed = 77});
    std::uint64_t kept = 0;
    for (std::uint8_t i = 0; i < 40; ++i) {
        farEnd.SendTo(static_cast<std::uint16_t>(port), {i});
        if (!model.Offer(std::vector{i}, std::chrono::seconds(0)).isLost) {
            ++kept;
            EXPECT_EQ(farEnd.Receive(), test::Bytes{i});
        }
    }
    CProgram second({"impair", "--listen", listen, "--to", to});
    EXPECT_EQ(second.WaitForExit(), 1);
    EXPECT_THAT(second.Error(), HasSubstr("cannot listen on UDP port " + listen + " of 127.0.0.1: it is in use"));

    ASSERT_TRUE(program.WaitForError("   1.0 s  in 40")) << program.Error();
    program.Signal(SIGTERM);
    ASSERT_EQ(program.WaitForExit(), 0);
    const auto report = nlohmann::json::parse(program.Output());
    EXPECT_EQ(report["datagrams_in"], 40);
    EXPECT_EQ(report["datagrams_out"], kept);
    EXPECT_EQ(report["lost"], 40 - kept);
    EXPECT_EQ(report["seed"], 77);
}

}  // namespace
}  // namespace qrn
