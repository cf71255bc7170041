// tvpkg.exe run as a process: apply on a package of wixl and one of the MSI
// API, twice, compared table by table; lint on a table of broken packages,
// one fault each; exit codes; --json; the version resources.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <nlohmann/json.hpp>
#include "TestPackage.h"
#include "TvVersion.h"
#include "frame/MsiHandle.h"
#include "frame/MsiTableReader.h"
#include "frame/TableSchema.h"
#include "platform/KernelHandle.h"

using namespace tvtest;

namespace {

std::wstring BinFolder() {
    wchar_t path[MAX_PATH];
    const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring text(path, n);
    return text.substr(0, text.rfind(L'\\'));
}

std::wstring Tool() { return BinFolder() + L"\\tvpkg.exe"; }

struct RunResult {
    DWORD exitCode = 0xFFFFFFFF;
    std::string out;
    std::string err;
};

std::string ReadAll(const std::wstring& path) {
    std::ifstream in(Narrow(path), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteAll(const std::wstring& path, const std::string& text) {
    std::ofstream out(Narrow(path), std::ios::binary);
    out << text;
}

// Runs tvpkg with these arguments, its output into files.
RunResult RunTool(const std::vector<std::wstring>& args) {
    const std::wstring outPath = TestPackage::TempPath(L".out"), errPath = TestPackage::TempPath(L".err");
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    tv::KernelHandle out(::CreateFileW(outPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr));
    tv::KernelHandle err(::CreateFileW(errPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.Get();
    startup.hStdError = err.Get();
    startup.hStdInput = nullptr;
    std::wstring command = L"\"" + Tool() + L"\"";
    for (const std::wstring& arg : args) command += L" \"" + arg + L"\"";
    PROCESS_INFORMATION info{};
    RunResult result;
    if (!::CreateProcessW(Tool().c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info)) {
        ADD_FAILURE() << "tvpkg did not start: " << ::GetLastError();
        return result;
    }
    tv::KernelHandle process(info.hProcess), thread(info.hThread);
    if (::WaitForSingleObject(process.Get(), 120000) != WAIT_OBJECT_0) {
        ::TerminateProcess(process.Get(), 99);
        ADD_FAILURE() << "tvpkg still running after 120 s";
    }
    ::GetExitCodeProcess(process.Get(), &result.exitCode);
    out.Reset();
    err.Reset();
    result.out = ReadAll(outPath);
    result.err = ReadAll(errPath);
    ::DeleteFileW(outPath.c_str());
    ::DeleteFileW(errPath.c_str());
    return result;
}

// The description the tests apply: the demo's three prerequisites and its search.
std::string Description(const std::string& extra = "") {
    return R"(# tvpkg test description
[package]
route = "full"

[properties]
TV_PREREQS_DIR = "[SourceDir]prereqs"

[[prerequisite]]
PrereqKey = "PreDemo"
DisplayName = "Pre-install prerequisite"
Location = 2
Options = "yl"
Sequence = 1
MissingCondition = "NOT TVDEMOPRE"
ComLine = '"[SourceDir]fakesetup.exe" /exit:0'
UninstallComLine = '"[SourceDir]fakesetup.exe" /exit:0'

[[prerequisite]]
PrereqKey = "DemoPrereq"
DisplayName = "Extracted prerequisite"
Location = 0
TargetName = "fakesetup.exe"
Options = "f"
Feature_ = "Main"
Sequence = 2
MissingCondition = 'NOT DEMOPREREQ AND DEMO_EXITCODE <> "0"'
ComLine = "/exit:0"
RetValPropName = "DEMO_EXITCODE"

[[prerequisite]]
PrereqKey = "WebPrereq"
DisplayName = "Downloaded prerequisite"
Location = 1
SetupFileUrl = "http://127.0.0.1:8080/f/fakesetup.exe"
ExactSize = 12345
MD5 = "0123456789abcdef0123456789ABCDEF"
TargetName = "web?websetup.exe"
Options = "f"
Feature_ = "Main"
Sequence = 3
MissingCondition = "NOT DEMOWEB"
ComLine = "/exit:0"

[[search]]
Property = "TVDEMOPRE"
Type = 2
SearchString = 'HKCU\Software\TvDemo\Pre'
VerMin = "1.0"
PrereqSearch = "1"
Order = 1
)" + extra;
}

// A product made with the MSI API, with the actions tvpkg places itself by.
std::wstring MsiApiBase() {
    TestPackage package;
    package.Product({L"Main"});
    package.KeepFile();
    return package.Build();
}

std::wstring CopyOf(const std::wstring& path) {
    const std::wstring copy = TestPackage::TempPath(L".msi");
    EXPECT_TRUE(::CopyFileW(path.c_str(), copy.c_str(), FALSE));
    return copy;
}

void ExecuteSql(const std::wstring& package, const std::vector<std::wstring>& statements) {
    MSIHANDLE db = 0;
    ASSERT_EQ(::MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_TRANSACT, &db), 0u);
    tv::MsiHandle owned(db);
    for (const std::wstring& sql : statements) {
        MSIHANDLE view = 0;
        ASSERT_EQ(::MsiDatabaseOpenViewW(db, sql.c_str(), &view), 0u) << Narrow(sql);
        tv::MsiHandle ownedView(view);
        ASSERT_EQ(::MsiViewExecute(view, 0), 0u) << Narrow(sql);
    }
    ASSERT_EQ(::MsiDatabaseCommit(db), 0u);
}

std::vector<tv::TableRow> Rows(const std::wstring& package, const std::wstring& table, const wchar_t* where = nullptr) {
    MSIHANDLE db = 0;
    EXPECT_EQ(::MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_READONLY, &db), 0u);
    tv::MsiTableReader reader(db, false);
    reader.Open(table, nullptr, nullptr, where);
    std::vector<tv::TableRow> rows = reader.GetRows();
    ::MsiCloseHandle(db);
    return rows;
}

// Every file MsiDatabaseExport writes for every table, streams included.
std::map<std::wstring, std::string> ExportAll(const std::wstring& package) {
    const std::wstring folder = TestPackage::TempPath(L".export");
    ::CreateDirectoryW(folder.c_str(), nullptr);
    MSIHANDLE db = 0;
    EXPECT_EQ(::MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_READONLY, &db), 0u);
    std::vector<std::wstring> tables;
    {
        tv::MsiTableReader reader(db, false);
        const wchar_t* const columns[] = {L"Name", nullptr};
        reader.Open(L"_Tables", columns, nullptr, nullptr);
        for (const tv::TableRow& row : reader.GetRows()) tables.push_back(tv::Cell(row, L"Name"));
    }
    std::map<std::wstring, std::string> files;
    for (const std::wstring& table : tables) {
        const std::wstring file = table + L".idt";
        EXPECT_EQ(::MsiDatabaseExportW(db, table.c_str(), folder.c_str(), file.c_str()), 0u) << Narrow(table);
    }
    ::MsiCloseHandle(db);
    // The .idt files and the stream folders beside them.
    std::vector<std::wstring> pending = {L""};
    while (!pending.empty()) {
        const std::wstring relative = pending.back();
        pending.pop_back();
        WIN32_FIND_DATAW found;
        HANDLE find = ::FindFirstFileW((folder + L"\\" + relative + L"*").c_str(), &found);
        if (find == INVALID_HANDLE_VALUE) continue;
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..") continue;
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) pending.push_back(relative + name + L"\\");
            else files[relative + name] = ReadAll(folder + L"\\" + relative + name);
        } while (::FindNextFileW(find, &found));
        ::FindClose(find);
    }
    return files;
}

