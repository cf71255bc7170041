// Path text, and file helpers on Wine's real file system in a scratch folder per test.
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
        const std::wstring path = folder + L"\\" + data.cFileName;
        if (data.cFileName[0] == L'.') continue;  // "." and ".."; the tests make no other such name
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) RemoveTree(path);
        else ::DeleteFileW(Literal(path).c_str());
    }
    ::FindClose(find);
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
    const std::wstring mRoot = TestPackage::TempPath(L"-files");
};

}  // namespace

TEST(PathText, LongFormNormalFormAndVolumeRoot) {
    const std::wstring pre = L"\\\\?\\", preUnc = L"\\\\?\\UNC\\", tail(300, L'x');
    const std::wstring drive247 = L"C:\\" + std::wstring(244, L'a'), share = L"srv\\share\\" + tail;
    const std::pair<std::wstring, std::wstring> cases[] = {
        {drive247, drive247}, {drive247 + L"b", pre + drive247 + L"b"},
        {tail, tail}, {L"\\" + tail, L"\\" + tail},  // relative; rooted without a drive
        {L"\\\\" + share, preUnc + share}, {preUnc + share, preUnc + share},
        // Wine's PathIsUNCW takes "\\?\C:" for a share path, Windows doesn't.
        {pre + L"C:\\" + tail, pre + L"C:\\" + tail}, {pre + L"C:\\x", pre + L"C:\\x"},
    };
    for (auto& [in, out] : cases) EXPECT_EQ(tv::ToLongPath(in), out) << in.size() << ':' << Narrow(in.substr(0, 8));
    const std::pair<const wchar_t*, const wchar_t*> normal[] = {
        {L"\\\\?\\UNC\\srv\\share\\\\a\\\\", L"\\\\srv\\share\\a"}, {L"C:\\a\\\\b\\", L"C:\\a\\b"}, {L"C:\\", L"C:"},
        {L"\\\\?\\C:\\A/b\\\\\\c", L"C:\\A/b\\c"}, {L"\\a", L"a"}, {L"\\\\\\\\srv\\x", L"\\\\srv\\x"}, {L"\\\\\\", L""},
    };
    for (const auto& [in, out] : normal) EXPECT_EQ(tv::NormalizePath(in), out) << Narrow(in);
    const std::pair<const wchar_t*, const wchar_t*> roots[] = {
        {L"\\\\?\\D:\\a", L"D:\\"}, {L"\\\\?\\UNC\\srv\\share\\a", L"\\\\srv\\share\\"},
        {L"\\\\srv\\share", L"\\\\srv\\share"}, {L"\\\\", L""}};
    for (const auto& [in, out] : roots) EXPECT_EQ(tv::VolumeRootOf(in), out) << Narrow(in);
}

TEST(PathText, PartsOfAPath) {
    // ParentFolder | FolderOf | FileNameOf | AddBackslash; a final "\" is ignored by ParentFolder only.
    const std::pair<std::wstring, std::wstring> parts[] = {
        {L"C:\\a\\b\\", L"C:\\a|C:\\a\\b||C:\\a\\b\\"}, {L"C:\\a\\b", L"C:\\a|C:\\a|b|C:\\a\\b\\"},
        {L"name", L"name||name|name\\"}, {L"", L"|||"}};
    for (const auto& [p, out] : parts)
        EXPECT_EQ(tv::ParentFolder(p) + L"|" + tv::FolderOf(p) + L"|" + tv::FileNameOf(p) + L"|" + tv::AddBackslash(p),
                  out) << Narrow(p);
    const std::tuple<const wchar_t*, const wchar_t*, bool> below[] = {
        {L"C:\\A\\b", L"c:\\a", true}, {L"C:\\a", L"C:\\a", true},
        {L"C:\\ab", L"C:\\a", false}, {L"C:", L"C:\\a", false}};
    for (const auto& [path, folder, result] : below) EXPECT_EQ(tv::IsSameOrBelow(path, folder), result) << Narrow(path);
}

TEST_F(Files, ExistenceNeverSearchesTheCurrentFolder) {
    wchar_t previous[MAX_PATH];
    ::GetCurrentDirectoryW(MAX_PATH, previous);
    ASSERT_TRUE(::SetCurrentDirectoryW(mRoot.c_str()));
    WriteFile(L"setup.exe", "");
    WriteFile(mRoot + L"\\five.bin", "12345");
    struct Case { std::wstring path; bool exists; DWORD found, size; };
    const Case cases[] = {
        {L"setup.exe", false, ERROR_PATH_NOT_FOUND, 0}, {L"", false, ERROR_INVALID_PARAMETER, 0},
        {mRoot + L"\\five.bin", true, 0, 5}, {mRoot + L"\\none\\five.bin", false, ERROR_PATH_NOT_FOUND, 0},
        {mRoot + L"\\f*.b?n", true, 0, 5}, {mRoot + L"\\none.bin", false, ERROR_FILE_NOT_FOUND, 0},
    };
    for (const Case& c : cases) {
        tv::FoundFile found;
        EXPECT_EQ(tv::FileExists(c.path), c.exists) << Narrow(c.path);
        EXPECT_EQ(tv::FileExistsByFind(c.path, &found), c.found) << Narrow(c.path);
        EXPECT_EQ(found.size, c.size) << Narrow(c.path);
    }
    ::SetCurrentDirectoryW(previous);
    EXPECT_EQ(tv::NearestExistingFolder(mRoot + L"\\no\\such/file.txt"), mRoot);
}

