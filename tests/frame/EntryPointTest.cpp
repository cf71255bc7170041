// The exports called as the installer calls them: through the loaded DLL
// with a real session. The frame and the packing of the probe's answers are
// driven from the library itself.
#include <stdexcept>
#include "Harness.h"
#include "frame/EntryFrame.h"
#include "frame/ParallelInstall.h"

using namespace tvtest;

namespace {

const std::vector<UINT> kProbeTypes = {0x4200000, 0x4300000, 0x4400000, 0x4500000};

class EntryPoints : public SessionTest {
protected:
    // The types of the probe messages so far, in order; 0 for one that is not
    // the template and the one field 1 = 0.
    std::vector<UINT> Probes() const {
        std::vector<UINT> types;
        for (const auto& m : mMessages.Messages())
            if (m.type & 0x00F00000) types.push_back(m.fields.size() == 2 && m.Field(1) == L"0" ? m.type : 0);
        return types;
    }
    DebugLogSwitch mLog;
};

}  // namespace

TEST_F(EntryPoints, EachFramedExportLogsUnderItsNameAndReturnsItsResult) {
    // logName null: its work logs nothing yet; probes: it asks the host's handler.
    struct Case { const char* exportName; const wchar_t* logName; bool probes; };
    const Case cases[] = {
        {"DoAppSearchEx", L"TV_AppSearchEx", false},         {"VerifyPrePrereq", L"TV_VerifyPrePrereq", false},
        {"InstallPrePrereq", L"TV_InstallPrereq", false},    // the name InstallPrereq tells too
        {"DownloadPrereq", L"TV_DownloadPrereq", true},      {"ExtractPrereq", L"TV_ExtractPrereq", true},
        {"InstallPrereq", L"TV_InstallPrereq", true},        // sequential, probing all the same
        {"VerifyPrereq", L"TV_VerifyPrereq", false},         {"InstallPostPrereq", L"TV_InstallPostPrereq", false},
        {"RollbackPrePrereq", L"TV_RollbackPrePrereq", false}, {"RollbackPrereq", L"TV_RollbackPrereq", false},
        {"CleanPrereq", L"TV_CleanPrereq", false}, {"ConfigurePrereqLauncher", L"TV_ConfigurePrereqLauncher", false},
    };
    Open();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.exportName);
        mMessages.Clear();
        EXPECT_EQ(Call(c.exportName), 0u);
        const auto lines = mMessages.LogLines();
        EXPECT_EQ(!lines.empty(), c.logName != nullptr);
        const std::wstring prefix = c.logName ? c.logName + std::wstring(L": ") : L"";
        for (const auto& line : lines) EXPECT_EQ(line.rfind(prefix, 0), 0u) << Narrow(line);
        EXPECT_EQ(Probes(), c.probes ? kProbeTypes : std::vector<UINT>{});
    }
}

TEST_F(EntryPoints, DownloadAndExtractStepAsideOnlyInParallelMode) {
    // The handler answers 0 to the probe, so the packed value is not 0 and a
    // true condition means the parallel route. (Wine's MsiProcessMessage
    // answers 0 to these types whatever the handler says.)
    // "Installed" is evaluated as a condition, not tested for presence; a condition error is not true.
    const std::pair<const wchar_t*, bool> cases[] = {
        {L"", false}, {L"1", true}, {L"SOMEFLAG", true}, {L"Installed", false}, {L"((", false}};
    Open();
    for (UINT type : kProbeTypes) mMessages.Answer(type, std::vector<int>(2 * std::size(cases), 0));
    SetProperty(L"SOMEFLAG", L"yes");
    for (const auto& [property, parallel] : cases) {
        for (const char* exportName : {"DownloadPrereq", "ExtractPrereq"}) {
            SCOPED_TRACE(Narrow(property) + " " + exportName);
            SetProperty(L"TV_PARALLEL_DOWNLOAD", property);
            mMessages.Clear();
            EXPECT_EQ(Call(exportName), 0u);
            EXPECT_EQ(Probes(), kProbeTypes);
            EXPECT_EQ(mMessages.LogLines().empty(), parallel);
        }
    }
}

TEST(EntryFrame, AnExceptionBecomesAFailedAction) {
    EXPECT_EQ(tv::Guarded([]() -> UINT { throw std::runtime_error("boom"); }), 1603u);
    EXPECT_EQ(tv::Guarded([]() -> UINT { throw 42; }), 1603u);
    EXPECT_EQ(tv::Guarded([]() -> UINT { return 1602; }), 1602u);
}

// Under Wine every probe answer is 0, so the answers a real host can give are
// fed in directly: the first in the lowest byte, only the low byte counts.
TEST(ProbePacking, ZeroOnlyWhenEveryLowByteIsOne) {
    const std::pair<std::array<int, 4>, std::uint32_t> cases[] = {
        {{1, 1, 1, 1}, 0}, {{0, 1, 1, 1}, 0x00000001u}, {{1, 1, 1, 0}, 0x01000000u},
        {{0x101, 0x201, -255, 1}, 0}, {{2, 6, 7, -1}, 0xFE060703u},
    };
    for (const auto& [answers, packed] : cases) EXPECT_EQ(tv::PackProbeAnswers(answers), packed) << std::hex << packed;
}