class Tvpkg : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        sDescription = new std::wstring(TestPackage::TempPath(L".toml"));
        WriteAll(*sDescription, Description());
        sClean = new std::wstring(MsiApiBase());
        const RunResult applied = RunTool({L"apply", *sClean, *sDescription});
        ASSERT_EQ(applied.exitCode, 0u) << applied.err;
    }
    static void TearDownTestSuite() {
        ::DeleteFileW(sClean->c_str());
        ::DeleteFileW(sDescription->c_str());
        delete sClean;
        delete sDescription;
    }
    static std::wstring* sClean;
    static std::wstring* sDescription;
};
std::wstring* Tvpkg::sClean = nullptr;
std::wstring* Tvpkg::sDescription = nullptr;

std::wstring CellOf(const std::vector<tv::TableRow>& rows, const std::wstring& keyColumn, const std::wstring& key,
                   const std::wstring& column) {
    for (const tv::TableRow& row : rows)
        if (tv::Cell(row, keyColumn) == key) return tv::Cell(row, column);
    return L"<no row>";
}

}  // namespace

TEST_F(Tvpkg, VersionIsTheBuildsOne) {
    const RunResult result = RunTool({L"--version"});
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_NE(result.out.find(TV_VERSION_TEXT), std::string::npos) << result.out;
    for (const wchar_t* file : {L"tvprereq.dll", L"tvpackagechainer.exe", L"tvpkg.exe"}) {
        const std::wstring path = BinFolder() + L"\\" + file;
        DWORD ignored = 0;
        const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &ignored);
        ASSERT_GT(size, 0u) << Narrow(path);
        std::vector<char> data(size);
        ASSERT_TRUE(::GetFileVersionInfoW(path.c_str(), 0, size, data.data()));
        for (const auto& [key, expected] : {std::pair<const wchar_t*, const wchar_t*>{L"FileVersion", TV_VERSION_WTEXT},
                                            {L"ProductVersion", TV_VERSION_WTEXT},
                                            {L"ProductName", TV_PRODUCT_WNAME}}) {
            wchar_t* value = nullptr;
            UINT length = 0;
            const std::wstring query = std::wstring(L"\\StringFileInfo\\040904B0\\") + key;
            ASSERT_TRUE(::VerQueryValueW(data.data(), query.c_str(), reinterpret_cast<void**>(&value), &length))
                << Narrow(file) << " " << Narrow(key);
            EXPECT_EQ(std::wstring(value), expected) << Narrow(file) << " " << Narrow(key);
        }
    }
}

