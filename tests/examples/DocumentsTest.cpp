// The documents against the tree: what they show of an example is what the example holds, and what they point at
// exists.
//
// In an example a part is marked by the lines "// snippet: NAME" and "// end of snippet". A document that shows it says
// "<!-- FILE: NAME -->" in the line before the block of code.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace qrn::test {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot = QRN_SOURCE_FOLDER;
const std::string kSnippetEnd = "// end of snippet";

std::vector<std::string> LinesOf(const fs::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Join(std::vector<std::string>::const_iterator from, std::vector<std::string>::const_iterator to) {
    std::string text;
    for (; from != to; ++from) {
        text += *from + "\n";
    }
    return text;
}

/// From "FILE: NAME" to the lines between the marks.
std::map<std::string, std::string> SnippetsOf(const fs::path& folder) {
    static const std::regex kStart(R"(\s*// snippet: (.+))");
    std::map<std::string, std::string> snippets;
    for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
        const std::vector<std::string> lines = LinesOf(entry.path());
        std::smatch match;
        for (auto at = lines.begin(); at != lines.end(); ++at) {
            if (std::regex_match(*at, match, kStart)) {
                const auto end = std::find(at, lines.end(), kSnippetEnd);
                EXPECT_NE(end, lines.end()) << entry.path() << ": no end of " << match[1];
                const std::string file = (folder / entry.path().filename()).generic_string();
                snippets[file + ": " + match[1].str()] = Join(at + 1, end);
            }
        }
    }
    return snippets;
}

std::vector<fs::path> Documents() {
    std::vector<fs::path> documents{"README.md"};
    for (const auto& entry : fs::directory_iterator(kRoot / "docs")) {
        if (entry.path().extension() == ".md") {
            documents.push_back(fs::path("docs") / entry.path().filename());
        }
    }
    return documents;
}

void ExpectTheLinesOfTheExamples(const std::vector<std::string>& document) {
    static const std::regex kShown(R"(<!-- (\S+: .+) -->)");
    const auto snippets = SnippetsOf("examples");
    std::smatch match;
    for (auto at = document.begin(); at != document.end(); ++at) {
        if (!std::regex_match(*at, match, kShown)) {
            continue;
        }
        SCOPED_TRACE(match[1].str());
        const auto found = snippets.find(match[1]);
        const bool isShown = document.end() - at > 2 && *(at + 1) == "```cpp";
        if (found == snippets.end() || !isShown) {
            ADD_FAILURE() << (isShown ? "no example has this part" : "no block of code follows");
            continue;
        }
        EXPECT_EQ(Join(at + 2, std::find(at + 2, document.end(), "```")), found->second);
    }
}

void ExpectPathsThatExist(const fs::path& name, const std::vector<std::string>& document) {
    static const std::regex kLink(R"(\]\(([^)#:]+)(#[^)]*)?\))");
    static const std::regex kPath(
        R"(`((?:src|include|tests|examples|docs|cmake|packaging|bench|fuzz)/[A-Za-z0-9_./-]*)`)");
    const std::string text = Join(document.begin(), document.end());
    const fs::path folder = (kRoot / name).parent_path();
    for (std::sregex_iterator at(text.begin(), text.end(), kLink), end; at != end; ++at) {
        EXPECT_TRUE(fs::exists(folder / (*at)[1].str())) << "link to " << (*at)[1];
    }
    for (std::sregex_iterator at(text.begin(), text.end(), kPath), end; at != end; ++at) {
        EXPECT_TRUE(fs::exists(kRoot / (*at)[1].str())) << "path " << (*at)[1];
    }
}

TEST(Documents, ShowTheLinesOfTheExamples) {
    for (const fs::path& name : Documents()) {
        SCOPED_TRACE(name);
        ExpectTheLinesOfTheExamples(LinesOf(kRoot / name));
    }
}

TEST(Documents, PointAtWhatExists) {
    for (const fs::path& name : Documents()) {
        SCOPED_TRACE(name);
        ExpectPathsThatExist(name, LinesOf(kRoot / name));
    }
}

TEST(Documents, ShowEveryMarkedPartOfTheExamples) {
    const auto snippets = SnippetsOf("examples");
    ASSERT_FALSE(snippets.empty());
    std::set<std::string> shown;
    for (const fs::path& document : Documents()) {
        for (const std::string& line : LinesOf(kRoot / document)) {
            shown.insert(line);
        }
    }
    for (const auto& [name, lines] : snippets) {
        EXPECT_TRUE(shown.contains("<!-- " + name + " -->")) << name;
    }
}

}  // namespace
}  // namespace qrn::test
