// Builds the package of the resume test: the custom-action DLL, two
// prerequisites run by fakesetup.exe beside the package, the first asking for
// a restart, the second needing the first in place (found by the search at
// the start of an installation), so that only a run after the restart
// installs it. RESTART_STANDIN=1 ends the sequence after InstallPrereq, where
// the restart would end the process.
//   makeresume <package.msi> <tvprereq.dll>
#include <windows.h>
#include <cstdio>
#include <fstream>
#include <iterator>
#include "TestPackage.h"

using namespace tvtest;

namespace {

void AddPrereq(TestPackage& package, const std::wstring& key, const wchar_t* options, int sequence,
               const wchar_t* installCondition) {
    package.Prereq({{L"PrereqKey", key},
                    {L"DisplayName", key + L" prerequisite"},
                    {L"Location", 0},
                    {L"TargetName", L"fakesetup.exe"},
                    {L"Options", options},
                    {L"Feature_", L"Main"},
                    {L"Sequence", sequence},
                    {L"InstallCondition", installCondition},
                    // Missing until the search finds it, or until its setup reported success.
                    {L"MissingCondition", L"NOT " + key + L"_FOUND AND " + key + L"_EXIT <> \"0\""},
                    {L"ComLine", L"/regvalue:Software\\TvResume\\" + key + L"=1 /record:\"[SourceDir]resume-setup.txt\" /exit:0 " + key},
                    {L"RetValPropName", key + L"_EXIT"}});
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        std::fwprintf(stderr, L"usage: makeresume <package.msi> <tvprereq.dll>\n");
        return 2;
    }
    std::ifstream in(Narrow(argv[2]), std::ios::binary);
    Stream dll{std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {})};
    if (dll.bytes.empty()) {
        std::fwprintf(stderr, L"cannot read %ls\n", argv[2]);
        return 1;
    }
    try {
        TestPackage package;
        package.Row(L"Binary", {L"TvPrereq", dll});
        package.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
        package.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        package.Row(L"ActionText", {L"TV_InstallPrerequisite", L"Installing prerequisites", L"[1]"});
        package.Table(L"TV_AppSearchEx");
        for (int number : {4153, 4154, 4155, 4156}) package.Row(L"Error", {number, L"[2] is missing."});
        package.Row(L"Error", {1702, L"[2] asks for a restart. Restart now?"});

        package.TableSql(L"CREATE TABLE `AppSearch` (`Property` CHAR(72) NOT NULL, `Signature_` CHAR(72) NOT NULL "
                         L"PRIMARY KEY `Property`, `Signature_`)");
        package.TableSql(L"CREATE TABLE `RegLocator` (`Signature_` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, "
                         L"`Key` CHAR(255) NOT NULL, `Name` CHAR(255), `Type` SHORT PRIMARY KEY `Signature_`)");
        for (const wchar_t* key : {L"First", L"Second"}) {
            package.Row(L"AppSearch", {std::wstring(key) + L"_FOUND", std::wstring(key) + L"Value"});
            package.Row(L"RegLocator", {std::wstring(key) + L"Value", 1, L"Software\\TvResume", key, 2});
        }
        package.Row(L"Directory", {L"TARGETDIR", Null{}, L"SourceDir"});
        package.Row(L"Feature", {L"Main", Null{}, L"Main", Null{}, 1, 1, Null{}, 0});
        package.Row(L"Component", {L"MainComponent", NewGuid(), L"TARGETDIR", 0, Null{}, Null{}});
        package.Row(L"FeatureComponents", {L"Main", L"MainComponent"});
        package.Table(L"TV_PreRequisite");
        AddPrereq(package, L"First", L"fr", 1, L"");
        AddPrereq(package, L"Second", L"f", 2, L"First_FOUND");

        int sequence = 400;
        for (const wchar_t* action : {L"AppSearch", L"CostInitialize", L"FileCost", L"ResolveSource", L"CostFinalize"})
            package.Row(L"InstallExecuteSequence", {action, Null{}, sequence += 100});
        for (const wchar_t* name : {L"DoAppSearchEx", L"InstallPrereq", L"VerifyPrereq", L"CleanPrereq"}) {
            const std::wstring action = std::wstring(L"TV_Resume_") + name;
            package.Row(L"CustomAction", {action, 1, L"TvPrereq", name});
            const bool beforeRestart = std::wstring(name) == L"DoAppSearchEx" || std::wstring(name) == L"InstallPrereq";
            package.Row(L"InstallExecuteSequence", {action, beforeRestart ? Value(Null{}) : Value(L"NOT RESTART_STANDIN"),
                                                    sequence += 100});
        }
        package.KeepFile();
        const std::wstring built = package.Build();
        if (!::MoveFileExW(built.c_str(), argv[1], MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)) {
            std::fwprintf(stderr, L"cannot write %ls\n", argv[1]);
            return 1;
        }
        std::wprintf(L"%ls\n", package.ProductCode().c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "makeresume: %s\n", e.what());
        return 1;
    }
    return 0;
}