TEST_F(Tvpkg, ApplyOnMsiApiPackageWritesEverything) {
    const std::wstring& package = *sClean;
    // The binaries as they are on the disk.
    MSIHANDLE db = 0;
    ASSERT_EQ(::MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_READONLY, &db), 0u);
    for (const wchar_t* name : {L"tvprereq.dll", L"tvpackagechainer.exe", L"file_deleter.ps1"}) {
        const std::wstring out = TestPackage::TempPath(L".bin");
        EXPECT_TRUE(tv::ExtractBinary(db, L"SELECT `Data` FROM `Binary` WHERE `Name` = '" + std::wstring(name) + L"'", out))
            << Narrow(name);
        EXPECT_EQ(ReadAll(out), ReadAll(BinFolder() + L"\\" + name)) << Narrow(name);
        ::DeleteFileW(out.c_str());
    }
    ::MsiCloseHandle(db);
    // Thirteen immediate actions of the DLL.
    const auto actions = Rows(package, L"CustomAction");
    for (const wchar_t* name : {L"DoAppSearchEx", L"InstallPrePrereq", L"VerifyPrePrereq", L"DownloadPrereq",
                                L"ExtractPrereq", L"InstallPrereq", L"VerifyPrereq", L"InstallPostPrereq",
                                L"RollbackPrePrereq", L"RollbackPrereq", L"ConfigurePrereqLauncher", L"CleanPrereq",
                                L"ExtractSourceFiles"}) {
        const std::wstring action = std::wstring(L"TV_") + name;
        EXPECT_EQ(CellOf(actions, L"Action", action, L"Type"), L"1") << Narrow(action);
        EXPECT_EQ(CellOf(actions, L"Action", action, L"Source"), L"tvprereq.dll");
        EXPECT_EQ(CellOf(actions, L"Action", action, L"Target"), name);
    }
    // In the library's order after CostFinalize; rollback on a fatal error.
    const auto sequence = Rows(package, L"InstallExecuteSequence");
    int previous = std::stoi(CellOf(sequence, L"Action", L"CostFinalize", L"Sequence"));
    for (const wchar_t* action : {L"TV_DoAppSearchEx", L"TV_InstallPrePrereq", L"TV_VerifyPrePrereq",
                                  L"TV_DownloadPrereq", L"TV_ExtractPrereq", L"TV_InstallPrereq", L"TV_VerifyPrereq"}) {
        const int number = std::stoi(CellOf(sequence, L"Action", action, L"Sequence"));
        EXPECT_GT(number, previous) << Narrow(action);
        previous = number;
    }
    EXPECT_LT(previous, std::stoi(CellOf(sequence, L"Action", L"InstallValidate", L"Sequence")));
    const int finalize = std::stoi(CellOf(sequence, L"Action", L"InstallFinalize", L"Sequence"));
    EXPECT_GT(std::stoi(CellOf(sequence, L"Action", L"TV_InstallPostPrereq", L"Sequence")), finalize);
    EXPECT_GT(std::stoi(CellOf(sequence, L"Action", L"TV_CleanPrereq", L"Sequence")),
              std::stoi(CellOf(sequence, L"Action", L"TV_InstallPostPrereq", L"Sequence")));
    EXPECT_EQ(CellOf(sequence, L"Action", L"TV_RollbackPrereq", L"Sequence"), L"-3");
    // A Location 0 row without TV_SETUPEXEPATH: SourceDir is resolved first.
    EXPECT_LT(std::stoi(CellOf(sequence, L"Action", L"ResolveSource", L"Sequence")),
              std::stoi(CellOf(sequence, L"Action", L"CostFinalize", L"Sequence")));
    // The tables, their rows and _Validation.
    const auto prereqs = Rows(package, L"TV_PreRequisite");
    ASSERT_EQ(prereqs.size(), 3u);
    EXPECT_EQ(CellOf(prereqs, L"PrereqKey", L"WebPrereq", L"ExactSize"), L"12345");
    EXPECT_EQ(CellOf(prereqs, L"PrereqKey", L"DemoPrereq", L"Location"), L"0");
    EXPECT_EQ(CellOf(prereqs, L"PrereqKey", L"PreDemo", L"ComLine"), L"\"[SourceDir]fakesetup.exe\" /exit:0");
    EXPECT_EQ(CellOf(prereqs, L"PrereqKey", L"PreDemo", L"TargetName"), L"");
    EXPECT_EQ(Rows(package, L"TV_AppSearchEx").size(), 1u);
    EXPECT_EQ(Rows(package, L"_Validation", L"`Table` = 'TV_PreRequisite'").size(), 26u);
    EXPECT_EQ(Rows(package, L"_Validation", L"`Table` = 'TV_AppSearchEx'").size(), 10u);
    const auto errors = Rows(package, L"Error");
    for (const wchar_t* number : {L"4153", L"4154", L"4155", L"4156"})
        EXPECT_NE(CellOf(errors, L"Error", number, L"Message"), L"<no row>") << Narrow(number);
    const auto texts = Rows(package, L"UIText");
    for (const wchar_t* key : {L"InstallingPrereq", L"DownloadingPrereq", L"ExtractPrereq", L"PrereqCompletedSuffix",
                               L"InstallPrereq", L"RemovePrereq"})
        EXPECT_NE(CellOf(texts, L"Key", key, L"Text"), L"<no row>") << Narrow(key);
    EXPECT_EQ(Rows(package, L"ActionText").size(), 4u);
    // The library's version, from its resource.
    const auto properties = Rows(package, L"Property");
    EXPECT_EQ(CellOf(properties, L"Property", L"TV_LIBRARY_VERSION", L"Value"), TV_VERSION_WTEXT);
    EXPECT_EQ(CellOf(properties, L"Property", L"TV_PREREQS_DIR", L"Value"), L"[SourceDir]prereqs");
}

