// Registration with the program as its users run it: `qrn register`, `qrn unregister`, `qrn inspect --registered`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "CProgram.h"
#include "platform/registry/RegistryDump.h"
#include "platform/registry/RegistryFiles.h"

namespace qrn {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::CProgram;
using testing::HasSubstr;

/// A registry of the test's own.
class Registering : public testing::Test {
protected:
    std::vector<std::string> Environment(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> environment = more;
        environment.push_back("QRN_REGISTRY_USER=" + m_files.user);
        environment.push_back("QRN_REGISTRY_MACHINE=" + m_files.machine);
        return environment;
    }
    /// A program that is to work. @return its standard output.
    std::string Run(const std::vector<std::string>& arguments, const std::vector<std::string>& more = {}) const {
        CProgram program(arguments, Environment(more));
        EXPECT_EQ(program.WaitForExit(), 0) << program.Error();
        return program.Output();
    }
    json Registered() const { return json::parse(Run({"inspect", "--registered", "--json"})); }
    std::vector<std::string> Dump() const { return test::Dump(m_files, RegistryRoot::kClassesRoot); }

    const test::CTempFolder m_folder;
    const RegistryFiles m_files{m_folder.File("user/registry.db"), m_folder.File("machine/registry.db"),
                                geteuid() == 0};
};

TEST_F(Registering, ListsOneFilterAndMakesAllClassesKnown) {
    const json answer = json::parse(Run({"register", "--json"}));
    EXPECT_EQ(answer["ok"], true);
    const auto module = answer["module"].get<std::string>();
    EXPECT_TRUE(fs::path(module).is_absolute() && fs::equivalent(module, QRN_MODULE_FILE)) << module;

    const json registered = Registered();
    const json listed = {{"name", "QRN Video Render 3D"},
                         {"class_id", "6822840B-A601-412D-AC92-FCF9F7705623"},
                         {"merit", 0x200000},
                         {"module", module}};
    ASSERT_EQ(registered["categories"].size(), 3u);
    EXPECT_EQ(registered["categories"][0]["id"], "083863F1-70DE-11D0-BD40-00A0C911CE86");
    EXPECT_EQ(registered["categories"][0]["filters"], json::array({listed})) << "and none of the other 14";
    EXPECT_EQ(registered["categories"][1]["filters"], json::array());
    EXPECT_EQ(registered["categories"][2]["filters"], json::array());
    ASSERT_EQ(registered["classes"].size(), 20u);
    for (const json& row : registered["classes"]) {
        EXPECT_EQ(row["module"], module) << row;
    }
    const std::string text = Run({"inspect", "--registered"});
    EXPECT_THAT(text, HasSubstr("\"QRN Video Render 3D\"  {6822840B-A601-412D-AC92-FCF9F7705623}  merit 0x200000  " +
                                module + "\n"));
    EXPECT_THAT(text, HasSubstr("CLSID_QRN_AudioSender  {77BD5E69-0E53-4E90-AB0C-EE5FE241083B}  " + module + "\n"));

    EXPECT_EQ(Run({"unregister"}), "unregistered " + module + "\n");
    const json gone = Registered();
    EXPECT_EQ(gone["categories"][0]["filters"], json::array());
    EXPECT_TRUE(std::all_of(gone["classes"].begin(), gone["classes"].end(), [](const json& row) {
        return row["module"].is_null();
    })) << gone;
    Run({"unregister"});
}

TEST_F(Registering, AgainOrSeveralTimesAtOnceLeavesTheSameStore) {
    Run({"register"});
    const std::vector<std::string> once = Dump();
    ASSERT_GT(once.size(), 60u);
    Run({"register"});
    EXPECT_EQ(Dump(), once);

    // From nothing: the processes also make the file at once.
    fs::remove_all(fs::path(m_files.writesMachine ? m_files.machine : m_files.user).parent_path());
    CProgram first({"register"}, Environment());
    CProgram second({"register"}, Environment());
    EXPECT_EQ(first.WaitForExit(), 0) << first.Error();
    EXPECT_EQ(second.WaitForExit(), 0) << second.Error();
    EXPECT_EQ(Dump(), once);
}

TEST_F(Registering, DecidesWhichModuleIsLoaded) {
    const std::string copy = m_folder.File("copy.so");
    fs::copy_file(QRN_MODULE_FILE, copy);
    Run({"register", "--module", copy});
    CProgram inspect({"inspect"}, Environment({"QRN_MODULE=", "QRN_LOG=host:info"}));
    EXPECT_EQ(inspect.WaitForExit(), 0);
    EXPECT_THAT(inspect.Error(), HasSubstr("loaded " + copy));

    fs::remove(copy);
    CProgram demo({"demo", "--output", "none"}, Environment({"QRN_MODULE="}));
    EXPECT_EQ(demo.WaitForExit(), 1);
    EXPECT_THAT(demo.Error(), HasSubstr("cannot load the module: " + copy));
    EXPECT_THAT(demo.Error(), HasSubstr("it is the file that is registered for the class"));
    // Any copy takes it back; without a word the one beside the program, whatever is registered.
    EXPECT_THAT(Run({"unregister"}, {"QRN_MODULE="}), HasSubstr("libQRN_Media2.so"));
    Run({"inspect"}, {"QRN_MODULE="});
}

TEST_F(Registering, IsNotNeededWhereTheModuleIsBesideTheHostLibrary) {
    const std::string program = m_folder.File("elsewhere");
    fs::copy_file(QRN_PROGRAM, program);
    CProgram inspect({"inspect"}, Environment({"QRN_MODULE=", "QRN_LOG=host:info"}), program);
    EXPECT_EQ(inspect.WaitForExit(), 0) << inspect.Error();
    EXPECT_THAT(inspect.Error(), HasSubstr("loaded " + fs::path(QRN_MODULE_FILE).replace_filename("lib").string()));
}

struct StoreCase {
    const char* name;
    std::vector<std::string> arguments;
    const char* store;  // below the test's folder, if it is not absolute
    const char* sentence;
};
void PrintTo(const StoreCase& test, std::ostream* out) {
    *out << test.name;
}

class BadStore : public Registering, public testing::WithParamInterface<StoreCase> {};

TEST_P(BadStore, IsToldInOneSentenceAndLeftAsItIs) {
    const std::string garbage(5000, '#');
    std::ofstream(m_folder.File("damaged")) << garbage;
    const std::string store = (fs::path(m_folder.File("")) / GetParam().store).string();
    CProgram program(GetParam().arguments,
                     {"QRN_REGISTRY_USER=" + store, "QRN_REGISTRY_MACHINE=" + store, "QRN_MODULE="});
    EXPECT_EQ(program.WaitForExit(), 1);
    const std::string error = program.Error();
    EXPECT_THAT(error, HasSubstr(GetParam().sentence));
    EXPECT_THAT(error, HasSubstr(store));
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    std::ifstream damaged(m_folder.File("damaged"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(damaged), {}), garbage);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, BadStore,
    testing::Values(
        StoreCase{"Register", {"register"}, "damaged", "cannot register the module: ERROR_BADDB"},
        StoreCase{"Unregister", {"unregister"}, "damaged", "cannot unregister the module: ERROR_BADDB"},
        StoreCase{"Registered", {"inspect", "--registered"}, "damaged", "cannot read the registry: ERROR_BADDB"},
        StoreCase{"Inspect", {"inspect"}, "damaged", "cannot load the module: the registry's file is damaged"},
        StoreCase{"Demo", {"demo", "--output", "none"}, "damaged", "the registry's file is damaged"},
        StoreCase{"Unwritable", {"register"}, "/proc/none/registry.db", "ERROR_PATH_NOT_FOUND"},
        StoreCase{"BelowAFile", {"register"}, "damaged/registry.db", "ERROR_PATH_NOT_FOUND"},
        StoreCase{"AFolder", {"register"}, ".", "ERROR_OPEN_FAILED"}),
    [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace qrn
