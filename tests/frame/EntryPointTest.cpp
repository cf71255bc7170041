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
    // The handler answers 0 to the probe, so the packed value is not 0 and a
    // true condition means the parallel route. (Wine's MsiProcessMessage
    // answers 0 to these types whatever the handler says.)
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
    for (UINT type : kProbeTypes) mMessages.Answer(type, std::vector<int>(14, 0));
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
