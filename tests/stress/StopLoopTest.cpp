// Graphs are built, run and stopped over and over, wherever their threads happen to be or to be held up; nothing may be
// left behind and no stop may take long.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <random>
#include <thread>

#include "integration/AudioGraphs.h"
#include "platform/system/Clock.h"
#include "stress/StressGraphs.h"

namespace qrn::test {
namespace {

using namespace std::chrono_literals;

#ifdef QRN_SANITIZED
constexpr unsigned kRounds = 10'000;
#else
constexpr unsigned kRounds = 1'000;
#endif
constexpr unsigned kRoundsPerLoad = kRounds / 10;

bool IsModuleLoaded() {
    void* module = dlopen(QRN_MODULE_FILE, RTLD_NOW | RTLD_NOLOAD);
    if (module != nullptr) {
        dlclose(module);
    }
    return module != nullptr;
}

HRESULT CanUnloadNow() {
    void* module = dlopen(QRN_MODULE_FILE, RTLD_NOW | RTLD_NOLOAD);
    if (module == nullptr) {
        return E_MODULE_NOT_FOUND;
    }
    const HRESULT result = reinterpret_cast<PFN_DllCanUnloadNow>(dlsym(module, "DllCanUnloadNow"))();
    dlclose(module);
    return result;
}

/// Any moment in the first two milliseconds of streaming.
void LetItRun(std::mt19937& random) {
    const auto end = SystemClock().Now() + std::chrono::microseconds(random() % 2000);
    while (SystemClock().Now() < end) {
        std::this_thread::yield();
    }
}

/// @return how long the stop took.
std::chrono::nanoseconds RunAndStop(Held held, std::mt19937& random) {
    const std::unique_ptr<IStressGraph> graph = MakeStressGraph(held);
    const auto control = graph->Graph().As<IMediaControl>();
    if (random() % 8 == 0) {
        EXPECT_GE(control->Pause(), 0);
    }
    EXPECT_GE(control->Run(), 0);
    if (random() % 4 != 0) {
        EXPECT_TRUE(graph->WaitUntilStreaming(random() % 8));
        LetItRun(random);
    }
    if (random() % 8 == 0) {
        EXPECT_GE(control->Pause(), 0);
    }
    const auto start = SystemClock().Now();
    if (random() % 4 == 0) {
        std::thread([&] { EXPECT_EQ(control->Stop(), S_OK); }).join();
    } else {
        EXPECT_EQ(control->Stop(), S_OK);
    }
    const auto took = SystemClock().Now() - start;
    if (random() % 4 == 0) {  // once more on the same graph
        EXPECT_GE(control->Run(), 0);
        EXPECT_EQ(control->Stop(), S_OK);
    }
    return took;
}

TEST(StopLoop, NeverHangsAndLeavesNothingBehind) {
    WarmUp();
    ASSERT_FALSE(IsModuleLoaded());
    std::mt19937 random(20240101);
    const ProcessState baseline = ProcessState::Now();

    std::vector<std::chrono::nanoseconds> stops;
    for (unsigned round = 0; round < kRounds; ++round) {
        const Held held = kAllHeld[random() % std::size(kAllHeld)];
        SCOPED_TRACE("round " + std::to_string(round) + ", held " + std::to_string(static_cast<int>(held)));
        stops.push_back(RunAndStop(held, random));
        ASSERT_FALSE(HasFailure());
        if ((round + 1) % kRoundsPerLoad == 0) {
            EXPECT_EQ(CanUnloadNow(), S_OK);
            CoFreeUnusedLibraries();
            EXPECT_FALSE(IsModuleLoaded());
            ASSERT_TRUE(ComesBackTo(baseline)) << ToText(ProcessState::Now()) << ", before: " << ToText(baseline);
        }
    }

    std::sort(stops.begin(), stops.end());
    EXPECT_LE(stops[stops.size() * 99 / 100], 200ms);
    EXPECT_LE(stops.back(), 1s);
    const auto milliseconds = [](std::chrono::nanoseconds time) { return static_cast<double>(time.count()) / 1e6; };
    std::printf("stop: p50 %.3f ms, p99 %.3f ms, max %.3f ms\n", milliseconds(stops[stops.size() / 2]),
                milliseconds(stops[stops.size() * 99 / 100]), milliseconds(stops.back()));
}

}  // namespace
}  // namespace qrn::test