TEST_F(Tvpkg, ApplyTwiceGivesTheSamePackage) {
    const std::wstring wixl = CopyOf(TV_WIXL_MSI);
    const std::wstring api = CopyOf(*sClean);  // already applied once
    for (const std::wstring& package : {wixl, api}) {
        ASSERT_EQ(RunTool({L"apply", package, *sDescription}).exitCode, 0u);
        const auto first = ExportAll(package);
        ASSERT_EQ(RunTool({L"apply", package, *sDescription}).exitCode, 0u);
        const auto second = ExportAll(package);
        EXPECT_GT(first.size(), 10u);
        EXPECT_TRUE(first.count(L"Binary\\tvprereq.dll.ibd") || first.count(L"Binary\\tvprereq.dll"))
            << "the Binary streams are exported and compared";
        EXPECT_EQ(first.size(), second.size());
        for (const auto& [file, bytes] : first) {
            auto other = second.find(file);
            ASSERT_NE(other, second.end()) << Narrow(file);
            EXPECT_EQ(bytes, other->second) << Narrow(file) << " differs after the second apply";
        }
        ::DeleteFileW(package.c_str());
    }
}

TEST_F(Tvpkg, WixlPackageAppliedIsClean) {
    const std::wstring package = CopyOf(TV_WIXL_MSI);
    const RunResult applied = RunTool({L"apply", package, *sDescription});
    ASSERT_EQ(applied.exitCode, 0u) << applied.err;
    const auto sequence = Rows(package, L"InstallExecuteSequence");
    EXPECT_NE(CellOf(sequence, L"Action", L"TV_InstallPrereq", L"Sequence"), L"<no row>");
    EXPECT_EQ(Rows(package, L"TV_PreRequisite").size(), 3u);
    // The wixl package's own rows are still there.
    EXPECT_EQ(CellOf(sequence, L"Action", L"WriteRegistryValues", L"Sequence"), L"5000");
    const RunResult lint = RunTool({L"lint", package});
    EXPECT_EQ(lint.exitCode, 0u) << lint.out;
    EXPECT_EQ(lint.out, "");
    ::DeleteFileW(package.c_str());
}

TEST_F(Tvpkg, CleanPackageHasNoFinding) {
    const RunResult lint = RunTool({L"lint", *sClean});
    EXPECT_EQ(lint.exitCode, 0u) << lint.out;
    EXPECT_EQ(lint.out, "");
    const RunResult json = RunTool({L"lint", L"--json", *sClean});
    EXPECT_EQ(json.exitCode, 0u);
    const nlohmann::json parsed = nlohmann::json::parse(json.out);
    EXPECT_EQ(parsed["count"], 0);
    EXPECT_TRUE(parsed["findings"].empty());
}

