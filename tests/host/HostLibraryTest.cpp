// The host as a client meets it: the shared library through its public headers alone.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>

#include "host/TestModule.h"
#include "qrn/host.h"
#include "support/TempFolder.h"

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
    for (const char* function : {"QrnCreateSrtpTransport", "QrnParseSrtpKey", "QrnLastSrtpError"}) {
        EXPECT_EQ(exported.erase(function), 1u) << function;
    }
    EXPECT_EQ(exported,
              (std::set<std::string>{"CoCreateInstance", "CoGetClassObject", "CoFreeUnusedLibraries", "CoTaskMemAlloc",
                                     "CoTaskMemFree", "QrnSetModulePath", "QrnLastLoadError", "QrnRegisterModule",
                                     "QrnUnregisterModule", "QrnFindRegisteredModule", "QrnListRegisteredFilters",
                                     "QrnDumpGraph", "QrnDumpGraphs"}));
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

/// With a registry of the test's own.
class HostRegistry : public testing::Test {
protected:
    HostRegistry() {
        setenv("QRN_REGISTRY_USER", m_folder.File("user.db").c_str(), 1);
        setenv("QRN_REGISTRY_MACHINE", m_folder.File("machine.db").c_str(), 1);
    }
    ~HostRegistry() override {
        unsetenv("QRN_REGISTRY_USER");
        unsetenv("QRN_REGISTRY_MACHINE");
    }

    const test::CTempFolder m_folder;
    QrnRegisteredFilter* m_filters = nullptr;
    UINT m_count = 7;
};

TEST_F(HostRegistry, ListsWhatTheMappersHaveRegistered) {
    EXPECT_EQ(QrnListRegisteredFilters(CLSID_LegacyAmFilterCategory, &m_filters, &m_count), S_OK);
    EXPECT_EQ(m_filters, nullptr);
    EXPECT_EQ(m_count, 0u);

    COuter outer;
    ComPtr<IFilterMapper2> mapper;
    EXPECT_EQ(CoCreateInstance(CLSID_FilterMapper2, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown, mapper.PutVoid()),
              CLASS_E_NOAGGREGATION);
    ASSERT_EQ(CreateInstance(CLSID_FilterMapper2, mapper), S_OK);
    ComPtr<IFilterMapper> older;
    ASSERT_EQ(CreateInstance(CLSID_FilterMapper, older), S_OK);
    const REGFILTER2 record{1, 0x200000, 0, nullptr};
    EXPECT_EQ(mapper->RegisterFilter(test::kForbiddenClass, L"Zw\u00F6lf", nullptr, nullptr, nullptr, &record), S_OK);
    EXPECT_EQ(older->RegisterFilter(test::kCountedClass, L"", 0x600000), S_OK);

    ASSERT_EQ(QrnListRegisteredFilters(CLSID_LegacyAmFilterCategory, &m_filters, &m_count), S_OK);
    ASSERT_EQ(m_count, 2u);
    EXPECT_EQ(m_filters[0].classId, test::kCountedClass);
    EXPECT_STREQ(m_filters[0].name, "");
    EXPECT_EQ(m_filters[0].merit, 0x600000u);
    EXPECT_EQ(m_filters[0].modulePath, nullptr);
    EXPECT_EQ(m_filters[1].classId, test::kForbiddenClass);
    EXPECT_STREQ(m_filters[1].name, "Zw\u00F6lf");
    EXPECT_EQ(m_filters[1].merit, 0x200000u);
    CoTaskMemFree(m_filters);
    EXPECT_EQ(QrnListRegisteredFilters(CLSID_LegacyAmFilterCategory, nullptr, &m_count), E_POINTER);
    EXPECT_EQ(QrnListRegisteredFilters(CLSID_LegacyAmFilterCategory, &m_filters, nullptr), E_POINTER);
}

TEST_F(HostRegistry, ADamagedOneIsTold) {
    for (const char* store : {"user.db", "machine.db"}) {
        std::ofstream(m_folder.File(store)) << std::string(5000, '#');
    }
    constexpr auto kDamaged = static_cast<HRESULT>(0x800703F1u);
    char* path = nullptr;
    EXPECT_EQ(QrnFindRegisteredModule(test::kCountedClass, &path), kDamaged);
    EXPECT_EQ(path, nullptr);
    EXPECT_NE(std::string(QrnLastLoadError()).find("damaged"), std::string::npos);
    EXPECT_EQ(QrnListRegisteredFilters(CLSID_LegacyAmFilterCategory, &m_filters, &m_count), kDamaged);
    EXPECT_EQ(m_filters, nullptr);
    EXPECT_EQ(m_count, 0u);
}

