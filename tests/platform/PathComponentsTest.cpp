// Whether a path lies below a folder, decided by whole names after "." and
// ".." are applied: the test that stands between a public property and a
// deleted file.
#include <gtest/gtest.h>
#include "platform/PathComponents.h"

namespace {

struct BelowCase {
    const wchar_t* path;
    const wchar_t* folder;
    bool below;
};

TEST(PathComponents, BelowByWholeNamesAfterDotsAreApplied) {
    const BelowCase cases[] = {
        {L"C:\\t\\a\\x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\a\\b\\c\\x.exe", L"C:\\t\\a\\", true},
        {L"C:\\t\\ab\\x.exe", L"C:\\t\\a", false},           // a longer name, not a folder below
        {L"C:\\t\\a\\..\\x.exe", L"C:\\t\\a", false},        // climbs out
        {L"C:\\t\\a\\..\\a\\x.exe", L"C:\\t\\a", true},      // and back in
        {L"C:\\t\\a\\b\\..\\x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\a\\.\\.\\x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\a\\..\\..\\..\\..\\x.exe", L"C:\\t\\a", false},  // above the root
        {L"C:\\T\\A\\X.EXE", L"c:\\t\\a", true},
        {L"C:/t/a/x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\\\a\\\\x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\a", L"C:\\t\\a", false},                   // the folder itself
        {L"C:\\t\\a\\", L"C:\\t\\a", false},
        {L"C:\\t\\a\\b\\..", L"C:\\t\\a", false},
        {L"C:\\t\\x.exe", L"C:\\t\\a", false},
        {L"D:\\t\\a\\x.exe", L"C:\\t\\a", false},
        {L"\\\\?\\C:\\t\\a\\x.exe", L"C:\\t\\a", true},
        {L"C:\\t\\a\\x.exe", L"\\\\?\\C:\\t\\a", true},
        {L"\\\\?\\C:\\t\\a\\..\\x.exe", L"C:\\t\\a", false},
        {L"\\\\?\\UNC\\srv\\share\\a\\x.exe", L"\\\\SRV\\Share\\a", true},
        {L"\\\\srv\\share\\ab\\x.exe", L"\\\\srv\\share\\a", false},
        {L"\\\\srv\\other\\a\\x.exe", L"\\\\srv\\share\\a", false},
        {L"\\\\srv\\share\\a\\x.exe", L"C:\\t\\a", false},
        {L"C:\\x.exe", L"C:\\", true},
        // Forms the system reads otherwise than their text: never below.
        {L"t\\a\\x.exe", L"t\\a", false},
        {L"\\t\\a\\x.exe", L"\\t\\a", false},
        {L"C:t\\a\\x.exe", L"C:\\t\\a", false},
        {L"\\\\.\\C:\\t\\a\\x.exe", L"\\\\.\\C:\\t\\a", false},
        {L"C:\\t\\a.\\x.exe", L"C:\\t\\a.", false},
        {L"C:\\t\\a\\x.exe ", L"C:\\t\\a", false},
        {L"C:\\t\\a\\.. \\x.exe", L"C:\\t\\a", false},
        {L"C:\\t\\a\\*.exe", L"C:\\t\\a", false},
        {L"", L"C:\\t\\a", false},
        {L"C:\\t\\a\\x.exe", L"", false},
    };
    for (const BelowCase& c : cases) {
        const auto path = tv::SplitPathComponents(c.path);
        const auto folder = tv::SplitPathComponents(c.folder);
        const bool below = path && folder && tv::IsStrictlyBelow(*path, *folder);
        EXPECT_EQ(below, c.below) << testing::PrintToString(std::wstring(c.path)) << " in "
                                  << testing::PrintToString(std::wstring(c.folder));
    }
}

}  // namespace
