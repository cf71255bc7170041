// RegistryKey against Wine's registry, below a scratch key of HKCU per process.
#include <vector>
#include "Harness.h"
#include "platform/RegistryKey.h"

using namespace tvtest;

namespace {

class Registry : public ::testing::Test {
protected:
    // Removed with the system's own tree delete, since ours is under test.
    void TearDown() override { ::RegDeleteTreeW(HKEY_CURRENT_USER, mRoot.c_str()); }
    tv::RegistryKey Key(const std::wstring& below = L"", bool writable = true) const {
        return tv::RegistryKey(mRoot + below, HKEY_CURRENT_USER, writable);
    }
    tv::RegistryKey Made(const std::wstring& below = L"") const {
        tv::RegistryKey key = Key(below);
        EXPECT_EQ(key.Create(HKEY_CURRENT_USER, mRoot + below, KEY_ALL_ACCESS), ERROR_SUCCESS);
        return key;
    }
    const std::wstring mRoot = L"Software\\TvTest\\Registry-" + std::to_wstring(::GetCurrentProcessId());
};

}  // namespace

TEST_F(Registry, FullNameByHive) {
    const std::tuple<std::wstring, HKEY, std::wstring> cases[] = {
        {L"Software\\X\\", HKEY_CURRENT_USER, L"HKEY_CURRENT_USER\\Software\\X"},
        {L"Software\\X", HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE\\Software\\X"},
        {L"CLSID", HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT\\CLSID"}, {L"S\\", HKEY_USERS, L"HKEY_USERS\\S"},
        {L"S", HKEY_CURRENT_CONFIG, L"HKEY_CURRENT_CONFIG\\S"}, {L"S", HKEY_PERFORMANCE_DATA, L"\\S"},
    };
    for (const auto& [subKey, hive, fullName] : cases)
        EXPECT_EQ(tv::RegistryKey(subKey, hive, false).FullName(), fullName) << Narrow(fullName);
}

TEST_F(Registry, TextValues) {
    tv::RegistryKey key = Made();
    ASSERT_TRUE(key.SetText(L"empty", L""));
    DWORD type = 0, bytes = 0;
    ASSERT_EQ(::RegQueryValueExW(key.Handle(), L"empty", nullptr, &type, nullptr, &bytes), ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(bytes, 2u);
    // `bytes` 0 stores all of `data`.
    struct Case { const wchar_t* name; DWORD type; std::vector<wchar_t> data; std::wstring text; DWORD bytes = 0; };
    const Case cases[] = {
        {L"sz", REG_SZ, {'a', 'b', 0}, L"ab"}, {L"expand", REG_EXPAND_SZ, {'%', 'T', '%', 0}, L"%T%"},
        {L"dword", REG_DWORD, {'1', '2'}, L""}, {L"multi", REG_MULTI_SZ, {'a', 0, 0}, L""},
        {L"unterminated", REG_SZ, {'a', 'b', 'c'}, L"abc"},
        {L"twice terminated", REG_SZ, {'a', 'b', 0, 0}, std::wstring(L"ab\0", 3)},
        {L"odd byte", REG_SZ, {'a'}, L"", 1},
    };
    for (const Case& c : cases) {
        const DWORD size = c.bytes ? c.bytes : static_cast<DWORD>(c.data.size() * sizeof(wchar_t));
        ::RegSetValueExW(key.Handle(), c.name, 0, c.type, reinterpret_cast<const BYTE*>(c.data.data()), size);
        EXPECT_EQ(key.GetText(c.name), c.text) << Narrow(c.name);
    }
    EXPECT_EQ(key.GetText(L"missing"), L"");
}

TEST_F(Registry, ReadOnlyAndClosedKeys) {
    Made();
    tv::RegistryKey readOnly = Key(L"", false);
    ASSERT_TRUE(readOnly.IsOpen());
    EXPECT_FALSE(readOnly.SetText(L"v", L"x"));
    EXPECT_EQ(Key().GetText(L"v"), L"");
    // A closed object reads nothing, and its first write creates the key.
    tv::RegistryKey closed = Key(L"\\new");
    ASSERT_FALSE(closed.IsOpen());
    EXPECT_EQ(closed.GetText(L"v"), L"");
    EXPECT_TRUE(closed.SetText(L"v", L"written"));
    EXPECT_EQ(Key(L"\\new", false).GetText(L"v"), L"written");
    tv::RegistryKey other = Key(L"\\other");
    EXPECT_EQ(other.Create(HKEY_CURRENT_USER, mRoot + L"\\other", KEY_ALL_ACCESS | KEY_WOW64_64KEY), ERROR_SUCCESS);
    EXPECT_EQ(other.ViewBits(), DWORD{KEY_WOW64_64KEY});
    EXPECT_NE(other.Create(nullptr, L"x", KEY_ALL_ACCESS), ERROR_SUCCESS);
    EXPECT_TRUE(other.SetText(L"v", L"a failed Create keeps the key"));
}

TEST_F(Registry, DeleteTree) {
    tv::RegistryKey root = Made();
    for (const wchar_t* below : {L"\\tree\\a\\b\\c", L"\\tree\\a\\d", L"\\tree\\e"}) Made(below).SetText(L"v", L"x");
    EXPECT_NE(root.DeleteSubKey(L"tree"), ERROR_SUCCESS);
    EXPECT_EQ(root.DeleteTree(L"tree"), ERROR_SUCCESS);
    EXPECT_FALSE(Key(L"\\tree").IsOpen());
    EXPECT_EQ(root.DeleteTree(L"tree"), ERROR_FILE_NOT_FOUND);
    // Windows documents 255 characters for a key name, Wine takes 256: the
    // longest name there is here, and it already overflows the enumeration
    // buffer as a longer one would.
    const std::wstring longName = L"\\long\\" + std::wstring(256, L'm');
    for (const std::wstring& below : {std::wstring(L"\\long\\a"), longName, std::wstring(L"\\long\\z")}) Made(below);
    EXPECT_EQ(root.DeleteTree(L"long"), ERROR_MORE_DATA);
    EXPECT_FALSE(Key(L"\\long\\a").IsOpen());
    EXPECT_TRUE(Key(longName).IsOpen() && Key(L"\\long\\z").IsOpen());
}