TEST_F(HostRegistry, HasAModuleRegisterItself) {
    char* file = nullptr;
    ASSERT_EQ(QrnRegisterModule(nullptr, &file), S_OK);  // the one beside the program
    EXPECT_TRUE(std::filesystem::path(file).is_absolute()) << file;
    EXPECT_EQ(std::filesystem::path(file).filename(), "libQRN_Media2.so");
    EXPECT_EQ(QrnUnregisterModule(file, nullptr), E_FAIL) << "what the module answers";
    EXPECT_NE(std::string(QrnLastLoadError()).find(file), std::string::npos);
    const std::string unkeepable = m_folder.File("\xFF.so");
    std::filesystem::copy_file(file, unkeepable);
    CoTaskMemFree(file);
    EXPECT_EQ(QrnRegisterModule(unkeepable.c_str(), &file), E_INVALIDARG);
    EXPECT_EQ(file, nullptr);

    char untouched = 'x';
    file = &untouched;
    EXPECT_EQ(QrnRegisterModule("/nowhere/libnothing.so", &file), E_MODULE_NOT_FOUND);
    EXPECT_EQ(file, nullptr);
    EXPECT_NE(std::string(QrnLastLoadError()).find("/nowhere/libnothing.so"), std::string::npos);
    EXPECT_EQ(QrnFindRegisteredModule(test::kCountedClass, &file), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(QrnFindRegisteredModule(test::kCountedClass, nullptr), E_POINTER);
}

struct DumpCase {
    const char* name;
    int format;
    const char* emptyGraph;
    const char* twoEmptyGraphs;
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

    const QrnNamedGraph graphs[] = {{graph.Get(), "one"}, {graph.Get(), "two"}};
    ASSERT_EQ(QrnDumpGraphs(graphs, 2, GetParam().format, &text), S_OK);
    EXPECT_EQ(std::string(text).substr(0, std::string(GetParam().twoEmptyGraphs).size()), GetParam().twoEmptyGraphs);
    CoTaskMemFree(text);
    ASSERT_EQ(QrnDumpGraphs(nullptr, 0, GetParam().format, &text), S_OK);
    CoTaskMemFree(text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DumpGraph,
    testing::Values(DumpCase{"Text", kQrnDumpText, "graph stopped, 0 filters\n",
                             "\"one\": graph stopped, 0 filters\n\n\"two\": graph stopped, 0 filters\n"},
                    DumpCase{"Json", kQrnDumpJson, R"({"state":"stopped")",
                             R"({"graphs":[{"name":"one","state":"stopped","intermediate":false,"filters":[]},)"},
                    DumpCase{"Dot", kQrnDumpDot, "digraph ", "digraph "}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(HostLibrary, DumpRefusesWhatIsNoGraphAndNoFormat) {
    ComPtr<IGraphBuilder> graph;
    ASSERT_EQ(CreateInstance(CLSID_FilterGraph, graph), S_OK);
    char untouched = 'x';
    char* text = &untouched;
    EXPECT_EQ(QrnDumpGraph(nullptr, kQrnDumpText, &text), E_POINTER);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(QrnDumpGraph(graph.Get(), kQrnDumpText, nullptr), E_POINTER);
    const QrnNamedGraph halves[] = {{graph.Get(), "whole"}, {nullptr, "no graph"}, {graph.Get(), nullptr}};
    EXPECT_EQ(QrnDumpGraphs(halves, 2, kQrnDumpText, &text), E_POINTER);
    EXPECT_EQ(QrnDumpGraphs(halves + 2, 1, kQrnDumpText, &text), E_POINTER);
    EXPECT_EQ(QrnDumpGraphs(nullptr, 1, kQrnDumpText, &text), E_POINTER);
    for (const int format : {-1, 3}) {
        EXPECT_EQ(QrnDumpGraphs(halves, 1, format, &text), E_INVALIDARG);
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
