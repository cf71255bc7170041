// ConfigurePrereqLauncher through real sessions: the .ini file byte for
// byte, the launcher and its script out of the Binary table, and what is
// left undone without them.
#include "Harness.h"
#include <msiquery.h>
#include "install/PrereqCommand.h"

using namespace tvtest;
using Strings = std::vector<std::wstring>;

namespace {

const std::string kLauncherBytes = "MZ launcher";
const std::string kScriptBytes = "# deleter";

Stream BytesOf(const std::string& text) { return Stream{{text.begin(), text.end()}}; }

std::string Utf16WithBom(const std::wstring& text) {
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

class ChainerTest : public SessionTest {
protected:
    void SetUp() override {
        mScratch.Make(L"setup\\alpha.exe");
        mPackage.Row(L"Binary", {L"tvpackagechainer.exe", BytesOf(kLauncherBytes)});
        mPackage.Row(L"Binary", {L"file_deleter.ps1", BytesOf(kScriptBytes)});
    }
    // {S} the scratch folder, {P} the package's folder, {M} msiexec.
    std::wstring Expand(std::wstring text) const {
        const std::pair<const wchar_t*, std::wstring> marks[] = {
            {L"{S}", mScratch.path}, {L"{P}", PackageFolder()}, {L"{M}", tv::GetMsiexecPath()}};
        for (const auto& [mark, value] : marks)
            for (size_t at; (at = text.find(mark)) != std::wstring::npos;) text.replace(at, 3, value);
        return text;
    }
    std::wstring PackageFolder() const { return mPackage.Path().substr(0, mPackage.Path().rfind(L'\\')); }
    void OpenWithPrereqsDir() {
        Open();
        SetProperty(L"TV_PREREQS_DIR", mScratch.path + L"\\prereqs\\");
        SetProperty(L"TV_SETUPEXEPATH", mScratch.path + L"\\setup\\setup.exe");
    }
    // Lines that name a file the chain could not have.
    Strings NotFetched() const {
        const std::wstring mark = L"not fetched for the chain: [ ";
        Strings paths;
        for (const std::wstring& line : mMessages.LogLines())
            if (line.find(mark) != std::wstring::npos) paths.push_back(line.substr(line.find(mark) + mark.size()));
        return paths;
    }
    std::wstring Ini() const { return mScratch.path + L"\\prereqs\\tvpackagechainer.ini"; }

    ScratchFolder mScratch{L"-chain"};
};

}  // namespace

TEST_F(ChainerTest, IniFileForRowsOfDifferentOptionsAndUiLevels) {
    // Alpha: file beside the setup, silent. Hidden (k) and Excluded (w) stay
    // out without a gap in the numbers. Beta: downloaded, switch by UILevel.
    // Gamma: an .msi being removed, with upper-case letters. Delta: no file
    // of its own (Location 3), basic switch.
    const std::vector<std::map<std::wstring, Value>> rows = {
        {{L"PrereqKey", L"Alpha"}, {L"Location", 0}, {L"TargetName", L"alpha.exe"}, {L"Options", L"qm"},
         {L"NoUiComLine", L"/quiet"}, {L"BasicUiComLine", L"/passive"},
         {L"ComLine", L"/install [TV_PREREQ_UILEVEL_SWITCH]"}, {L"MissingCondition", L"1"}},
        {{L"PrereqKey", L"Hidden"}, {L"Location", 0}, {L"TargetName", L"hidden.exe"}, {L"Options", L"k"},
         {L"MissingCondition", L"1"}},
        {{L"PrereqKey", L"Beta"}, {L"Location", 1}, {L"SetupFileUrl", L"http://127.0.0.1:9/files/beta.exe"},
         {L"Options", L"n"}, {L"BasicUiComLine", L"/passive"}, {L"NoUiComLine", L"/silent"},
         {L"ComLine", L"[TV_PREREQ_UILEVEL_SWITCH] /norestart"}, {L"MissingCondition", L"1"}},
        {{L"PrereqKey", L"Excluded"}, {L"Location", 1}, {L"SetupFileUrl", L"http://127.0.0.1:9/x.exe"},
         {L"Options", L"yw"}, {L"MissingCondition", L"1"}},
        {{L"PrereqKey", L"Gamma"}, {L"Location", 0}, {L"TargetName", L"gamma.msi"}, {L"Options", L"-bQ"},
         {L"MissingCondition", L"0"}, {L"ComLine", L"/never"}, {L"BasicUiComLine", L"/qb"},
         {L"NoUiComLine", L"/qn"}, {L"UninstallComLine", L"/x [TV_PREREQ_UILEVEL_SWITCH]"}},
        {{L"PrereqKey", L"Delta"}, {L"Location", 3}, {L"Options", L"b"}, {L"BasicUiComLine", L"/basic"},
         {L"ComLine", L"/standalone"}, {L"MissingCondition", L"1"}},
    };
    int sequence = 0;
    for (auto row : rows) {
        row[L"Sequence"] = ++sequence;
        row[L"DisplayName"] = std::get<const wchar_t*>(row[L"PrereqKey"]);
        mPackage.Prereq(row);
    }
    DebugLogSwitch log;
    OpenWithPrereqsDir();
    SetProperty(L"Installed", L"1");
    for (const wchar_t* key : {L"Alpha", L"Hidden", L"Beta", L"Excluded", L"Gamma", L"Delta"}) SetProperty(key, L"1");

    struct Run {
        const wchar_t* uiLevel;
        const wchar_t* embedded;
        const wchar_t* files;
        const wchar_t* keep;
        const wchar_t* stop;  // TV_PREREQDIRS before the run
        std::wstring ini;
        Strings notFetched;
        std::wstring stopAfter;
    };
    const std::wstring chain = L"[PREREQUISITES]\r\nApp1=Alpha\r\nApp2=Beta\r\nApp3=Gamma\r\nApp4=Delta\r\n";
    const Run runs[] = {
        {L"2", L"", L"C:\\a.exe\x0001" L"C:\\b c.exe", L"", L"",
         L"[GeneralOptions]\r\nOptions=qh\r\nDownloadFolder={S}\\prereqs\\\r\nExtractionFolder={P}\\\r\n" + chain +
             L"[App1]\r\nSetupFile={S}\\setup\\alpha.exe\r\nCommandLine=/install /quiet\r\nOptions=qmi\r\n"
             L"[App2]\r\nSetupFile={S}\\prereqs\\Beta\\beta.exe\r\nCommandLine=/silent /norestart\r\nOptions=ni\r\n"
             L"[App3]\r\nSetupFile={M}\r\nCommandLine=/x {S}\\setup\\gamma.msi /qn\r\nOptions=-bQi\r\n"
             L"[App4]\r\nCommandLine=/standalone\r\nOptions=bi\r\n"
             // The download that failed noted its file all the same.
             L"[PREREQ_CHAINER]\r\nCleanupFiles=C:\\a.exe\x0001" L"C:\\b c.exe\x0001{S}\\prereqs\\Beta\\beta.exe\r\n"
             L"CleanupFolders={P}\r\n"
             L"CleanupScript={S}\\prereqs\\file_deleter.ps1\r\n",
         // Without an embedded location Gamma's file lies beside the setup
         // and isn't extracted; Alpha's is there.
         {L"{S}\\prereqs\\Beta\\beta.exe ]"}, L"{P}"},
        {L"3", L"1", L"C:\\a.exe", L"1", L"C:\\stop",
         L"[GeneralOptions]\r\nOptions=bh\r\nDownloadFolder={S}\\prereqs\\\r\nExtractionFolder={S}\\prereqs\\\r\n" +
             chain +
             L"[App1]\r\nSetupFile={S}\\prereqs\\alpha.exe\r\nCommandLine=/install /quiet\r\nOptions=qmi\r\n"
             L"[App2]\r\nSetupFile={S}\\prereqs\\Beta\\beta.exe\r\nCommandLine=/passive /norestart\r\nOptions=ni\r\n"
             L"[App3]\r\nSetupFile={M}\r\nCommandLine=/x {S}\\prereqs\\gamma.msi /qn\r\nOptions=-bQi\r\n"
             L"[App4]\r\nCommandLine=/standalone\r\nOptions=bi\r\n"
             L"[PREREQ_CHAINER]\r\nCleanupFolders=C:\\stop\r\nCleanupScript={S}\\prereqs\\file_deleter.ps1\r\n",
         {L"{S}\\prereqs\\alpha.exe ]", L"{S}\\prereqs\\gamma.msi ]", L"{S}\\prereqs\\Beta\\beta.exe ]"}, L"C:\\stop"},
    };
    for (const Run& run : runs) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(run.uiLevel)));
        mMessages.Clear();
        SetProperty(L"UILevel", run.uiLevel);
        SetProperty(L"TV_EMBEDDED_FILES_LOCATION", run.embedded);
        SetProperty(L"TV_PREREQFILES", run.files);
        SetProperty(L"TV_KEEPPREREQFILES", run.keep);
        SetProperty(L"TV_PREREQDIRS", run.stop);
        SetProperty(L"TV_PREREQ_CHAINER", L"");
        EXPECT_EQ(Call("ConfigurePrereqLauncher"), 0u);

        EXPECT_EQ(ReadBytes(Ini()), Utf16WithBom(Expand(run.ini)));
        Strings expected;
        for (const std::wstring& path : run.notFetched) expected.push_back(Expand(path));
        EXPECT_EQ(NotFetched(), expected);
        EXPECT_EQ(Property(L"TV_PREREQDIRS"), Expand(run.stopAfter));
        EXPECT_EQ(Property(L"TV_PREREQ_UILEVEL_SWITCH"), L"/basic");  // the last row's
        EXPECT_EQ(Property(L"TV_PREREQ_CHAINER"), mScratch.path + L"\\prereqs\\tvpackagechainer.exe");
        EXPECT_EQ(ReadBytes(Property(L"TV_PREREQ_CHAINER")), kLauncherBytes);
        EXPECT_EQ(ReadBytes(mScratch.path + L"\\prereqs\\file_deleter.ps1"), kScriptBytes);
    }
}