TEST_F(Files, FolderChain) {
    const std::wstring deep = mRoot + L"\\" + std::wstring(200, L'd') + L"\\" + std::wstring(100, L'e');
    struct Case { std::wstring path; DWORD result; std::vector<std::wstring> made, absent; };
    const Case cases[] = {
        {mRoot + L"\\a\\b\\file.txt", 0, {mRoot + L"\\a", mRoot + L"\\a\\b"}, {mRoot + L"\\a\\b\\file.txt"}},
        {mRoot + L"\\a\\b", 0, {mRoot + L"\\a\\b"}, {}},  // there already
        // The folder reached last before the bad name goes again; the one before stays.
        {mRoot + L"\\c\\d\\bad|name\\e\\f.txt", ERROR_INVALID_NAME, {mRoot + L"\\c"}, {mRoot + L"\\c\\d"}},
        {deep + L"\\dot.\\f.txt", 0, {deep + L"\\dot."}, {deep + L"\\dot"}},  // long in normal form: goes out prefixed
        // The prefix goes back onto the root: "dot." is made as it stands.
        {Literal(mRoot + L"\\dot.\\f.txt"), 0, {mRoot + L"\\dot."}, {mRoot + L"\\dot"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.path.substr(0, 80)));
        EXPECT_EQ(tv::CreateFolderChain(c.path), c.result);
        for (const auto& folder : c.made) EXPECT_TRUE(IsFolder(folder)) << Narrow(folder);
        for (const auto& folder : c.absent) EXPECT_FALSE(IsFolder(folder)) << Narrow(folder);
    }
}

TEST_F(Files, RemoveDirectoryPrefixesFrom260OnAndLogsFailures) {
    // Unprefixed, the system drops the final dot and misses the folder.
    for (const auto& [length, removed] : {std::pair<size_t, bool>{259, false}, {260, true}, {300, true}}) {
        std::wstring folder = mRoot;
        while (length - folder.size() > 20) folder += L"\\ddddddddd";
        folder += L"\\" + std::wstring(length - folder.size() - 2, L'e') + L".";
        ASSERT_EQ(tv::CreateFolderChain(Literal(folder + L"\\")), 0u);
        EXPECT_EQ(tv::RemoveDirectoryLong(folder), removed) << length;
        EXPECT_EQ(IsFolder(folder), !removed) << length;
    }
    DebugLogSwitch atom;
    Open();
    tv::DebugLog::Instance().Init(mSession, L"TV_Test");
    WriteFile(mRoot + L"\\keep.txt", "x");
    EXPECT_FALSE(tv::RemoveDirectoryLong(mRoot));
    const auto lines = mMessages.LogLines();
    ASSERT_EQ(lines.size(), 1u);
    // The system's text follows, without its line break.
    const std::wstring start = L"TV_Test: Failed to delete directory: " + mRoot + L" LastError= 145-";
    EXPECT_EQ(lines[0].rfind(start, 0), 0u) << Narrow(lines[0]);
    EXPECT_TRUE(lines[0].size() > start.size() && lines[0].find_first_of(L"\r\n") == std::wstring::npos)
        << Narrow(lines[0]);
}

TEST_F(Files, FreeSpaceAndTempFolders) {
    for (const std::wstring& path : {mRoot + L"\\any\\file", Literal(mRoot), std::wstring(L"Q:\\no\\drive")}) {
        unsigned long long bytes = 12345;
        const std::wstring text = tv::GetFreeSpace(path, bytes);
        EXPECT_EQ(text, std::to_wstring(bytes / 1024)) << Narrow(path);
        EXPECT_EQ(bytes > 0, path[0] != L'Q') << Narrow(path);
    }
    // Outside LocalSystem all three are the user's, in normal form.
    wchar_t temp[MAX_PATH];
    const std::wstring userTemp = tv::NormalizePath(std::wstring(temp, ::GetTempPathW(MAX_PATH, temp)));
    const tv::TempFolders& folders = tv::GetTempFolders();
    for (const auto* text : {&folders.userTemp, &folders.systemTemp, &folders.workTemp}) EXPECT_EQ(*text, userTemp);
}