TEST_F(Tvpkg, DescriptionOverridesTextsAndRoute) {
    const std::wstring package = CopyOf(*sClean);
    const std::wstring description = TestPackage::TempPath(L".toml");
    std::string text = Description(R"(
[error]
4153 = "Custom [2]"

[uitext]
InstallPrereq = "Getting things ready"

[actiontext.TV_VerifyPrereq]
Description = "Checking"
Template = "[1] checked"
)");
    text.replace(text.find("route = \"full\""), 14, "route = \"silent\"");
    WriteAll(description, text);
    ASSERT_EQ(RunTool({L"apply", package, description}).exitCode, 0u);
    EXPECT_EQ(CellOf(Rows(package, L"Error"), L"Error", L"4153", L"Message"), L"Custom [2]");
    EXPECT_EQ(CellOf(Rows(package, L"UIText"), L"Key", L"InstallPrereq", L"Text"), L"Getting things ready");
    EXPECT_EQ(CellOf(Rows(package, L"ActionText"), L"Action", L"TV_VerifyPrereq", L"Template"), L"[1] checked");
    // The silent route: the launcher instead of the install phases.
    const auto sequence = Rows(package, L"InstallExecuteSequence");
    EXPECT_EQ(CellOf(sequence, L"Action", L"TV_InstallPrereq", L"Sequence"), L"<no row>");
    EXPECT_LT(std::stoi(CellOf(sequence, L"Action", L"TV_ConfigurePrereqLauncher", L"Sequence")),
              std::stoi(CellOf(sequence, L"Action", L"TV_LaunchPrereqChainer", L"Sequence")));
    EXPECT_EQ(CellOf(Rows(package, L"CustomAction"), L"Action", L"TV_LaunchPrereqChainer", L"Source"), L"TV_PREREQ_CHAINER");
    const RunResult lint = RunTool({L"lint", package});
    EXPECT_EQ(lint.exitCode, 0u) << lint.out;
    ::DeleteFileW(package.c_str());
    ::DeleteFileW(description.c_str());
}

// Each route's sequence rows and properties, and a clean lint after it.
TEST_F(Tvpkg, RoutesScheduleTheirActions) {
    struct Case {
        const char* route;
        const wchar_t* installCondition;  // of TV_InstallPrereq; null: not scheduled
        const wchar_t* launchCondition;   // of TV_LaunchPrereqChainer; null: not scheduled
        const wchar_t* parallel;          // TV_PARALLEL_DOWNLOAD
    };
    const Case cases[] = {
        {"full", L"", nullptr, L"<no row>"},
        {"parallel", L"", nullptr, L"1"},
        {"reduced", L"UILevel > 3", L"(UILevel < 4) AND (TV_PREREQ_CHAINER)", L"<no row>"},
        {"silent", nullptr, L"TV_PREREQ_CHAINER", L"<no row>"},
    };
    const std::wstring package = CopyOf(*sClean);
    const std::wstring description = TestPackage::TempPath(L".toml");
    for (const Case& c : cases) {
        std::string text = Description();
        text.replace(text.find("route = \"full\""), 14, std::string("route = \"") + c.route + "\"");
        WriteAll(description, text);
        ASSERT_EQ(RunTool({L"apply", package, description}).exitCode, 0u) << c.route;
        const auto sequence = Rows(package, L"InstallExecuteSequence");
        EXPECT_EQ(CellOf(sequence, L"Action", L"TV_InstallPrereq", L"Condition"),
                  c.installCondition ? c.installCondition : L"<no row>") << c.route;
        EXPECT_EQ(CellOf(sequence, L"Action", L"TV_LaunchPrereqChainer", L"Condition"),
                  c.launchCondition ? c.launchCondition : L"<no row>") << c.route;
        EXPECT_EQ(CellOf(Rows(package, L"Property"), L"Property", L"TV_PARALLEL_DOWNLOAD", L"Value"), c.parallel)
            << c.route;
        const RunResult lint = RunTool({L"lint", package});
        EXPECT_EQ(lint.exitCode, 0u) << c.route << "\n" << lint.out;
    }
    ::DeleteFileW(package.c_str());
    ::DeleteFileW(description.c_str());
}

