// The exports called as the installer calls them: through the loaded DLL
// with a real session.
#include <string>
#include <vector>
#include "Harness.h"

using namespace tvtest;

namespace {

constexpr UINT kProbeTypes[] = {0x4200000, 0x4300000, 0x4400000, 0x4500000};

class EntryPoints : public SessionTest {
protected:
    size_t ProbeCount() const {
        size_t count = 0;
        for (UINT type : kProbeTypes) count += mMessages.OfType(type).size();
        return count;
    }
    DebugLogSwitch mLog;
};

}  // namespace

TEST_F(EntryPoints, EachFramedExportLogsUnderItsNameAndReturnsItsResult) {
    struct Case {
        const char* exportName;
        const wchar_t* logName;
        bool logs;  // whether its work reads a table yet
    };
    const Case cases[] = {
        {"DoAppSearchEx", L"TV_AppSearchEx", true},
        {"InstallPrePrereq", L"TV_InstallPrereq", true},
        {"VerifyPrePrereq", L"TV_VerifyPrePrereq", true},
        {"DownloadPrereq", L"TV_DownloadPrereq", true},
        {"ExtractPrereq", L"TV_ExtractPrereq", true},
        {"InstallPrereq", L"TV_InstallPrereq", true},
        {"VerifyPrereq", L"TV_VerifyPrereq", true},
        {"InstallPostPrereq", L"TV_InstallPostPrereq", true},
        {"RollbackPrePrereq", L"TV_RollbackPrePrereq", true},
        {"RollbackPrereq", L"TV_RollbackPrereq", true},
        {"CleanPrereq", L"TV_CleanPrereq", false},
        {"ConfigurePrereqLauncher", L"TV_ConfigurePrereqLauncher", true},
    };
    Open();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.exportName);
        mMessages.Clear();
        EXPECT_EQ(Call(c.exportName), 0u);
        const auto lines = mMessages.LogLines();
        EXPECT_EQ(!lines.empty(), c.logs);
        const std::wstring prefix = std::wstring(c.logName) + L": ";
        for (const auto& line : lines) EXPECT_EQ(line.rfind(prefix, 0), 0u) << Narrow(line);
    }
}

TEST_F(EntryPoints, DownloadAndExtractStepAsideOnlyInParallelMode) {
    // Wine's MsiProcessMessage answers 0 to the probe types whatever the
    // handler says, so the packed value is never 0 here and a true
    // condition always means the parallel route.
    struct Case {
        const wchar_t* property;
        bool parallel;
    };
    const Case cases[] = {
        {L"", false},
        {L"1", true},
        {L"0", false},
        {L"Installed", false},  // evaluated as a condition, not tested for presence
        {L"SOMEFLAG", true},
        {L"NOSUCHPROPERTY", false},
        {L"((", false},  // a condition error is not true
    };
    Open();
    SetProperty(L"SOMEFLAG", L"yes");
    for (const Case& c : cases) {
        for (const char* exportName : {"DownloadPrereq", "ExtractPrereq"}) {
            SCOPED_TRACE(Narrow(c.property) + " " + exportName);
            SetProperty(L"TV_PARALLEL_DOWNLOAD", c.property);
            mMessages.Clear();
            EXPECT_EQ(Call(exportName), 0u);
            EXPECT_EQ(ProbeCount(), 4u);
            EXPECT_EQ(mMessages.LogLines().empty(), c.parallel);
        }
    }
}

TEST_F(EntryPoints, ProbeSendsFourOneFieldRecordsInOrder) {
    Open();
    mMessages.Answer(0x4300000, {7});
    Call("InstallPrereq");
    std::vector<UINT> types;
    for (const auto& message : mMessages.Messages()) {
        if ((message.type & 0x00F00000) == 0) continue;
        types.push_back(message.type);
        ASSERT_EQ(message.fields.size(), 2u);  // template and field 1
        EXPECT_EQ(message.Field(1), L"0");
    }
    EXPECT_EQ(types, std::vector<UINT>(std::begin(kProbeTypes), std::end(kProbeTypes)));
}

TEST_F(EntryPoints, ExtractSourceFilesHasNoFrame) {
    struct Case {
        const wchar_t* lzma;
        const wchar_t* addLocal;
        const wchar_t* setupExe;
    };
    const Case cases[] = {
        {L"true", L"", L""},
        {L"true", L"ALL", L""},
        {L"", L"", L"C:\\setup.exe"},
    };
    Open();
    for (const Case& c : cases) {
        SetProperty(L"TV_DOWNLOAD_LZMA", c.lzma);
        SetProperty(L"ADDLOCAL", c.addLocal);
        SetProperty(L"TV_SETUPEXEPATH", c.setupExe);
        mMessages.Clear();
        EXPECT_EQ(Call("ExtractSourceFiles"), 0u);
        EXPECT_TRUE(mMessages.LogLines().empty());
    }
}
