// What a prerequisite's command-line cell becomes: program and arguments.
#include <stdexcept>
#include "Harness.h"
#include "frame/DebugLog.h"
#include "frame/ScopeGuard.h"
#include "install/PrereqCommand.h"

using namespace tvtest;
using Tokens = std::vector<std::wstring>;

TEST(CmdLine, SplitAndJoinArguments) {
    const std::pair<const wchar_t*, Tokens> cases[] = {
        {L"  a  b ", {L"a", L"b"}}, {L"   ", {}}, {L"KEY=\"a b\" /q", {L"KEY=a b", L"/q"}},
        {L"\"a \"\"x\"\" b\"", {L"a \"x\" b"}}, {L"a\tb c", {L"a\tb", L"c"}}, {L"/qb \"unterminated x", {L"/qb"}},
        {L"x \"a\"b y", {L"x"}},        // a closing quote must end the token
        {L"x \"a\"\"", {L"x"}},         // an escaped pair is no closing quote
        {L"\"C:\\a b\\\\\" z\\\\", {L"C:\\a b\\", L"z\\"}},
        {L"PROP=\"\" a \"\" b", {L"PROP=", L"a", L"", L"b"}},
    };
    for (const auto& [text, tokens] : cases) EXPECT_EQ(tv::SplitArguments(text), tokens) << Narrow(text);
    const std::pair<Tokens, const wchar_t*> joins[] = {
        {{L"KEY=a b", L"K=v", L"PROP="}, L"KEY=\"a b\" K=v PROP=\"\""},
        {{L"K=say \"hi\""}, L"K=\"say \"\"hi\"\"\""},
        {{L"C:\\a b\\", L"C:\\a b", L"\"C:\\a b\""}, L"\"C:\\a b\\\\\" \"C:\\a b\" \"C:\\a b\""},
        {{L"a b=c", L"=x y"}, L"\"a b=c\" \"=x y\""}, {{L"/i", L"", L"/qn"}, L"/i"}, {{}, L""},
    };
    for (const auto& [tokens, text] : joins) EXPECT_EQ(tv::JoinArguments(tokens), text) << Narrow(text);
}

TEST(CmdLine, ProcessCmdLine) {
    const std::wstring msiexec = tv::GetMsiexecPath();
    ASSERT_TRUE(msiexec.ends_with(L"\\system32\\msiexec.exe")) << Narrow(msiexec);
    const TempFile program(L" run.exe");  // a path with a blank
    ::CloseHandle(::CreateFileW(program.path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    const std::wstring run = program.path, none = TestPackage::TempPath(L" none.exe");
    const std::wstring guid = L"{12345678-1234-1234-1234-12345678ABCD}";
    struct Case { std::wstring file, raw, app, args; };
    const Case cases[] = {
        {L"C:\\a\\setup.exe", L"/quiet \"x y\"", L"C:\\a\\setup.exe", L"/quiet \"x y\""},
        {L"C:\\a\\setup.exe", L"\"" + run + L"\" /s", run, L"/s"},
        {L"C:\\a\\p.msi", L"\"" + run + L"\"  /s /q", run, L" /s /q"},
        {L"C:\\a\\p.msi", msiexec + L" /x " + guid + L" /qn", msiexec, L"/x " + guid + L" /qn"},
        {L"C:\\a\\setup.exe", L"\"" + none + L"\" /s", L"C:\\a\\setup.exe", L"\"" + none + L"\" /s"},
        {L"C:\\a\\setup.exe", L"msiexec.exe /x " + guid, L"C:\\a\\setup.exe", L"msiexec.exe /x " + guid},
        {L"", L"/quiet", L"", L"/quiet"},
        {L"C:\\a\\p.msi", L"TRANSFORMS=x.mst /qb", msiexec, L"/i C:\\a\\p.msi TRANSFORMS=x.mst /qb"},
        {L"C:\\a b\\p.msi", L"/qb", msiexec, L"/i \"C:\\a b\\p.msi\" /qb"},
        {L"C:\\a b\\p.msi", L"/x", msiexec, L"/x"},
        {L"C:\\a\\p.MSI", L"/qb", L"C:\\a\\p.MSI", L"/qb"},
        {L"C:\\a\\p.msi", L"/i PROP=\"\"", msiexec, L"/i C:\\a\\p.msi PROP=\"\""},
        {L"C:\\a\\p.msi", L"/qb \"unterminated", msiexec, L"/i C:\\a\\p.msi /qb"},
        {L"C:\\a\\p.msi", L"/x " + guid + L" /qn", msiexec, L"/x " + guid + L" /qn"},
        {L"C:\\a\\p.msi", L"/x {1234-not-a-guid} /qn", msiexec, L"/x C:\\a\\p.msi {1234-not-a-guid} /qn"},
        {L"C:\\a\\p.msi", L"/x /qn \"\" /l*v x.log", msiexec, L"/x C:\\a\\p.msi /qn"},
        {L"C:\\a\\p.msi", L"/forcerestart /qn", msiexec, L"/forcerestart C:\\a\\p.msi /qn"},
        {L"C:\\a\\p.msi", L"", L"C:\\a\\p.msi", L""},
        {L"C:\\a\\p.msi", L"   ", L"C:\\a\\p.msi", L""},  // blanks only: as an empty cell
        {L"C:\\a\\p.msi", L"\"unterminated /qn", msiexec, L"/i"},  // nothing usable: msiexec fails visibly
    };
    for (const Case& c : cases) {
        tv::PrereqCommand command(c.file, c.raw);
        EXPECT_EQ(command.mApplicationPath, c.app) << Narrow(c.file + L" | " + c.raw);
        EXPECT_EQ(command.mProcessedCmdLine, c.args) << Narrow(c.file + L" | " + c.raw);
    }
}

class CmdLineLog : public SessionTest {};

TEST_F(CmdLineLog, StartEndAndResultLines) {
    DebugLogSwitch atom;
    tv::DebugLog::Instance().Init(Open(), L"TV_Test");
    tv::PrereqCommand command(L"C:\\a\\p.msi", L"/qb");
    { tv::ScopeGuard guard([] { throw std::runtime_error("END failed"); }); }
    Tokens expected = {L"START ProcessCmdLine", L"START ProcessFullCmdLine", L"mRawCmdLine=/qb", L"cmdArguments=",
                       L"commandLine=/qb", L"Application path is invalid: /qb", L"END ProcessFullCmdLine",
                       L"mProcessedCmdLine=/i C:\\a\\p.msi /qb", L"mApplicationPath=" + tv::GetMsiexecPath(),
                       L"END ProcessCmdLine", L"ScopeGuard cleanup threw an exception!"};
    for (auto& line : expected) line = L"TV_Test: " + line;
    EXPECT_EQ(mMessages.LogLines(), expected);
    tv::DebugLog::Instance().Init(0, L"");
}