// tools/demo.toml, with a build's size and MD5 in place, makes a clean package.
TEST_F(Tvpkg, DemoDescriptionApplies) {
    std::string text = ReadAll(std::wstring(TV_SOURCE_DIR) + L"/tools/demo.toml");
    ASSERT_FALSE(text.empty());
    text.replace(text.rfind("@WEB_SIZE@"), 10, "4096");
    text.replace(text.rfind("@WEB_MD5@"), 9, "d41d8cd98f00b204e9800998ecf8427e");
    const std::wstring description = TestPackage::TempPath(L".toml");
    WriteAll(description, text);
    const std::wstring package = MsiApiBase();
    const RunResult applied = RunTool({L"apply", package, description});
    ASSERT_EQ(applied.exitCode, 0u) << applied.err;
    const auto sequence = Rows(package, L"InstallExecuteSequence");
    EXPECT_EQ(CellOf(sequence, L"Action", L"TV_RollbackPrePrereq", L"Condition"), L"DEMO_ROLLBACK_PRE");
    EXPECT_GT(std::stoi(CellOf(sequence, L"Action", L"TV_RollbackPrePrereq", L"Sequence")),
              std::stoi(CellOf(sequence, L"Action", L"TV_VerifyPrePrereq", L"Sequence")));
    EXPECT_EQ(Rows(package, L"TV_PreRequisite").size(), 3u);
    const RunResult lint = RunTool({L"lint", package});
    EXPECT_EQ(lint.exitCode, 0u) << lint.out;
    ::DeleteFileW(package.c_str());
    ::DeleteFileW(description.c_str());
}

