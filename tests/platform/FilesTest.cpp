// File helpers on Wine's real file system, in a scratch folder per test.
#include <fstream>
#include "Harness.h"
#include "frame/DebugLog.h"
#include "platform/Files.h"

using namespace tvtest;

namespace {

// Drive paths taken literally: only in this form does the system keep a
// final dot, which is how the tests see whether a path went out prefixed.
std::wstring Literal(const std::wstring& path) { return tv::HasLongPrefix(path) ? path : L"\\\\?\\" + path; }

void RemoveTree(const std::wstring& folder) {
    WIN32_FIND_DATAW data;
    HANDLE find = ::FindFirstFileW(Literal(folder + L"\\*").c_str(), &data);
    for (BOOL more = find != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(find, &data)) {
        const std::wstring name = data.cFileName, path = folder + L"\\" + name;
        if (name == L"." || name == L"..") continue;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) RemoveTree(path);
        else ::DeleteFileW(Literal(path).c_str());
    }
    if (find != INVALID_HANDLE_VALUE) ::FindClose(find);
    ::RemoveDirectoryW(Literal(folder).c_str());
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(Literal(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void WriteFile(const std::wstring& path, const std::string& bytes) { std::ofstream(Narrow(path)) << bytes; }

class Files : public SessionTest {
protected:
    void SetUp() override { ::CreateDirectoryW(mRoot.c_str(), nullptr); }
    void TearDown() override { RemoveTree(mRoot); }
    // A path under the scratch folder of exactly `length` characters, ending in ".".
    std::wstring PathOfLength(size_t length) const {
        std::wstring path = mRoot;
        while (length - path.size() > 20) path += L"\\ddddddddd";
        return path + L"\\" + std::wstring(length - path.size() - 2, L'e') + L".";
    }
    const std::wstring mRoot = TestPackage::TempPath(L"-files");
};

}  // namespace

TEST_F(Files, ExistenceNeverSearchesTheCurrentFolder) {
    wchar_t previous[MAX_PATH];
    ::GetCurrentDirectoryW(MAX_PATH, previous);
    ASSERT_TRUE(::SetCurrentDirectoryW(mRoot.c_str()));
    WriteFile(L"setup.exe", "12345");
    const std::pair<std::wstring, bool> cases[] = {
        {L"setup.exe", false}, {L".\\setup.exe", false}, {L"", false},
        {mRoot + L"\\setup.exe", true}, {mRoot + L"\\set*.e?e", true}, {mRoot + L"\\other.exe", false},
    };
    for (const auto& [path, exists] : cases) EXPECT_EQ(tv::FileExists(path), exists) << Narrow(path);
    ::SetCurrentDirectoryW(previous);
}

TEST_F(Files, FindSizeAndNearestFolder) {
    WriteFile(mRoot + L"\\five.bin", "12345");
    struct Case { std::wstring path; DWORD found; DWORD size; };
    const Case cases[] = {
        {L"", ERROR_INVALID_PARAMETER, 0},
        {L"rel\\five.bin", ERROR_PATH_NOT_FOUND, 0},
        {mRoot + L"\\five.bin", 0, 5},
        {mRoot + L"\\none.bin", ERROR_FILE_NOT_FOUND, 0},
        {mRoot + L"\\none\\five.bin", ERROR_PATH_NOT_FOUND, 0},
    };
    for (const Case& c : cases) {
        tv::FoundFile found;
        EXPECT_EQ(tv::FileExistsByFind(c.path, &found), c.found) << Narrow(c.path);
        EXPECT_EQ(found.size, c.size);
        EXPECT_EQ(tv::FileSizeOf(c.path), c.size) << Narrow(c.path);
    }
    EXPECT_EQ(tv::NearestExistingFolder(mRoot + L"\\no\\such/file.txt"), mRoot);
    EXPECT_EQ(tv::NearestExistingFolder(L"relative\\path"), L"");
}

TEST_F(Files, FolderChain) {
    std::wstring deep = mRoot + L"\\deep";
    for (int i = 0; i < 30; ++i) deep += L"\\abcdefghij";
    struct Case { std::wstring path; DWORD result; std::vector<std::wstring> made, absent; };
    const Case cases[] = {
        {mRoot + L"\\a\\b\\file.txt", 0, {mRoot + L"\\a", mRoot + L"\\a\\b"}, {mRoot + L"\\a\\b\\file.txt"}},
        {mRoot + L"\\a\\b\\", 0, {mRoot + L"\\a\\b"}, {}},  // there already
        // The folder reached last before the bad name goes again; the one before stays.
        {mRoot + L"\\c\\d\\bad|name\\e\\f.txt", ERROR_INVALID_NAME, {mRoot + L"\\c"}, {mRoot + L"\\c\\d"}},
        {tv::ToLongPath(deep + L"\\f.txt"), 0, {deep}, {deep + L"\\f.txt"}},
        // The prefix goes back onto the root: "dot." is made as it stands.
        {Literal(mRoot + L"\\dot.\\f.txt"), 0, {mRoot + L"\\dot."}, {mRoot + L"\\dot"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.path.substr(0, 80)));
        EXPECT_EQ(tv::CreateFolderChain(c.path), c.result);
        for (const auto& folder : c.made) EXPECT_TRUE(IsFolder(folder)) << Narrow(folder);
        for (const auto& folder : c.absent) EXPECT_FALSE(IsFolder(folder)) << Narrow(folder);
    }
    WriteFile(mRoot + L"\\a\\b\\file.txt", "x");
    EXPECT_EQ(tv::CreateFolderChain(mRoot + L"\\a\\b\\file.txt"), 0u);
}

TEST_F(Files, RemoveDirectoryPrefixesFrom260On) {
    // Unprefixed, the system drops the final dot and misses the folder.
    const std::pair<size_t, bool> cases[] = {{259, false}, {260, true}, {300, true}};
    for (const auto& [length, removed] : cases) {
        const std::wstring folder = PathOfLength(length);
        ASSERT_EQ(tv::CreateFolderChain(Literal(folder + L"\\")), 0u);
        EXPECT_EQ(tv::RemoveDirectoryLong(folder), removed) << length;
        EXPECT_EQ(IsFolder(folder), !removed) << length;
    }
}

TEST_F(Files, FailedRemovalIsLoggedWithTheSystemsText) {
    DebugLogSwitch atom;
    Open();
    tv::DebugLog::Instance().Init(mSession, L"TV_Test");
    WriteFile(mRoot + L"\\keep.txt", "x");
    EXPECT_FALSE(tv::RemoveDirectoryLong(mRoot));
    const auto lines = mMessages.LogLines();
    ASSERT_EQ(lines.size(), 1u);
    const std::wstring start = L"TV_Test: Failed to delete directory: " + mRoot + L" LastError= 145-";
    ASSERT_GT(lines[0].size(), start.size());
    EXPECT_EQ(lines[0].substr(0, start.size()), start) << Narrow(lines[0]);
    EXPECT_EQ(lines[0].find_first_of(L"\r\n"), std::wstring::npos);
}

TEST_F(Files, FreeSpaceInKibibytes) {
    for (const std::wstring& path : {mRoot + L"\\any\\file", Literal(mRoot), std::wstring(L"Q:\\no\\drive")}) {
        unsigned long long bytes = 12345;
        const std::wstring text = tv::GetFreeSpace(path, bytes);
        EXPECT_EQ(text, std::to_wstring(bytes / 1024)) << Narrow(path);
        EXPECT_EQ(bytes > 0, path[0] != L'Q') << Narrow(path);
    }
}

TEST(TempFolders, AllNormalisedAndTheUsersOutsideLocalSystem) {
    wchar_t temp[MAX_PATH];
    const std::wstring userTemp = tv::NormalizePath(std::wstring(temp, ::GetTempPathW(MAX_PATH, temp)));
    const tv::TempFolders& folders = tv::GetTempFolders();
    for (const auto* text : {&folders.userTemp, &folders.systemTemp, &folders.workTemp}) EXPECT_EQ(*text, userTemp);
}
