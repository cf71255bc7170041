#include "tvpkg/Schema.h"
#include <map>
#include <stdexcept>
#include "frame/TableSchema.h"
#include "tvpkg/PackageDb.h"

namespace tvpkg {

const wchar_t kLibraryBinary[] = L"tvprereq.dll";
const wchar_t kLauncherBinary[] = L"tvpackagechainer.exe";
const wchar_t kScriptBinary[] = L"file_deleter.ps1";
const wchar_t kLaunchAction[] = L"TV_LaunchPrereqChainer";
const wchar_t kVersionProperty[] = L"TV_LIBRARY_VERSION";
const wchar_t kOptionLetters[] = L"ypfwi=-mrRlkcdbBqQjJnN";

const std::vector<std::wstring>& Exports() {
    static const std::vector<std::wstring> exports = {
        L"DoAppSearchEx", L"InstallPrePrereq", L"VerifyPrePrereq",   L"DownloadPrereq",
        L"ExtractPrereq", L"InstallPrereq",    L"VerifyPrereq",      L"InstallPostPrereq",
        L"RollbackPrePrereq", L"RollbackPrereq", L"ConfigurePrereqLauncher", L"CleanPrereq",
        L"ExtractSourceFiles"};
    return exports;
}

std::wstring ActionOf(const std::wstring& exportName) { return L"TV_" + exportName; }

const std::wstring& CreateSql(const std::wstring& table) {
    const std::wstring& sql = tv::CreateTableSql(table);
    if (sql.empty()) throw std::logic_error("no schema for " + ToUtf8(table));
    return sql;
}

const std::vector<ColumnDefinition>& PrereqColumns() {
    static const std::vector<ColumnDefinition> columns = {
        {L"PrereqKey", false, false, L"Identifier", 1, 0, nullptr, L"Key; also the property of a row's selection"},
        {L"DisplayName", false, true, L"Text", 1, 0, nullptr, L"Name shown to people"},
        {L"SetupFileUrl", false, true, L"Formatted", 1, 0, nullptr, L"Where a Location 1 file comes from"},
        {L"Location", true, true, nullptr, 0, 2, nullptr, L"0 setup executable, 1 URL or path, 2 no file"},
        {L"ExactSize", false, true, L"Text", 1, 0, nullptr, L"Size of a Location 1 file in bytes"},
        {L"ComLine", false, true, L"Formatted", 1, 0, nullptr, L"Arguments for installing"},
        {L"BasicUiComLine", false, true, L"Formatted", 1, 0, nullptr, L"Basic user-interface switch"},
        {L"NoUiComLine", false, true, L"Formatted", 1, 0, nullptr, L"Silent switch"},
        {L"Options", false, true, L"Text", 1, 0, nullptr, L"Option letters"},
        {L"Sequence", true, true, nullptr, 0, 2147483647, nullptr, L"Order of install"},
        {L"MD5", false, true, L"Text", 1, 0, nullptr, L"MD5 of the file, 32 hexadecimal digits"},
        {L"TargetName", false, true, L"Text", 1, 0, nullptr, L"File name, or folder?file for Location 1"},
        {L"Languages", false, true, L"Text", 1, 0, nullptr, L"Language identifiers separated by ;"},
        {L"Feature_", false, true, L"Identifier", 1, 0, L"Feature", L"Feature a feature-bound row follows"},
        {L"MissingCondition", false, true, L"Condition", 1, 0, nullptr, L"True while the prerequisite is absent"},
        {L"RetValPropName", false, true, L"Identifier", 1, 0, nullptr, L"Property for the setup's exit code"},
        {L"RepairComLine", false, true, L"Formatted", 1, 0, nullptr, L"Arguments for repairing"},
        {L"UninstallComLine", false, true, L"Formatted", 1, 0, nullptr, L"Arguments for removing"},
        {L"RunCustActBefore", false, true, L"Text", 1, 0, nullptr, L"Custom actions run before"},
        {L"RunCustActAfter", false, true, L"Text", 1, 0, nullptr, L"Custom actions run after"},
        {L"InstallCondition", false, true, L"Condition", 1, 0, nullptr, L"Must hold for an install"},
        {L"UninstallCondition", false, true, L"Condition", 1, 0, nullptr, L"Must hold for a removal"},
        {L"RepairCondition", false, true, L"Condition", 1, 0, nullptr, L"Must hold for a repair"},
        {L"RollbackCondition", false, true, L"Condition", 1, 0, nullptr, L"Not read by the library"},
        {L"RollbackComLine", false, true, L"Formatted", 1, 0, nullptr, L"Not read by the library"},
        {L"LogComLine", false, true, L"Formatted", 1, 0, nullptr, L"Arguments for the setup's own log"},
    };
    return columns;
}

const std::vector<ColumnDefinition>& SearchColumns() {
    static const std::vector<ColumnDefinition> columns = {
        {L"Property", false, false, L"Identifier", 1, 0, nullptr, L"Property that receives the result"},
        {L"Condition", false, true, L"Condition", 1, 0, nullptr, L"The row runs unless this is false"},
        {L"Type", true, true, nullptr, 0, 14, nullptr, L"Search kind"},
        {L"SearchString", false, true, L"Formatted", 1, 0, nullptr, L"What to look for"},
        {L"VerMin", false, true, L"Text", 1, 0, nullptr, L"Lowest version, inclusive"},
        {L"VerMax", false, true, L"Text", 1, 0, nullptr, L"Highest version, inclusive"},
        {L"Platform", false, true, L"Text", 1, 0, nullptr, L"1: the 64-bit view"},
        {L"RefContent", false, true, L"Text", 1, 0, nullptr, L"Kind 9 comparison, kind 10 arguments"},
        {L"PrereqSearch", false, true, L"Text", 1, 0, nullptr, L"Not empty: run again by VerifyPrePrereq"},
        {L"Order", true, true, nullptr, -32767, 32767, nullptr, L"Order of the searches"},
    };
    return columns;
}

const std::vector<DefaultText>& DefaultErrors() {
    static const std::vector<DefaultText> texts = {
        {L"4153", L"The prerequisite [2] is still missing after its setup ran. The installation cannot go on.", L""},
        {L"4154", L"The prerequisite [2] is still missing after its setup ran. Go on without it?", L""},
        {L"4155", L"The setup file of the prerequisite [2] could not be fetched or is damaged. The installation "
                  L"cannot go on.", L""},
        {L"4156", L"The setup file of the prerequisite [2] could not be fetched or is damaged. Go on without it?",
         L""},
    };
    return texts;
}

const std::vector<DefaultText>& DefaultUiTexts() {
    static const std::vector<DefaultText> texts = {
        {L"InstallingPrereq", L"Installing [1]", L""},
        {L"DownloadingPrereq", L"Downloading [1]", L""},
        {L"ExtractPrereq", L"Extracting [1]", L""},
        {L"PrereqCompletedSuffix", L" (done)", L""},
        {L"InstallPrereq", L"Installing prerequisites", L""},
        {L"RemovePrereq", L"Removing prerequisites", L""},
    };
    return texts;
}

const std::vector<DefaultText>& DefaultActionTexts() {
    static const std::vector<DefaultText> texts = {
        {L"TV_InstallPrerequisite", L"Installing prerequisites", L"[1]"},
        {L"TV_DownloadPrereq", L"Downloading prerequisites", L"[1]"},
        {L"TV_ExtractPrereq", L"Extracting prerequisites", L"[1]"},
        {L"TV_VerifyPrereq", L"Verifying prerequisites", L"[1]"},
    };
    return texts;
}

}  // namespace tvpkg
