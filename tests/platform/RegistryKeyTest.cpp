// RegistryKey against Wine's registry, below a scratch key of HKCU per process.
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
    const std::wstring mRoot = L"Software\\TvTest\\Registry-" + std::to_wstring(::GetCurrentProcessId());
};

}  // namespace

TEST_F(Registry, TextValuesAndKeysClosedOrReadOnly) {
    tv::RegistryKey key = Key();
    ASSERT_FALSE(key.IsOpen());
    EXPECT_EQ(key.GetText(L"v"), L"");
    // The first write creates a closed key; an empty text takes its terminator.
    ASSERT_TRUE(key.SetText(L"empty", L""));
    DWORD type = 0, bytes = 0;
    ::RegQueryValueExW(key.Handle(), L"empty", nullptr, &type, nullptr, &bytes);
    EXPECT_EQ(std::make_pair(type, bytes), std::make_pair(DWORD{REG_SZ}, DWORD{2}));
    // `bytes` 0 stores all of `data`.
    struct Case { const wchar_t* name; DWORD type; std::vector<wchar_t> data; std::wstring text; DWORD bytes = 0; };
    const Case cases[] = {
        {L"sz", REG_SZ, {'a', 'b', 0}, L"ab"}, {L"expand", REG_EXPAND_SZ, {'%', 'T', '%', 0}, L"%T%"},
        {L"dword", REG_DWORD, {'1', '2'}, L""}, {L"unterminated", REG_SZ, {'a', 'b', 'c'}, L"abc"},
        {L"twice terminated", REG_SZ, {'a', 'b', 0, 0}, std::wstring(L"ab\0", 3)}, {L"odd byte", REG_SZ, {'a'}, L"", 1},
    };
    for (const Case& c : cases) {
        const DWORD size = c.bytes ? c.bytes : static_cast<DWORD>(c.data.size() * sizeof(wchar_t));
        ::RegSetValueExW(key.Handle(), c.name, 0, c.type, reinterpret_cast<const BYTE*>(c.data.data()), size);
        EXPECT_EQ(key.GetText(c.name), c.text) << Narrow(c.name);
    }
    EXPECT_FALSE(Key(L"", false).SetText(L"sz", L"x")) << "read-only";
    EXPECT_EQ(Key(L"", false).GetText(L"sz"), L"ab");
    EXPECT_NE(key.Create(nullptr, L"x", KEY_ALL_ACCESS), ERROR_SUCCESS);
    EXPECT_TRUE(key.IsOpen()) << "a failed Create keeps the key";
    EXPECT_EQ(tv::RegistryKey(L"S\\X\\", HKEY_CURRENT_USER, false).FullName(), L"HKEY_CURRENT_USER\\S\\X");
}

TEST_F(Registry, DeleteTree) {
    // Windows documents 255 characters for a key name, Wine takes 256: the
    // longest name there is here, and it already overflows the enumeration
    // buffer as a longer one would.
    const std::wstring longName = L"\\long\\" + std::wstring(256, L'm');
    for (auto below : {L"\\tree\\a\\b\\c", L"\\tree\\a\\d", L"\\tree\\e", L"\\long\\a", longName.c_str(), L"\\long\\z"})
        Key(below).SetText(L"v", L"x");
    EXPECT_EQ(Key().DeleteTree(L"tree"), ERROR_SUCCESS);
    EXPECT_FALSE(Key(L"\\tree").IsOpen());
    EXPECT_EQ(Key().DeleteTree(L"long"), ERROR_MORE_DATA);
    EXPECT_FALSE(Key(L"\\long\\a").IsOpen());
    EXPECT_TRUE(Key(longName).IsOpen() && Key(L"\\long\\z").IsOpen());
}
