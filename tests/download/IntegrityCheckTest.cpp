// A prerequisite's file against its ExactSize and MD5 cells, through a real
// session with the diagnostic log on and off.
#include <fstream>
#include "Harness.h"
#include "download/IntegrityCheck.h"
#include "frame/DebugLog.h"

using namespace tvtest;
using Lines = std::vector<std::wstring>;

namespace {

const wchar_t* const kAbc = L"900150983cd24fb0d6963f7d28e17f72";  // MD5 of "abc"
const wchar_t* const kStarted = L"TV_Verify: Integrity check started. Prereq: Tool";
const wchar_t* const kPassed = L"TV_Verify: Integrity check passed.";

std::wstring Md5Failed(const std::wstring& cell) {
    return L"TV_Verify: FAILED md5 verification. Specified md5: [ " + cell + L" ].";
}

class Integrity : public SessionTest {};

}  // namespace

TEST_F(Integrity, VerifyPrereqFileBySizeAndDigest) {
    struct Case {
        const char* content;  // null: no file
        const wchar_t* exactSize;
        std::wstring md5;
        bool passes;
        Lines lines;  // after the line that opens the check
    };
    const Case cases[] = {
        {"abc", L"", L"", true, {}},
        {nullptr, L"", L"", true, {}},
        {"abc", L"0", kAbc, true, {kPassed}},
        {"abc", L"3", kAbc, true, {kPassed}},
        {"abc", L"3", L"900150983CD24FB0D6963F7D28E17F72", true, {kPassed}},
        {"abc", L"3", std::wstring(kAbc) + L" and more", true, {kPassed}},
        {"abc", L"3", L"0cc175b9c0f1b6a831c399e269772661", false, {Md5Failed(L"0cc175b9c0f1b6a831c399e269772661")}},
        {"abc", L"3", L" " + std::wstring(kAbc), false, {Md5Failed(L" " + std::wstring(kAbc))}},
        {"abc", L"", std::wstring(kAbc, 31), false, {Md5Failed(std::wstring(kAbc, 31))}},
        {"abc", L"4", kAbc, false, {L"TV_Verify: FAILED size verification. Specified size: [ 4 ]. Downloaded size: [ 3 ]."}},
        {"abc", L"4294967299", kAbc,
         false, {L"TV_Verify: FAILED size verification. Specified size: [ 4294967299 ]. Downloaded size: [ 3 ]."}},
        {nullptr, L"3", L"", false, {L"TV_Verify: FAILED size verification. Specified size: [ 3 ]. Downloaded size: [ 0 ]."}},
        {"", L"0", L"d41d8cd98f00b204e9800998ecf8427e", false, {Md5Failed(L"d41d8cd98f00b204e9800998ecf8427e")}},
        {nullptr, L"", kAbc, false, {Md5Failed(kAbc)}},
    };
    const std::wstring folder = TestPackage::TempPath(L"-verify");
    ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr));
    Open();
    SetProperty(L"TV_SETUPEXEPATH", folder + L"\\setup.exe");
    const tv::Prerequisite base = {{L"DisplayName", L"Tool"}, {L"Location", L"0"}, {L"TargetName", L"tool.exe"}};
    const std::wstring path = folder + L"\\tool.exe";

    for (bool logOn : {true, false}) {
        std::unique_ptr<DebugLogSwitch> atom(logOn ? new DebugLogSwitch : nullptr);
        tv::DebugLog::Instance().Init(mSession, L"TV_Verify");
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.content ? c.content : "(no file)") + " size " + Narrow(c.exactSize) + " md5 " +
                         Narrow(c.md5) + (logOn ? " log" : ""));
            ::DeleteFileW(path.c_str());
            if (c.content) std::ofstream(Narrow(path), std::ios::binary) << c.content;
            tv::Prerequisite row = base;
            row[L"ExactSize"] = c.exactSize;
            row[L"MD5"] = c.md5;
            mMessages.Clear();
            EXPECT_EQ(tv::VerifyPrereqFile(mSession, row), c.passes);
            Lines expected;
            if (logOn) {
                expected.push_back(kStarted);
                expected.insert(expected.end(), c.lines.begin(), c.lines.end());
            }
            EXPECT_EQ(mMessages.LogLines(), expected);
        }
    }
    ::DeleteFileW(path.c_str());
    ::RemoveDirectoryW(folder.c_str());
}
