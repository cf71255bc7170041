// Builds the demo package: the custom-action DLL in its Binary table, one
// immediate custom action for each export in execute-sequence order, and
// two prerequisites, both played by fakesetup.exe:
//   PreDemo     installed before the others (letter y) on a command line of
//               its own (no file), detected by a TV_AppSearchEx registry
//               search that verification repeats, undone by rollback when
//               DEMO_ROLLBACK_PRE is set;
//   DemoPrereq  bound to the feature Main, extracted from the setup
//               executable (TV_SETUPEXEPATH) by ExtractPrereq, then
//               installed;
//   WebPrereq   bound to Main, downloaded by DownloadPrereq from a local
//               web server (port in DEMO_WEB_PORT), checked against the
//               size and MD5 of <websetup.exe>, then installed.
// CleanPrereq removes the extracted and downloaded files at the end.
//
// With --silent the package takes the route of an installation without a
// full user interface: no PreDemo, and instead of the install phases
// ConfigurePrereqLauncher writes the chain, extracts DemoPrereq and
// downloads WebPrereq, and the package starts the launcher it extracted.
// Both rows carry the letter n, so their command line takes NoUiComLine
// under /qn and BasicUiComLine under a basic UI; WebPrereq is mandatory
// and exits with DEMO_WEB_SETUP_EXIT (0 when unset).
//   makedemo <package.msi> <tvprereq.dll> <websetup.exe>
//            [--silent <tvpackagechainer.exe> <file_deleter.ps1>]
#include <windows.h>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include "TestPackage.h"
#include "download/Md5.h"

using namespace tvtest;

