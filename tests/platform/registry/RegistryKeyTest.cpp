#include "platform/registry/CRegistryKey.h"

#include "RegistryTest.h"

namespace {

using qrn::CRegistry;
using qrn::CRegistryKey;
using enum qrn::RegistryRoot;
using Names = std::vector<std::wstring>;

class RegistryKey : public qrn::test::CRegistryTest {};

TEST_F(RegistryKey, ValuesOutliveTheRegistryThatWroteThem) {
    const CRegistryKey key = Create(kCurrentUser, L"Software\\Test");
    EXPECT_EQ(key.SetString(L"", L"the default"), ERROR_SUCCESS);
    EXPECT_EQ(key.SetString(L"text", L"gr\u00FC\u00DFe \U0001F600"), ERROR_SUCCESS);
    EXPECT_EQ(key.SetString(L"empty", L""), ERROR_SUCCESS);
    EXPECT_EQ(key.SetDword(L"number", 0xFEDCBA98), ERROR_SUCCESS);
    const std::vector<BYTE> bytes{0, 1, 255, 0};
    EXPECT_EQ(key.SetBinary(L"bytes", bytes), ERROR_SUCCESS);
    EXPECT_EQ(key.SetBinary(L"no bytes", {}), ERROR_SUCCESS);

    CRegistry other(m_files);
    CRegistryKey again;
    ASSERT_EQ(other.OpenKey(kCurrentUser, L"software\\TEST", again), ERROR_SUCCESS) << "case does not matter";
    std::wstring text;
    EXPECT_EQ(again.QueryString(L"", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"the default");
    EXPECT_EQ(again.QueryString(L"TEXT", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"gr\u00FC\u00DFe \U0001F600");
    EXPECT_EQ(again.QueryString(L"empty", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"");
    DWORD number = 0;
    EXPECT_EQ(again.QueryDword(L"number", number), ERROR_SUCCESS);
    EXPECT_EQ(number, 0xFEDCBA98);
    std::vector<BYTE> read{9};
    EXPECT_EQ(again.QueryBinary(L"bytes", read), ERROR_SUCCESS);
    EXPECT_EQ(read, bytes);
    EXPECT_EQ(again.QueryBinary(L"no bytes", read), ERROR_SUCCESS);
    EXPECT_TRUE(read.empty());
    DWORD type = 0;
    EXPECT_EQ(again.QueryValue(L"text", &type, &read), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(read.size(), 2u * 8) << "UTF-16 without a closing zero; the last character takes two units";
}

TEST_F(RegistryKey, AValueOfAnotherTypeLeavesTheResultAlone) {
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    ASSERT_EQ(key.SetDword(L"number", 7), ERROR_SUCCESS);
    std::wstring text = L"before";
    EXPECT_EQ(key.QueryString(L"number", text), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(key.QueryString(L"none", text), ERROR_FILE_NOT_FOUND);
    const BYTE odd[] = {'a', 0, 'b'};
    ASSERT_EQ(key.SetValue(L"odd", REG_SZ, odd), ERROR_SUCCESS);
    EXPECT_EQ(key.QueryString(L"odd", text), ERROR_INVALID_DATA);
    EXPECT_EQ(text, L"before");
    DWORD number = 5;
    ASSERT_EQ(key.SetValue(L"short", REG_DWORD, odd), ERROR_SUCCESS);
    EXPECT_EQ(key.QueryDword(L"short", number), ERROR_INVALID_DATA);
    EXPECT_EQ(number, 5u);
}

TEST_F(RegistryKey, WritingAgainReplacesTheValueAndKeepsItsName) {
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    ASSERT_EQ(key.SetDword(L"Value", 1), ERROR_SUCCESS);
    ASSERT_EQ(key.SetString(L"VALUE", L"two"), ERROR_SUCCESS);
    Names names;
    EXPECT_EQ(key.ListValues(names), ERROR_SUCCESS);
    EXPECT_EQ(names, Names{L"Value"});
    std::wstring text;
    EXPECT_EQ(key.QueryString(L"value", text), ERROR_SUCCESS);
    EXPECT_EQ(text, L"two");
}

TEST_F(RegistryKey, SubkeysAreCountedInTheOrderOfTheAlphabet) {
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    for (const wchar_t* name : {L"beta", L"Alpha", L"gamma\\below"}) {
        CRegistryKey subkey;
        ASSERT_EQ(key.CreateKey(name, subkey), ERROR_SUCCESS);
    }
    Names names;
    std::wstring name;
    for (DWORD i = 0; key.EnumKey(i, name) == ERROR_SUCCESS; ++i) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (Names{L"Alpha", L"beta", L"gamma"}));
    EXPECT_EQ(key.EnumKey(3, name), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(key.EnumValue(0, name), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(name, L"gamma");
}

TEST_F(RegistryKey, DeletingATreeTakesNoNeighbourWithIt) {
    // Names that sort right before, among and after what begins with the tree's own path.
    for (const wchar_t* path : {L"Test\\a", L"Test\\a\\x\\y", L"Test\\A\\]", L"Test\\a b", L"Test\\a[", L"Test\\a]",
                                L"Test\\ab\\c", L"Test\\B"}) {
        EXPECT_EQ(Create(kCurrentUser, path).SetDword(L"v", 1), ERROR_SUCCESS);
    }
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    EXPECT_EQ(key.DeleteKey(L"a"), ERROR_ACCESS_DENIED) << "it has subkeys";
    EXPECT_EQ(key.DeleteTree(L"A"), ERROR_SUCCESS);
    Names names;
    EXPECT_EQ(key.ListKeys(names), ERROR_SUCCESS);
    EXPECT_EQ(names, (Names{L"a b", L"a[", L"a]", L"ab", L"B"}));
    EXPECT_EQ(Open(kCurrentUser, L"Test\\a\\x\\y"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key.DeleteTree(L"a"), ERROR_FILE_NOT_FOUND);

    // A key of that name made anew does not get the old values back.
    Names values;
    EXPECT_EQ(Create(kCurrentUser, L"Test\\a\\x").ListValues(values), ERROR_SUCCESS);
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(key.DeleteKey(L"a\\x"), ERROR_SUCCESS);
    EXPECT_EQ(key.DeleteKey(L"a"), ERROR_SUCCESS);
}

TEST_F(RegistryKey, AKeyThatWasDeletedTakesNoValues) {
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    CRegistryKey root;
    ASSERT_EQ(m_registry.OpenKey(kCurrentUser, L"", root), ERROR_SUCCESS);
    ASSERT_EQ(root.DeleteKey(L"Test"), ERROR_SUCCESS);
    EXPECT_EQ(key.SetDword(L"v", 1), ERROR_KEY_DELETED);
    EXPECT_EQ(key.DeleteValue(L"v"), ERROR_FILE_NOT_FOUND);
    Names names;
    EXPECT_EQ(key.ListKeys(names), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Open(kCurrentUser, L"Test"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryKey, AStoreWithoutAFileIsEmptyAndReadingMakesNone) {
    EXPECT_TRUE(qrn::test::Dump(m_registry, kClassesRoot).empty());
    EXPECT_EQ(Open(kCurrentUser, L"Test"), ERROR_FILE_NOT_FOUND);
    CRegistryKey root;
    ASSERT_EQ(m_registry.OpenKey(kCurrentUser, L"", root), ERROR_SUCCESS);
    EXPECT_EQ(root.DeleteTree(L"Test"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(root.DeleteValue(L"v"), ERROR_FILE_NOT_FOUND);
    EXPECT_NE(access(m_files.user.c_str(), F_OK), 0);
}

struct NameCase {
    const char* name;
    std::wstring path;
    LONG error;
};

class RegistryName : public RegistryKey, public testing::WithParamInterface<NameCase> {};

TEST_P(RegistryName, IsTakenOrRefused) {
    CRegistryKey key;
    EXPECT_EQ(m_registry.CreateKey(kCurrentUser, GetParam().path, key), GetParam().error);
    EXPECT_EQ(Open(kCurrentUser, GetParam().path), GetParam().error);
}

std::wstring Deep(std::size_t levels) {
    std::wstring path = L"k";
    for (std::size_t i = 1; i < levels; ++i) {
        path += L"\\k";
    }
    return path;
}

INSTANTIATE_TEST_SUITE_P(Paths, RegistryName,
                         testing::Values(NameCase{"LeadingBackslash", L"\\a", ERROR_INVALID_PARAMETER},
                                         NameCase{"TrailingBackslash", L"a\\", ERROR_INVALID_PARAMETER},
                                         NameCase{"EmptyPart", L"a\\\\b", ERROR_INVALID_PARAMETER},
                                         NameCase{"ZeroInside", std::wstring(L"a\0b", 3), ERROR_INVALID_PARAMETER},
                                         NameCase{"LongestName", std::wstring(255, L'n'), ERROR_SUCCESS},
                                         NameCase{"TooLong", std::wstring(256, L'n'), ERROR_INVALID_PARAMETER},
                                         NameCase{"Deepest", Deep(512), ERROR_SUCCESS},
                                         NameCase{"TooDeep", Deep(513), ERROR_INVALID_PARAMETER},
                                         NameCase{"SqlAndWildcards", L"'; DROP TABLE registry_keys; --\\%_*?",
                                                  ERROR_SUCCESS}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(RegistryKey, ValuesHaveLimits) {
    const CRegistryKey key = Create(kCurrentUser, L"Test");
    EXPECT_EQ(key.SetDword(std::wstring(16383, L'n'), 1), ERROR_SUCCESS);
    EXPECT_EQ(key.SetDword(std::wstring(16384, L'n'), 1), ERROR_INVALID_PARAMETER);
    std::vector<BYTE> data(CRegistry::kMaxDataBytes, 7);
    EXPECT_EQ(key.SetBinary(L"most", data), ERROR_SUCCESS);
    std::vector<BYTE> read;
    EXPECT_EQ(key.QueryBinary(L"most", read), ERROR_SUCCESS);
    EXPECT_EQ(read, data);
    data.push_back(7);
    EXPECT_EQ(key.SetBinary(L"more", data), ERROR_INVALID_PARAMETER);
}

TEST(RegistryKeyAlone, AKeyThatWasNeverOpenedAnswers) {
    const CRegistryKey key;
    CRegistryKey other;
    std::wstring text;
    EXPECT_EQ(key.OpenKey(L"", other), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.OpenKey(L"a", other), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.CreateKey(L"a", other), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.QueryString(L"a", text), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.SetString(L"a", text), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.EnumKey(0, text), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(key.DeleteTree(L"a"), ERROR_INVALID_PARAMETER);
}

// The view of the classes.

class RegistryClasses : public RegistryKey {
protected:
    RegistryClasses() {
        EXPECT_EQ(Create(kLocalMachine, L"Software\\Classes\\both").SetString(L"v", L"machine"), ERROR_SUCCESS);
        EXPECT_EQ(Create(kLocalMachine, L"Software\\Classes\\both").SetString(L"w", L"machine"), ERROR_SUCCESS);
        EXPECT_EQ(Create(kLocalMachine, L"Software\\Classes\\machine\\sub").SetString(L"", L"x"), ERROR_SUCCESS);
        EXPECT_EQ(Create(kCurrentUser, L"Software\\Classes\\BOTH").SetString(L"v", L"user"), ERROR_SUCCESS);
        EXPECT_EQ(Create(kCurrentUser, L"Software\\Classes\\another").SetString(L"v", L"user"), ERROR_SUCCESS);
    }
    std::wstring Value(std::wstring_view path, std::wstring_view name) {
        CRegistryKey key;
        std::wstring text;
        const LONG error = m_registry.OpenKey(kClassesRoot, path, key);
        return error != ERROR_SUCCESS || key.QueryString(name, text) != ERROR_SUCCESS ? L"-" : text;
    }
};

TEST_F(RegistryClasses, ShowTheUsersOverTheMachines) {
    EXPECT_EQ(Value(L"both", L"v"), L"user");
    EXPECT_EQ(Value(L"both", L"w"), L"machine");
    EXPECT_EQ(Value(L"machine\\sub", L""), L"x");
    CRegistryKey root;
    ASSERT_EQ(m_registry.OpenKey(kClassesRoot, L"", root), ERROR_SUCCESS);
    Names names;
    EXPECT_EQ(root.ListKeys(names), ERROR_SUCCESS);
    EXPECT_EQ(names, (Names{L"another", L"BOTH", L"machine"}));
    CRegistryKey both;
    ASSERT_EQ(root.OpenKey(L"both", both), ERROR_SUCCESS);
    EXPECT_EQ(both.ListValues(names), ERROR_SUCCESS);
    EXPECT_EQ(names, (Names{L"v", L"w"}));
}

TEST_F(RegistryClasses, AreWrittenAndDeletedForTheUserOnly) {
    const std::vector<std::string> machine = qrn::test::Dump(m_registry, kLocalMachine);
    CRegistryKey root;
    ASSERT_EQ(m_registry.OpenKey(kClassesRoot, L"", root), ERROR_SUCCESS);
    CRegistryKey sub;
    ASSERT_EQ(root.OpenKey(L"machine\\sub", sub), ERROR_SUCCESS);
    EXPECT_EQ(sub.SetString(L"", L"mine"), ERROR_SUCCESS) << "the key gets its counterpart in the user's store";
    EXPECT_EQ(Value(L"machine\\sub", L""), L"mine");
    EXPECT_EQ(root.DeleteTree(L"machine"), ERROR_SUCCESS);
    EXPECT_EQ(Value(L"machine\\sub", L""), L"x");
    EXPECT_EQ(root.DeleteTree(L"machine"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(qrn::test::Dump(m_registry, kLocalMachine), machine);
}

TEST_F(RegistryClasses, AreWrittenForTheMachineByRoot) {
    qrn::RegistryFiles files = m_files;
    files.writesMachine = true;
    CRegistry registry(files);
    const std::vector<std::string> user = qrn::test::Dump(registry, kCurrentUser);
    CRegistryKey key;
    ASSERT_EQ(registry.CreateKey(kClassesRoot, L"CLSID\\new", key), ERROR_SUCCESS);
    EXPECT_EQ(registry.OpenKey(kLocalMachine, L"Software\\Classes\\CLSID\\new", key), ERROR_SUCCESS);
    EXPECT_EQ(qrn::test::Dump(registry, kCurrentUser), user);
}

TEST_F(RegistryKey, OneFileMayBeBothStores) {
    CRegistry registry({m_files.user, m_files.user, true});
    CRegistryKey key;
    ASSERT_EQ(registry.CreateKey(kClassesRoot, L"c", key), ERROR_SUCCESS);
    ASSERT_EQ(key.SetString(L"v", L"x"), ERROR_SUCCESS);
    std::vector<std::wstring> names;
    EXPECT_EQ(key.ListValues(names), ERROR_SUCCESS);
    EXPECT_EQ(names, Names{L"v"});
}

}  // namespace
