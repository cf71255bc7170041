// Path text helpers: no file system involved.
#include "Harness.h"
#include "platform/Files.h"

using namespace tvtest;

TEST(PathText, LongFormFromTheFolderLimitOnAndOnlyForAbsolutePaths) {
    const std::wstring pre = L"\\\\?\\", preUnc = L"\\\\?\\UNC\\", tail(300, L'x');
    const std::wstring drive247 = L"C:\\" + std::wstring(244, L'a');
    const std::pair<std::wstring, std::wstring> cases[] = {
        {drive247, drive247},
        {drive247 + L"b", pre + drive247 + L"b"},
        {L"C:\\" + tail, pre + L"C:\\" + tail},
        {tail, tail},                  // relative
        {L"\\" + tail, L"\\" + tail},  // rooted, no drive
        {L"\\\\srv\\share\\" + tail, preUnc + L"srv\\share\\" + tail},
        {preUnc + L"srv\\share\\" + tail, preUnc + L"srv\\share\\" + tail},
        {pre + L"C:\\" + tail, pre + L"C:\\" + tail},
        {pre + L"C:\\x", pre + L"C:\\x"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(tv::ToLongPath(in), out) << in.size() << " " << Narrow(in.substr(0, 12));
        EXPECT_EQ(tv::StripLongPrefix(tv::ToLongPath(in)), tv::StripLongPrefix(in));
    }
}

TEST(PathText, NormalForm) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"\\\\?\\UNC\\srv\\share\\\\a\\\\", L"\\\\srv\\share\\a"},
        {L"C:\\a\\\\b\\", L"C:\\a\\b"},
        {L"C:\\", L"C:"},
        {L"\\\\?\\C:\\A/b\\\\\\c", L"C:\\A/b\\c"},
        {L"\\a", L"a"},
        {L"\\\\\\\\srv\\x", L"\\\\srv\\x"},
        {L"\\\\\\", L""},
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(tv::NormalizePath(in), out) << Narrow(in);
}

TEST(PathText, VolumeRootEndsInABackslash) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"\\\\?\\D:\\a", L"D:\\"}, {L"\\\\?\\UNC\\srv\\share\\a", L"\\\\srv\\share\\"},
        {L"\\\\srv\\share", L"\\\\srv\\share"}, {L"\\\\", L""}};
    for (const auto& [in, out] : cases) EXPECT_EQ(tv::VolumeRootOf(in), out) << Narrow(in);
}

TEST(PathText, PartsOfAPath) {
    struct Case {
        const wchar_t *path, *parent, *folder, *name;
    };
    const Case cases[] = {
        {L"C:\\a\\b\\", L"C:\\a", L"C:\\a\\b", L""},  // a final "\" is ignored by ParentFolder only
        {L"C:\\a\\b", L"C:\\a", L"C:\\a", L"b"},
        {L"name", L"name", L"", L"name"},
        {L"", L"", L"", L""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tv::ParentFolder(c.path), c.parent) << Narrow(c.path);
        EXPECT_EQ(tv::FolderOf(c.path), c.folder) << Narrow(c.path);
        EXPECT_EQ(tv::FileNameOf(c.path), c.name) << Narrow(c.path);
    }
    EXPECT_EQ(tv::AddBackslash(L"C:\\a"), L"C:\\a\\");
    EXPECT_EQ(tv::AddBackslash(L"C:\\a\\"), L"C:\\a\\");
    EXPECT_EQ(tv::AddBackslash(L""), L"");
    EXPECT_TRUE(tv::IsSameOrBelow(L"C:\\A\\b", L"c:\\a"));
    EXPECT_TRUE(tv::IsSameOrBelow(L"C:\\a", L"C:\\a"));
    EXPECT_FALSE(tv::IsSameOrBelow(L"C:\\ab", L"C:\\a"));
    EXPECT_FALSE(tv::IsSameOrBelow(L"C:", L"C:\\a"));
}