namespace {

Stream ReadStream(const wchar_t* path) {
    std::ifstream in(Narrow(path), std::ios::binary);
    return Stream{std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {})};
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const bool silent = argc == 7 && std::wstring(argv[4]) == L"--silent";
    if (argc != 4 && !silent) {
        std::fwprintf(stderr, L"usage: makedemo <package.msi> <tvprereq.dll> <websetup.exe> "
                              L"[--silent <tvpackagechainer.exe> <file_deleter.ps1>]\n");
        return 2;
    }
    std::wstring webMd5;
    WIN32_FILE_ATTRIBUTE_DATA webFile{};
    if (!tv::HashFileMd5(argv[3], webMd5) || !::GetFileAttributesExW(argv[3], GetFileExInfoStandard, &webFile)) {
        std::fwprintf(stderr, L"cannot read %ls\n", argv[3]);
        return 1;
    }
    const std::wstring webSize = std::to_wstring(webFile.nFileSizeLow);
    std::vector<Stream> binaries;
    for (int index : silent ? std::vector<int>{2, 5, 6} : std::vector<int>{2}) {
        binaries.push_back(ReadStream(argv[index]));
        if (binaries.back().bytes.empty()) {
            std::fwprintf(stderr, L"cannot read %ls\n", argv[index]);
            return 1;
        }
    }
    try {
        TestPackage package;
        package.Property(L"TV_DEMO", L"1");
        package.Row(L"Binary", {L"TvPrereq", binaries[0]});
        if (silent) {
            // The names ConfigurePrereqLauncher looks for.
            package.Row(L"Binary", {L"tvpackagechainer.exe", binaries[1]});
            package.Row(L"Binary", {L"file_deleter.ps1", binaries[2]});
        }
        package.Table(L"UIText");
        package.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
        package.Row(L"UIText", {L"DownloadingPrereq", L"Downloading [1]"});
        package.Row(L"UIText", {L"ExtractPrereq", L"Extracting [1]"});
        package.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        package.Row(L"UIText", {L"InstallPrereq", L"Installing prerequisites"});
        package.Row(L"ActionText", {L"TV_InstallPrerequisite", L"Installing prerequisites", L"[1]"});
        package.Row(L"ActionText", {L"TV_ExtractPrereq", L"Extracting prerequisites", L"[1]"});
        package.Row(L"ActionText", {L"TV_DownloadPrereq", L"Downloading prerequisites", L"[1]"});
        // Location 0 files come out of the setup executable into this folder.
        package.Property(L"TV_EMBEDDED_FILES_LOCATION", L"1");
        package.Property(L"TV_PREREQS_DIR", L"[SourceDir]prereqs");

        // Our own search finds PreDemo's value: 1.0 or later.
        package.Table(L"TV_AppSearchEx");
        package.Row(L"TV_AppSearchEx",
                    {L"TVDEMOPRE", Null{}, 2, L"HKCU\\Software\\TvDemo\\Pre", L"1.0", Null{}, Null{}, Null{}, L"1", 1});

        // The installer's own search tells whether the prerequisite is there.
        package.TableSql(L"CREATE TABLE `AppSearch` (`Property` CHAR(72) NOT NULL, `Signature_` CHAR(72) NOT NULL "
                         L"PRIMARY KEY `Property`, `Signature_`)");
        package.TableSql(L"CREATE TABLE `RegLocator` (`Signature_` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, "
                         L"`Key` CHAR(255) NOT NULL, `Name` CHAR(255), `Type` SHORT PRIMARY KEY `Signature_`)");
        package.Row(L"AppSearch", {L"DEMOPREREQ", L"DemoPrereqValue"});
        package.Row(L"RegLocator", {L"DemoPrereqValue", 1, L"Software\\TvDemo", L"Installed", 2});
        package.Row(L"AppSearch", {L"DEMOWEB", L"DemoWebValue"});
        package.Row(L"RegLocator", {L"DemoWebValue", 1, L"Software\\TvDemo", L"Web", 2});

        package.Row(L"Directory", {L"TARGETDIR", Null{}, L"SourceDir"});
        package.Row(L"Feature", {L"Main", Null{}, L"Main", Null{}, 1, 1, Null{}, 0});
        package.Row(L"Component", {L"MainComponent", NewGuid(), L"TARGETDIR", 0, Null{}, Null{}});
        package.Row(L"FeatureComponents", {L"Main", L"MainComponent"});

        package.Table(L"TV_PreRequisite");
        if (!silent) {
            // No file of its own: the command names the program beside the package.
            package.Prereq({{L"PrereqKey", L"PreDemo"},
                            {L"DisplayName", L"Demo pre-install prerequisite"},
                            {L"Location", 2},
                            {L"Options", L"yl"},
                            {L"Sequence", 1},
                            {L"MissingCondition", L"NOT TVDEMOPRE"},
                            {L"ComLine", L"\"[SourceDir]fakesetup.exe\" /regvalue:Software\\TvDemo\\Pre=[ProductVersion] "
                                         L"/record:\"[SourceDir]demo-setup.txt\" /exit:0"},
                            {L"UninstallComLine", L"\"[SourceDir]fakesetup.exe\" /regdelete:Software\\TvDemo\\Pre "
                                                  L"/record:\"[SourceDir]demo-setup.txt\""}});
        }
        std::map<std::wstring, Value> demo{
            {L"PrereqKey", L"DemoPrereq"},
            {L"DisplayName", L"Demo prerequisite"},
            {L"Location", 0},
            {L"TargetName", L"fakesetup.exe"},
            {L"Options", L"f"},
            {L"Feature_", L"Main"},
            {L"Sequence", 2},
            // Missing until the search finds its value, or until its setup reported success.
            {L"MissingCondition", L"NOT DEMOPREREQ AND DEMO_EXITCODE <> \"0\""},
            {L"ComLine", L"/regvalue:Software\\TvDemo\\Installed=[ProductVersion] /record:\"[SourceDir]demo-setup.txt\" /exit:0"},
            {L"RetValPropName", L"DEMO_EXITCODE"}};
        std::map<std::wstring, Value> web{
            {L"PrereqKey", L"WebPrereq"},
            {L"DisplayName", L"Demo downloaded prerequisite"},
            {L"Location", 1},
            {L"SetupFileUrl", L"http://127.0.0.1:[DEMO_WEB_PORT]/f/fakesetup.exe"},
            {L"ExactSize", webSize},
            {L"MD5", webMd5},
            {L"TargetName", L"web?websetup.exe"},
            {L"Options", L"f"},
            {L"Feature_", L"Main"},
            {L"Sequence", 3},
            {L"MissingCondition", L"NOT DEMOWEB AND DEMO_WEB_EXIT <> \"0\""},
            {L"ComLine", L"/regvalue:Software\\TvDemo\\Web=[ProductVersion] /record:\"[SourceDir]demo-setup.txt\" /exit:0"},
            {L"RetValPropName", L"DEMO_WEB_EXIT"}};
        if (silent) {
            // The launcher reports no exit code back into the session: the
            // search alone tells whether a row is missing.
            demo[L"Options"] = L"fn";
            demo[L"MissingCondition"] = L"NOT DEMOPREREQ";
            demo[L"BasicUiComLine"] = L"/passive";
            demo[L"NoUiComLine"] = L"/quiet /norestart";
            demo[L"ComLine"] = L"[TV_PREREQ_UILEVEL_SWITCH] /regvalue:Software\\TvDemo\\Installed=[ProductVersion] "
                               L"/record:\"[SourceDir]demo-setup.txt\" /exit:0";
            web[L"Options"] = L"fnm";
            web[L"MissingCondition"] = L"NOT DEMOWEB";
            web[L"BasicUiComLine"] = L"/passive";
            web[L"NoUiComLine"] = L"/q /silent";
            web[L"ComLine"] = L"[TV_PREREQ_UILEVEL_SWITCH] /regvalue:Software\\TvDemo\\Web=[ProductVersion] "
                              L"/record:\"[SourceDir]demo-setup.txt\" /exit:[DEMO_WEB_SETUP_EXIT]";
        }
        package.Prereq(demo);
        package.Prereq(web);
        package.Table(L"Error");
        for (int number : {4153, 4154, 4155, 4156})
            package.Row(L"Error", {number, L"The prerequisite [2] could not be installed."});

        package.Row(L"InstallExecuteSequence", {L"AppSearch", Null{}, 400});
        package.Row(L"InstallExecuteSequence", {L"CostInitialize", Null{}, 800});
        package.Row(L"InstallExecuteSequence", {L"FileCost", Null{}, 900});
        package.Row(L"InstallExecuteSequence", {L"ResolveSource", Null{}, 950});
        package.Row(L"InstallExecuteSequence", {L"CostFinalize", Null{}, 1000});
        if (silent) {
            package.Row(L"CustomAction", {L"TV_Demo_ConfigurePrereqLauncher", 1, L"TvPrereq", L"ConfigurePrereqLauncher"});
            package.Row(L"InstallExecuteSequence", {L"TV_Demo_ConfigurePrereqLauncher", Null{}, 1100});
            // Type 50: the program whose path is in the property, started at
            // once and waited for; a non-zero exit code fails the action and
            // ends the installation here, before anything of the product is
            // done. Without TV_PREREQ_CHAINER (a full UI, an empty chain, a
            // launcher that couldn't be written) there is nothing to start.
            package.Row(L"CustomAction", {L"TV_Demo_RunChainer", 50, L"TV_PREREQ_CHAINER", Null{}});
            package.Row(L"InstallExecuteSequence", {L"TV_Demo_RunChainer", L"TV_PREREQ_CHAINER", 1101});
        } else {
            const wchar_t* const exports[] = {
                L"DoAppSearchEx",  L"InstallPrePrereq", L"VerifyPrePrereq",   L"DownloadPrereq",
                L"ExtractPrereq",  L"InstallPrereq",    L"VerifyPrereq",      L"InstallPostPrereq",
                L"RollbackPrePrereq", L"RollbackPrereq", L"ConfigurePrereqLauncher", L"CleanPrereq",
                L"ExtractSourceFiles"};
            int sequence = 1100;
            for (const wchar_t* name : exports) {
                const std::wstring action = std::wstring(L"TV_Demo_") + name;
                // What the search found before any prerequisite ran.
                if (std::wstring(name) == L"InstallPrePrereq") {
                    package.Row(L"CustomAction", {L"TV_Demo_SearchBefore", 51, L"DEMO_SEARCH_BEFORE", L"[TVDEMOPRE]-"});
                    package.Row(L"InstallExecuteSequence", {L"TV_Demo_SearchBefore", Null{}, sequence++});
                }
                // Type 1: a function of a DLL stored in the Binary table, run at once.
                package.Row(L"CustomAction", {action, 1, L"TvPrereq", name});
                // Each rollback takes the whole stored value, so only the one of
                // the demo's phase runs.
                Value condition = Null{};
                if (std::wstring(name) == L"RollbackPrereq") condition = L"DEMO_ROLLBACK";
                if (std::wstring(name) == L"RollbackPrePrereq") condition = L"DEMO_ROLLBACK_PRE";
                package.Row(L"InstallExecuteSequence", {action, condition, sequence++});
            }
        }
        package.KeepFile();
        const std::wstring built = package.Build();
        if (!::MoveFileExW(built.c_str(), argv[1], MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)) {
            std::fwprintf(stderr, L"cannot write %ls\n", argv[1]);
            return 1;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "makedemo: %s\n", e.what());
        return 1;
    }
    std::wprintf(L"built %ls\n", argv[1]);
    return 0;
}
