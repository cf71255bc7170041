// CleanPrereq through a real session: the files of TV_PREREQFILES and the
// folders made for them go, nothing at or above the stop folder does.
#include <set>
#include "Harness.h"

using namespace tvtest;
using Strings = std::vector<std::wstring>;

namespace {

// Every case starts from this tree below a scratch folder; the stop folder
// is "stop". The names of files list what they are for.
const Strings kTree = {
    L"stop\\deep\\er\\one.exe",     // alone in two folders made for it
    L"stop\\two.exe",               // beside the stop folder's other content
    L"stop\\shared\\three.exe",     // its folder holds a file not listed
    L"stop\\shared\\unlisted.txt",
    L"stop\\dir.exe\\inner.txt",    // a folder listed in place of a file
    L"stop\\Long\\five.exe",        // listed in long form, other case
    L"stopx\\four.exe",             // a folder whose name begins with "stop"
    L"outside.exe",                 // reached through "stop\..\"
};

struct CleanupCase {
    const wchar_t* name;
    std::wstring files;  // {S} stands for the scratch folder
    std::wstring stop;
    bool keep;
    Strings gone;  // what no longer exists; all else of the tree stays
};

class PrereqCleanupTest : public SessionTest {
protected:
    std::wstring Expand(std::wstring text) const {
        for (size_t at; (at = text.find(L"{S}")) != std::wstring::npos;) text.replace(at, 3, mScratch->path);
        return text;
    }
    void Run(const std::wstring& files, const std::wstring& stop, bool keep) {
        if (!mSession) Open();
        SetProperty(L"TV_PREREQFILES", Expand(files));
        SetProperty(L"TV_PREREQDIRS", Expand(stop));
        SetProperty(L"TV_KEEPPREREQFILES", keep ? L"1" : L"");
        EXPECT_EQ(Call("CleanPrereq"), 0u);
    }
    std::unique_ptr<ScratchFolder> mScratch;
};

}  // namespace

TEST_F(PrereqCleanupTest, RemovesOnlyBelowTheStopFolder) {
    const std::wstring all =
        L"\x0001{S}\\stop\\deep\\er\\one.exe\x0001\x0001{S}\\stop\\two.exe\x0001{S}\\stop\\gone.exe\x0001"
        L"{S}\\stop\\two.exe\x0001{S}\\stop\\shared\\three.exe\x0001{S}\\stop\\dir.exe\x0001"
        L"\\\\?\\{S}\\STOP\\long\\FIVE.EXE\x0001{S}\\stopx\\four.exe\x0001{S}\\stop\\..\\outside.exe\x0001";
    const Strings removed = {L"stop\\deep\\er\\one.exe", L"stop\\deep\\er", L"stop\\deep", L"stop\\two.exe",
                             L"stop\\shared\\three.exe", L"stop\\Long\\five.exe", L"stop\\Long"};
    const CleanupCase cases[] = {
        {L"stop folder as set", all, L"{S}\\stop", false, removed},
        {L"stop folder in other case, with a final backslash", all, L"{S}\\STOP\\", false, removed},
        {L"stop folder in long form", all, L"\\\\?\\{S}\\stop", false, removed},
        {L"deeper stop folder", all, L"{S}\\stop\\deep\\er", false, {L"stop\\deep\\er\\one.exe"}},
        {L"no stop folder", all, L"", false, {}},
        {L"relative stop folder", all, L"stop", false, {}},
        {L"files kept", all, L"{S}\\stop", true, {}},
        {L"nothing listed", L"", L"{S}\\stop", false, {}},
        {L"only separators", L"\x0001\x0001", L"{S}\\stop", false, {}},
        // The last file leaves the stop folder empty. Its folders are walked
        // in long form, where the stop folder's text is longer than the stop
        // as set: it stays all the same.
        {L"stop folder emptied", L"\\\\?\\{S}\\stop\\Long\\five.exe", L"{S}\\stop\\Long", false,
         {L"stop\\Long\\five.exe"}},
    };
    for (const CleanupCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
        mScratch = std::make_unique<ScratchFolder>(L"-clean");
        for (const std::wstring& file : kTree) mScratch->Make(file);
        Run(c.files, c.stop, c.keep);
        std::set<std::wstring> expectedGone(c.gone.begin(), c.gone.end());
        for (const std::wstring& file : kTree) {
            // Each file and each folder on its way stays unless listed as gone.
            for (size_t end = file.size(); end != std::wstring::npos && end > 0; end = file.rfind(L'\\', end - 1)) {
                const std::wstring part = file.substr(0, end);
                EXPECT_EQ(mScratch->Exists(part), !expectedGone.count(part)) << Narrow(part);
            }
        }
        EXPECT_TRUE(mScratch->Exists(L"stop\\dir.exe\\inner.txt"));
        mScratch.reset();
    }
}