// A package of wixl with the library applied installs, and the library runs
// its prerequisite: fakesetup.exe writes a registry value.
TEST_F(Tvpkg, AppliedWixlPackageInstalls) {
    const std::wstring package = CopyOf(TV_WIXL_MSI);
    const std::wstring description = TestPackage::TempPath(L".toml");
    const std::wstring fakesetup = BinFolder() + L"\\fakesetup.exe";
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\TvPkgSmoke");
    WriteAll(description, "[[prerequisite]]\n"
                          "PrereqKey = \"Smoke\"\n"
                          "DisplayName = \"Smoke prerequisite\"\n"
                          "Location = 2\n"
                          "Options = \"f\"\n"
                          "Feature_ = \"Main\"\n"
                          "Sequence = 1\n"
                          "MissingCondition = 'SMOKE_EXIT <> \"0\"'\n"
                          "RetValPropName = \"SMOKE_EXIT\"\n"
                          "ComLine = '\"" + Narrow(fakesetup) + "\" /regvalue:Software\\TvPkgSmoke\\Ran=1 /exit:0'\n");
    ASSERT_EQ(RunTool({L"apply", package, description}).exitCode, 0u);
    EXPECT_EQ(RunTool({L"lint", package}).exitCode, 0u);
    {
        InstalledProduct product(package, L"{6B1E2D7C-3A4F-4C85-9E10-2F3A4B5C6D7E}");
        ASSERT_EQ(product.Result(), 0u);
        HKEY key = nullptr;
        ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\TvPkgSmoke", 0, KEY_READ, &key), ERROR_SUCCESS)
            << "the prerequisite did not run";
        wchar_t value[16] = {};
        DWORD size = sizeof(value);
        EXPECT_EQ(::RegQueryValueExW(key, L"Ran", nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size), ERROR_SUCCESS);
        EXPECT_EQ(std::wstring(value), L"1");
        ::RegCloseKey(key);
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\TvPkgSmoke");
    ::DeleteFileW(package.c_str());
    ::DeleteFileW(description.c_str());
}

// The library's table without one of its columns.
std::wstring WithoutColumn(const std::wstring& table, const std::wstring& definition) {
    std::wstring sql = tv::CreateTableSql(table);
    const size_t at = sql.find(definition);
    if (at != std::wstring::npos) sql.erase(at, definition.size());
    return sql;
}

struct Fault {
    const char* name;
    std::vector<std::wstring> sql;
    const wchar_t* check;
    const wchar_t* table;
    const wchar_t* row;
    const wchar_t* column;
};

class Broken : public Tvpkg, public ::testing::WithParamInterface<Fault> {};

TEST_P(Broken, OneFindingAtItsPlace) {
    const Fault& fault = GetParam();
    const std::wstring package = CopyOf(*sClean);
    ExecuteSql(package, fault.sql);
    const RunResult json = RunTool({L"lint", L"--json", package});
    EXPECT_EQ(json.exitCode, 1u) << json.out << json.err;
    const nlohmann::json parsed = nlohmann::json::parse(json.out);
    ASSERT_EQ(parsed["count"], 1) << json.out;
    const nlohmann::json& finding = parsed["findings"][0];
    EXPECT_EQ(finding["check"], Narrow(fault.check)) << json.out;
    EXPECT_EQ(finding["table"], Narrow(fault.table)) << json.out;
    EXPECT_EQ(finding["row"], Narrow(fault.row)) << json.out;
    EXPECT_EQ(finding["column"], Narrow(fault.column)) << json.out;
    // The same finding as one line.
    const RunResult lines = RunTool({L"lint", package});
    EXPECT_EQ(lines.exitCode, 1u);
    std::string place = Narrow(fault.table);
    if (*fault.row) place += "[" + Narrow(fault.row) + "]";
    if (*fault.column) place += "." + Narrow(fault.column);
    EXPECT_EQ(lines.out.rfind(place + ": " + Narrow(fault.check) + ": ", 0), 0u) << lines.out;
    EXPECT_EQ(std::count(lines.out.begin(), lines.out.end(), '\n'), 1) << lines.out;
    ::DeleteFileW(package.c_str());
}

const wchar_t kPrereq[] = L"UPDATE `TV_PreRequisite` SET ";

INSTANTIATE_TEST_SUITE_P(
    Lint, Broken,
    ::testing::Values(
        Fault{"UnknownOption", {std::wstring(kPrereq) + L"`Options` = 'fz' WHERE `PrereqKey` = 'DemoPrereq'"},
              L"option-unknown", L"TV_PreRequisite", L"DemoPrereq", L"Options"},
        Fault{"ContradictoryOptions", {std::wstring(kPrereq) + L"`Options` = 'fcd' WHERE `PrereqKey` = 'DemoPrereq'"},
              L"option-contradiction", L"TV_PreRequisite", L"DemoPrereq", L"Options"},
        Fault{"BadCondition", {std::wstring(kPrereq) + L"`InstallCondition` = 'NOT (' WHERE `PrereqKey` = 'WebPrereq'"},
              L"condition", L"TV_PreRequisite", L"WebPrereq", L"InstallCondition"},
        Fault{"BadSearchCondition",
              {L"UPDATE `TV_AppSearchEx` SET `Condition` = '((A' WHERE `Property` = 'TVDEMOPRE'"}, L"condition",
              L"TV_AppSearchEx", L"TVDEMOPRE", L"Condition"},
        Fault{"BadLocation", {std::wstring(kPrereq) + L"`Location` = 7 WHERE `PrereqKey` = 'PreDemo'"}, L"location",
              L"TV_PreRequisite", L"PreDemo", L"Location"},
        Fault{"UrlWithoutSize", {std::wstring(kPrereq) + L"`ExactSize` = '' WHERE `PrereqKey` = 'WebPrereq'"},
              L"url-exact-size", L"TV_PreRequisite", L"WebPrereq", L"ExactSize"},
        Fault{"ShortMd5", {std::wstring(kPrereq) + L"`MD5` = '0123abc' WHERE `PrereqKey` = 'WebPrereq'"}, L"url-md5",
              L"TV_PreRequisite", L"WebPrereq", L"MD5"},
        Fault{"DuplicateSequence", {std::wstring(kPrereq) + L"`Sequence` = 2 WHERE `PrereqKey` = 'WebPrereq'"},
              L"sequence-duplicate", L"TV_PreRequisite", L"WebPrereq", L"Sequence"},
        Fault{"UnknownFeature", {std::wstring(kPrereq) + L"`Feature_` = 'Nope' WHERE `PrereqKey` = 'DemoPrereq'"},
              L"feature", L"TV_PreRequisite", L"DemoPrereq", L"Feature_"},
        Fault{"UnknownCustomActionBefore",
              {std::wstring(kPrereq) + L"`RunCustActBefore` = 'TV_Nothing' WHERE `PrereqKey` = 'DemoPrereq'"},
              L"custom-action", L"TV_PreRequisite", L"DemoPrereq", L"RunCustActBefore"},
        Fault{"UnknownCustomActionAfter",
              {std::wstring(kPrereq) + L"`RunCustActAfter` = 'TV_CleanPrereq;TV_Gone' WHERE `PrereqKey` = 'PreDemo'"},
              L"custom-action", L"TV_PreRequisite", L"PreDemo", L"RunCustActAfter"},
        Fault{"MissingError", {L"DELETE FROM `Error` WHERE `Error` = 4155"}, L"error-row", L"Error", L"4155",
              L"Message"},
        Fault{"MissingUiText", {L"DELETE FROM `UIText` WHERE `Key` = 'RemovePrereq'"}, L"uitext-key", L"UIText",
              L"RemovePrereq", L"Text"},
        Fault{"VerifyBeforeInstall",
              {L"UPDATE `InstallExecuteSequence` SET `Sequence` = 1001 WHERE `Action` = 'TV_VerifyPrereq'"},
              L"action-order", L"InstallExecuteSequence", L"TV_VerifyPrereq", L"Sequence"},
        Fault{"DeferredInstall", {L"UPDATE `CustomAction` SET `Type` = 1025 WHERE `Action` = 'TV_InstallPrereq'"},
              L"action-type", L"CustomAction", L"TV_InstallPrereq", L"Type"},
        Fault{"LauncherWithoutBinary",
              {L"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('TV_ConfigurePrereqLauncher', 1390)",
               L"DELETE FROM `Binary` WHERE `Name` = 'tvpackagechainer.exe'"},
              L"launcher-binary", L"Binary", L"tvpackagechainer.exe", L"Data"},
        Fault{"UnknownSearchKind", {L"UPDATE `TV_AppSearchEx` SET `Type` = 21 WHERE `Property` = 'TVDEMOPRE'"},
              L"search-type", L"TV_AppSearchEx", L"TVDEMOPRE", L"Type"},
        Fault{"UnparseableBound", {L"UPDATE `TV_AppSearchEx` SET `VerMax` = 'latest' WHERE `Property` = 'TVDEMOPRE'"},
              L"search-bound", L"TV_AppSearchEx", L"TVDEMOPRE", L"VerMax"},
        Fault{"NoMissingCondition",
              {std::wstring(kPrereq) + L"`MissingCondition` = '' WHERE `PrereqKey` = 'DemoPrereq'"},
              L"missing-condition", L"TV_PreRequisite", L"DemoPrereq", L"MissingCondition"},
        Fault{"SourceDirNotResolved", {L"DELETE FROM `InstallExecuteSequence` WHERE `Action` = 'ResolveSource'"},
              L"source-dir", L"InstallExecuteSequence", L"TV_InstallPrePrereq", L"Sequence"},
        Fault{"LibraryNotInBinary", {L"DELETE FROM `Binary` WHERE `Name` = 'tvprereq.dll'"}, L"binary-missing",
              L"Binary", L"tvprereq.dll", L"Data"},
        Fault{"ColumnMissing",
              {L"DROP TABLE `TV_PreRequisite`", WithoutColumn(L"TV_PreRequisite", L", `LogComLine` CHAR(0)")},
              L"column-missing", L"TV_PreRequisite", L"", L"LogComLine"}),
    [](const ::testing::TestParamInfo<Fault>& info) { return std::string(info.param.name); });

TEST_F(Tvpkg, UnusableInputExitsWithTwo) {
    const std::wstring missing = TestPackage::TempPath(L".msi");
    EXPECT_EQ(RunTool({L"lint", missing}).exitCode, 2u);
    const std::wstring notDatabase = TestPackage::TempPath(L".msi");
    WriteAll(notDatabase, "this is no installer database\n");
    const RunResult lint = RunTool({L"lint", notDatabase});
    EXPECT_EQ(lint.exitCode, 2u);
    EXPECT_NE(lint.err.find("installer database"), std::string::npos) << lint.err;
    EXPECT_EQ(RunTool({L"apply", notDatabase, *sDescription}).exitCode, 2u);
    EXPECT_EQ(RunTool({L"apply", missing, *sDescription}).exitCode, 2u);
    // Descriptions it can't use leave the package as it was.
    const std::wstring package = CopyOf(*sClean);
    const auto before = ExportAll(package);
    const std::wstring description = TestPackage::TempPath(L".toml");
    for (const std::string& bad : {std::string("[package]\nroute = = \"full\"\n"),
                                   std::string("[package]\nroute = \"sideways\"\n"),
                                   std::string("[[prerequisite]]\nPrereqKey = \"A\"\nColour = \"red\"\n"),
                                   std::string("[[prerequisite]]\nDisplayName = \"no key\"\n"),
                                   std::string("[package]\nlibrary = \"no-such.dll\"\n")}) {
        WriteAll(description, bad);
        const RunResult applied = RunTool({L"apply", package, description});
        EXPECT_EQ(applied.exitCode, 2u) << bad;
        EXPECT_FALSE(applied.err.empty()) << bad;
    }
    EXPECT_EQ(RunTool({L"apply", package, TestPackage::TempPath(L".toml")}).exitCode, 2u);
    EXPECT_EQ(ExportAll(package), before);
    EXPECT_EQ(RunTool({L"frobnicate"}).exitCode, 2u);
    ::DeleteFileW(package.c_str());
    ::DeleteFileW(notDatabase.c_str());
    ::DeleteFileW(description.c_str());
}
