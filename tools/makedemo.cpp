// Builds the demo product without the prerequisites library; `tvpkg apply`
// then writes the library into it from tools/demo.toml (or, for the silent
// route, tools/demo-silent.toml). What stays here is the demo's own:
//   base    the product: its properties, the feature Main with one empty
//           component, the installer's own AppSearch rows that tell whether
//           DemoPrereq and WebPrereq are there, and the standard actions of
//           the execute sequence up to CostFinalize;
//   finish  after the apply: a type-51 action just before the library's
//           InstallPrePrereq that keeps what our search found before any
//           prerequisite ran (DEMO_SEARCH_BEFORE = "[TVDEMOPRE]-").
//   makedemo base <package.msi>
//   makedemo finish <package.msi>
#include <windows.h>
#include <msiquery.h>
#include <cstdio>
#include <stdexcept>
#include "TestPackage.h"
#include "frame/MsiHandle.h"

using namespace tvtest;

namespace {

void BuildBase(const wchar_t* path) {
    TestPackage package;
    package.Property(L"TV_DEMO", L"1");
    // The installer's own search tells whether a prerequisite is there.
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

    package.Row(L"InstallExecuteSequence", {L"AppSearch", Null{}, 400});
    package.Row(L"InstallExecuteSequence", {L"CostInitialize", Null{}, 800});
    package.Row(L"InstallExecuteSequence", {L"FileCost", Null{}, 900});
    package.Row(L"InstallExecuteSequence", {L"ResolveSource", Null{}, 950});
    package.Row(L"InstallExecuteSequence", {L"CostFinalize", Null{}, 1000});
    package.KeepFile();
    const std::wstring built = package.Build();
    if (!::MoveFileExW(built.c_str(), path, MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED))
        throw std::runtime_error("cannot write " + Narrow(path));
}

UINT Execute(MSIHANDLE database, const std::wstring& sql, MSIHANDLE record = 0) {
    tv::MsiHandle view;
    UINT result = ::MsiDatabaseOpenViewW(database, sql.c_str(), view.Put());
    if (result == ERROR_SUCCESS) result = ::MsiViewExecute(view.Get(), record);
    return result;
}

void Finish(const wchar_t* path) {
    tv::MsiHandle database;
    if (::MsiOpenDatabaseW(path, MSIDBOPEN_TRANSACT, database.Put()) != ERROR_SUCCESS)
        throw std::runtime_error("cannot open " + Narrow(path));
    tv::MsiHandle view, row;
    ::MsiDatabaseOpenViewW(database.Get(),
                           L"SELECT `Sequence` FROM `InstallExecuteSequence` WHERE `Action` = 'TV_InstallPrePrereq'",
                           view.Put());
    ::MsiViewExecute(view.Get(), 0);
    if (::MsiViewFetch(view.Get(), row.Put()) != ERROR_SUCCESS)
        throw std::runtime_error("the package doesn't run InstallPrePrereq");
    const int slot = ::MsiRecordGetInteger(row.Get(), 1) - 1;
    Execute(database.Get(), L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
                            L"('TV_Demo_SearchBefore', 51, 'DEMO_SEARCH_BEFORE', '[TVDEMOPRE]-')");
    tv::MsiHandle record(::MsiCreateRecord(1));
    ::MsiRecordSetInteger(record.Get(), 1, slot);
    if (Execute(database.Get(),
                L"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('TV_Demo_SearchBefore', ?)",
                record.Get()) != ERROR_SUCCESS)
        throw std::runtime_error("no free place before InstallPrePrereq");
    if (::MsiDatabaseCommit(database.Get()) != ERROR_SUCCESS) throw std::runtime_error("cannot commit");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring command = argc == 3 ? argv[1] : L"";
    if (command != L"base" && command != L"finish") {
        std::fwprintf(stderr, L"usage: makedemo base|finish <package.msi>\n");
        return 2;
    }
    try {
        if (command == L"base") BuildBase(argv[2]);
        else Finish(argv[2]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "makedemo: %s\n", e.what());
        return 1;
    }
    std::wprintf(L"%ls %ls\n", command == L"base" ? L"built" : L"finished", argv[2]);
    return 0;
}