TEST(Chainer, WhatIsLeftOutWithoutLauncherScriptChainOrLimitedUi) {
    struct Case {
        const wchar_t* name;
        const wchar_t* uiLevel;
        bool launcherRow, scriptRow, chainRow;
        bool ini, script;  // the .ini file written; CleanupScript in it
    };
    const Case cases[] = {
        {L"all there", L"2", true, true, true, true, true},
        {L"no launcher", L"3", false, true, true, true, true},
        {L"no Binary table", L"2", false, false, true, true, false},
        {L"no chain", L"2", true, true, false, false, false},
        {L"full UI", L"5", true, true, true, false, false},
        {L"reduced UI", L"4", true, true, true, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
        ScratchFolder scratch(L"-chain");
        TestPackage package;
        MessageRecorder messages;
        if (c.launcherRow) package.Row(L"Binary", {L"tvpackagechainer.exe", BytesOf(kLauncherBytes)});
        if (c.scriptRow) package.Row(L"Binary", {L"file_deleter.ps1", BytesOf(kScriptBytes)});
        // Rows left out of the chain: k, w, Location 2.
        package.Prereq({{L"PrereqKey", L"K"}, {L"Location", 1}, {L"Options", L"k"}, {L"MissingCondition", L"1"}});
        package.Prereq({{L"PrereqKey", L"W"}, {L"Location", 1}, {L"Options", L"w"}, {L"MissingCondition", L"1"}});
        package.Prereq({{L"PrereqKey", L"L2"}, {L"Location", 2}, {L"ComLine", L"x"}, {L"MissingCondition", L"1"}});
        if (c.chainRow)
            package.Prereq({{L"PrereqKey", L"R"}, {L"DisplayName", L"R"}, {L"Location", 1}, {L"Options", L"q"},
                            {L"SetupFileUrl", L"http://127.0.0.1:9/r.exe"}, {L"MissingCondition", L"1"}});
        const MSIHANDLE session = package.OpenSession();
        for (const wchar_t* key : {L"K", L"W", L"L2", L"R"}) ::MsiSetPropertyW(session, key, L"1");
        ::MsiSetPropertyW(session, L"UILevel", c.uiLevel);
        ::MsiSetPropertyW(session, L"TV_PREREQS_DIR", (scratch.path + L"\\p").c_str());
        EXPECT_EQ(TvDll::Get().Call("ConfigurePrereqLauncher", session), 0u);

        const std::string ini = ReadBytes(scratch.path + L"\\p\\tvpackagechainer.ini");
        EXPECT_EQ(!ini.empty(), c.ini);
        const std::wstring scriptLine = L"CleanupScript=" + scratch.path + L"\\p\\file_deleter.ps1\r\n";
        EXPECT_EQ(ini.find(Utf16WithBom(scriptLine).substr(2)) != std::string::npos, c.script);
        const bool launcher = c.ini && c.launcherRow;
        EXPECT_EQ(scratch.Exists(L"p\\tvpackagechainer.exe"), launcher);
        wchar_t chainer[MAX_PATH] = {0};
        DWORD size = MAX_PATH;
        ::MsiGetPropertyW(session, L"TV_PREREQ_CHAINER", chainer, &size);
        EXPECT_EQ(chainer, launcher ? scratch.path + L"\\p\\tvpackagechainer.exe" : L"");
    }
}
