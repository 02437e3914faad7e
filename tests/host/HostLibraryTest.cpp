// The host as a client meets it: the shared library through its public headers alone.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "host/TestModule.h"
#include "qrn/host.h"

namespace qrn {
namespace {

TEST(HostLibrary, ExportsItsFunctionsAndNothingElse) {
    const std::string command = std::string("nm -D --defined-only --format=posix ") + QRN_HOST_LIBRARY;
    const std::unique_ptr<FILE, int (*)(FILE*)> names(popen(command.c_str(), "r"), pclose);
    ASSERT_TRUE(names);
    std::set<std::string> exported;
    char name[512];
    while (std::fscanf(names.get(), "%511s%*[^\n]", name) == 1) {
        exported.insert(name);
    }
    EXPECT_EQ(exported,
              (std::set<std::string>{"CoCreateInstance", "CoGetClassObject", "CoFreeUnusedLibraries", "CoTaskMemAlloc",
                                     "CoTaskMemFree", "QrnSetModulePath", "QrnLastLoadError", "QrnDumpGraph"}));
}

TEST(HostLibrary, MakesItsOwnClasses) {
    ComPtr<IGraphBuilder> graph;
    ASSERT_EQ(CreateInstance(CLSID_FilterGraph, graph), S_OK);
    EXPECT_TRUE(graph.As<IFilterGraph>());
    EXPECT_TRUE(graph.As<IMediaControl>());
    EXPECT_TRUE(graph.As<IMediaEvent>());
    EXPECT_TRUE(graph.As<IMediaEventSink>());
    EXPECT_TRUE(graph.As<IMediaFilter>());
    CLSID id{};
    EXPECT_EQ(graph.As<IPersist>()->GetClassID(&id), S_OK);
    EXPECT_EQ(id, CLSID_FilterGraph);

    ComPtr<IReferenceClock> clock;
    ASSERT_EQ(CreateInstance(CLSID_SystemClock, clock), S_OK);
    REFERENCE_TIME time = 0;
    EXPECT_EQ(clock->GetTime(&time), S_OK);
    EXPECT_GT(time, 0);

    ComPtr<IMemAllocator> allocator;
    ASSERT_EQ(CreateInstance(CLSID_MemoryAllocator, allocator), S_OK);
    const ALLOCATOR_PROPERTIES request{2, 100, 1, 0};
    ALLOCATOR_PROPERTIES actual{};
    EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
    EXPECT_GE(actual.cbBuffer, 100);

    ComPtr<IPin> pin;
    EXPECT_EQ(CreateInstance(CLSID_FilterGraph, pin), E_NOINTERFACE);
    EXPECT_FALSE(pin);
}

/// What an aggregate's outer object is to its part.
class COuter final : public IUnknown {
public:
    HRESULT QueryInterface(REFIID id, void** object) override {
        if (id == IID_IUnknown) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return inner->QueryInterface(id, object);
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }

    ComPtr<IUnknown> inner;
    ULONG references = 1;
};

TEST(HostLibrary, ItsClassesCanBePartOfAnAggregate) {
    COuter outer;
    void* object = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, &outer, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, &object),
              E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown, outer.inner.PutVoid()),
              S_OK);
    const ComPtr<IMediaControl> control = outer.inner.As<IMediaControl>();
    ASSERT_TRUE(control);
    EXPECT_TRUE(control.As<IUnknown>() == &outer);
}

TEST(HostLibrary, LoadsTheModuleAndLetsItGo) {
    EXPECT_EQ(QrnSetModulePath("/nowhere/libnothing.so"), S_OK);
    ComPtr<IUnknown> object;
    EXPECT_EQ(CreateInstance(test::kCountedClass, object), E_MODULE_NOT_FOUND);
    EXPECT_NE(std::string(QrnLastLoadError()).find("/nowhere/libnothing.so"), std::string::npos);

    EXPECT_EQ(QrnSetModulePath(nullptr), S_OK);
    EXPECT_EQ(CreateInstance(test::kCountedClass, object), S_OK);
    EXPECT_STREQ(QrnLastLoadError(), "");
    EXPECT_EQ(QrnSetModulePath("libother.so"), E_UNEXPECTED);
    EXPECT_EQ(CreateInstance(test::kUnknownClass, object), REGDB_E_CLASSNOTREG);

    CoFreeUnusedLibraries();
    EXPECT_EQ(QrnSetModulePath(nullptr), S_OK);  // nothing is loaded any more
}

struct DumpCase {
    const char* name;
    int format;
    const char* emptyGraph;
};

class DumpGraph : public testing::TestWithParam<DumpCase> {};

TEST_P(DumpGraph, WritesInTheFormatThatWasAskedFor) {
    ComPtr<IGraphBuilder> graph;
    ASSERT_EQ(CreateInstance(CLSID_FilterGraph, graph), S_OK);
    char* text = nullptr;
    ASSERT_EQ(QrnDumpGraph(graph.Get(), GetParam().format, &text), S_OK);
    EXPECT_EQ(std::string(text).substr(0, std::string(GetParam().emptyGraph).size()), GetParam().emptyGraph);
    EXPECT_EQ(std::string(text).back(), '\n');
    CoTaskMemFree(text);
}

INSTANTIATE_TEST_SUITE_P(Rows, DumpGraph,
                         testing::Values(DumpCase{"Text", kQrnDumpText, "graph stopped, 0 filters\n"},
                                         DumpCase{"Json", kQrnDumpJson, R"({"state":"stopped")"},
                                         DumpCase{"Dot", kQrnDumpDot, "digraph "}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(HostLibrary, DumpRefusesWhatIsNoGraphAndNoFormat) {
    ComPtr<IGraphBuilder> graph;
    ASSERT_EQ(CreateInstance(CLSID_FilterGraph, graph), S_OK);
    char untouched = 'x';
    char* text = &untouched;
    EXPECT_EQ(QrnDumpGraph(nullptr, kQrnDumpText, &text), E_POINTER);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(QrnDumpGraph(graph.Get(), kQrnDumpText, nullptr), E_POINTER);
    for (const int format : {-1, 3}) {
        text = &untouched;
        EXPECT_EQ(QrnDumpGraph(graph.Get(), format, &text), E_INVALIDARG);
        EXPECT_EQ(text, nullptr);
    }
}

TEST(HostLibrary, TaskMemory) {
    auto* memory = static_cast<unsigned char*>(CoTaskMemAlloc(3));
    ASSERT_NE(memory, nullptr);
    memory[2] = 1;
    CoTaskMemFree(memory);
    CoTaskMemFree(nullptr);
}

}  // namespace
}  // namespace qrn
