#include "tvpkg/Lint.h"
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <wtypes.h>
#include <algorithm>
#include <cstdlib>
#include <cwctype>
#include <map>
#include <set>
#include "platform/TempFile.h"
#include "prereq/PrereqOptions.h"
#include "prereq/Prerequisite.h"
#include "search/Version.h"
#include "tvpkg/PackageDb.h"
#include "tvpkg/Schema.h"

namespace tvpkg {

namespace {

// Conditions are judged by the installer itself, in a session of an empty
// scratch package: only their syntax counts, not the state of a machine.
class ConditionJudge {
public:
    ConditionJudge() {
        wchar_t folder[MAX_PATH];
        ::GetTempPathW(MAX_PATH, folder);
        mFile.Reset(tv::MakeTempFile(folder, L"tvl", L".msi"));
        tv::MsiHandle db;
        if (::MsiOpenDatabaseW(mFile.Path().c_str(), MSIDBOPEN_CREATE, db.Put()) != ERROR_SUCCESS) return;
        for (const wchar_t* sql :
             {L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL PRIMARY KEY `Property`)",
              L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductCode', '{5C3E8D4A-1F0B-4C6E-9A57-3D2B1E0F4A6C}')",
              L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductLanguage', '1033')",
              L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductVersion', '1.0.0')"}) {
            tv::MsiHandle view;
            if (::MsiDatabaseOpenViewW(db.Get(), sql, view.Put()) == ERROR_SUCCESS) ::MsiViewExecute(view.Get(), 0);
        }
        // The summary is closed before the commit, or the commit leaves it out.
        if (tv::MsiHandle info; ::MsiGetSummaryInformationW(db.Get(), nullptr, 4, info.Put()) == ERROR_SUCCESS) {
            ::MsiSummaryInfoSetPropertyW(info.Get(), 7 /*PID_TEMPLATE*/, VT_LPSTR, 0, nullptr, L"Intel;1033");
            ::MsiSummaryInfoSetPropertyW(info.Get(), 9 /*PID_REVNUMBER*/, VT_LPSTR, 0, nullptr,
                                         L"{0E7D2B36-6C1A-4B8F-8F21-7A4C5D3E2B10}");
            ::MsiSummaryInfoSetPropertyW(info.Get(), 14 /*PID_PAGECOUNT*/, VT_I4, 200, nullptr, nullptr);
            ::MsiSummaryInfoSetPropertyW(info.Get(), 15 /*PID_WORDCOUNT*/, VT_I4, 2, nullptr, nullptr);
            ::MsiSummaryInfoPersist(info.Get());
        }
        ::MsiDatabaseCommit(db.Get());
        db.Reset();
        ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        ::MsiOpenPackageExW(mFile.Path().c_str(), MSIOPENPACKAGEFLAGS_IGNOREMACHINESTATE, mSession.Put());
    }
    ConditionJudge(const ConditionJudge&) = delete;
    ConditionJudge& operator=(const ConditionJudge&) = delete;

    // False only when the installer calls the text a syntax error.
    bool Parses(const std::wstring& condition) const {
        if (condition.empty() || !mSession) return true;
        return ::MsiEvaluateConditionW(mSession.Get(), condition.c_str()) != MSICONDITION_ERROR;
    }

private:
    tv::TempFile mFile;       // removed after the session below is closed
    tv::MsiHandle mSession;
};

// Leading digits with an optional sign, as the library reads integer cells;
// 0 for anything else, never an exception.
long ToInt(const std::wstring& text) { return std::wcstol(text.c_str(), nullptr, 10); }

bool IsDecimal(const std::wstring& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

bool IsHex32(const std::wstring& text) {
    return text.size() == 32 && std::all_of(text.begin(), text.end(), [](wchar_t c) { return std::iswxdigit(c); });
}

using tv::HasOptionLetter;

std::wstring Quoted(const std::wstring& text) { return L"\"" + text + L"\""; }

// The action name of each export the package calls, by export.
struct ExportActions {
    std::map<std::wstring, std::vector<std::wstring>> byExport;  // export -> actions
    std::map<std::wstring, std::wstring> exportOf;              // action -> export
};

class Linter {
public:
    Linter(const std::wstring& path) : mDb(path, false) {}

    std::vector<Finding> Run() {
        ReadCommon();
        CheckPrereqTable();
        CheckSearchTable();
        CheckTexts();
        CheckActions();
        CheckSequences();
        return std::move(mFindings);
    }

private:
    void Add(const std::wstring& check, const std::wstring& table, const std::wstring& row,
             const std::wstring& column, const std::wstring& message) {
        // One finding for a place and a check: the first reason stands.
        if (!mPlaces.insert(check + L"\x1" + table + L"\x1" + row + L"\x1" + column).second) return;
        mFindings.push_back({check, table, row, column, message});
    }

    void ReadCommon() {
        for (const tv::TableRow& row : mDb.Rows(L"Feature")) mFeatures.insert(tv::Cell(row, L"Feature"));
        for (const tv::TableRow& row : mDb.Rows(L"CustomAction")) {
            const std::wstring& action = tv::Cell(row, L"Action");
            mCustomActions[action] = row;
            const int type = ToInt(tv::Cell(row, L"Type"));
            const std::wstring& target = tv::Cell(row, L"Target");
            if ((type & 0x07) == 1 && (type & 0x30) == 0 &&
                std::find(Exports().begin(), Exports().end(), target) != Exports().end()) {
                mExports.byExport[target].push_back(action);
                mExports.exportOf[action] = target;
            }
        }
        for (const tv::TableRow& row : mDb.Rows(L"Property")) mProperties[tv::Cell(row, L"Property")] = tv::Cell(row, L"Value");
        if (mDb.HasTable(L"Binary")) {
            tv::MsiTableReader reader(mDb.Handle(), false);
            const wchar_t* const columns[] = {L"Name", nullptr};
            reader.Open(L"Binary", columns, nullptr, nullptr);
            for (const tv::TableRow& row : reader.GetRows()) mBinaries.insert(tv::Cell(row, L"Name"));
        }
    }

    void CheckCondition(const std::wstring& table, const std::wstring& row, const std::wstring& column,
                        const std::wstring& text) {
        if (!mJudge.Parses(text))
            Add(L"condition", table, row, column, L"the installer can't parse the condition " + Quoted(text));
    }

    void CheckColumns(const std::wstring& table, const std::vector<ColumnDefinition>& expected) {
        const std::vector<std::wstring> columns = mDb.Columns(table);
        for (const ColumnDefinition& column : expected)
            if (std::find(columns.begin(), columns.end(), column.name) == columns.end())
                Add(L"column-missing", table, L"", column.name,
                    L"the table has no column " + std::wstring(column.name) + L"; the library's query of it fails as a whole");
    }

    void CheckOptions(const std::wstring& key, const std::wstring& options) {
        std::wstring unknown;
        for (wchar_t c : options)
            if (!std::wcschr(kOptionLetters, c) && unknown.find(c) == std::wstring::npos) unknown += c;
        if (!unknown.empty())
            Add(L"option-unknown", L"TV_PreRequisite", key, L"Options",
                L"unknown option letters " + Quoted(unknown) + L" (the library ignores them)");
        auto contradiction = [&](const std::wstring& message) {
            Add(L"option-contradiction", L"TV_PreRequisite", key, L"Options", message);
        };
        if (HasOptionLetter(options, L'c') && HasOptionLetter(options, L'd'))
            contradiction(L"c (not on ARM64) and d (only on ARM64) together: the row applies nowhere");
        if (HasOptionLetter(options, L'R') && !HasOptionLetter(options, L'r'))
            contradiction(L"R without r has no effect");
        const int phases =
            HasOptionLetter(options, L'y') + HasOptionLetter(options, L'p') + HasOptionLetter(options, L'f');
        if (HasOptionLetter(options, L'w') && phases > 0)
            contradiction(L"w (excluded) together with a phase letter y, p or f");
        if (phases > 1) contradiction(L"more than one of the phase letters y, p, f: only the first of y, p, f counts");
        for (const wchar_t* group : {L"bqjn", L"BQJN"}) {
            std::wstring present;
            for (const wchar_t* c = group; *c; ++c)
                if (HasOptionLetter(options, *c)) present += *c;
            if (present.size() > 1)
                contradiction(L"user-interface letters " + Quoted(present) + L" together: only " +
                              std::wstring(1, present[0]) + L" counts");
        }
    }

    void CheckPrereqTable() {
        if (!mDb.HasTable(L"TV_PreRequisite")) {
            Add(L"table-missing", L"TV_PreRequisite", L"", L"", L"the package has no TV_PreRequisite table");
            return;
        }
        CheckColumns(L"TV_PreRequisite", PrereqColumns());
        std::map<std::wstring, std::set<std::wstring>> sequences;  // Sequence -> keys
        for (const tv::TableRow& row : mDb.Rows(L"TV_PreRequisite")) {
            const std::wstring& key = tv::Cell(row, L"PrereqKey");
            const std::wstring& options = tv::Cell(row, L"Options");
            CheckOptions(key, options);
            for (const wchar_t* column :
                 {L"MissingCondition", L"InstallCondition", L"UninstallCondition", L"RepairCondition", L"RollbackCondition"})
                CheckCondition(L"TV_PreRequisite", key, column, tv::Cell(row, column));
            const std::wstring& location = tv::Cell(row, L"Location");
            if (!location.empty() && location != L"0" && location != L"1" && location != L"2")
                Add(L"location", L"TV_PreRequisite", key, L"Location",
                    L"Location " + location + L" is none of 0 (setup executable), 1 (URL or path), 2 (no file)");
            if (location == L"1") {
                if (tv::Cell(row, L"SetupFileUrl").empty())
                    Add(L"url-missing", L"TV_PreRequisite", key, L"SetupFileUrl", L"a Location 1 row without a URL");
                const std::wstring& size = tv::Cell(row, L"ExactSize");
                if (size.empty())
                    Add(L"url-exact-size", L"TV_PreRequisite", key, L"ExactSize",
                        L"a URL row without ExactSize: its download can't be checked");
                else if (!IsDecimal(size))
                    Add(L"url-exact-size", L"TV_PreRequisite", key, L"ExactSize",
                        L"ExactSize " + Quoted(size) + L" is not a number of bytes");
                const std::wstring& md5 = tv::Cell(row, L"MD5");
                if (!md5.empty() && !IsHex32(md5))
                    Add(L"url-md5", L"TV_PreRequisite", key, L"MD5", L"MD5 " + Quoted(md5) + L" is not 32 hexadecimal digits");
            }
            sequences[tv::Cell(row, L"Sequence")].insert(key);
            const std::wstring& feature = tv::Cell(row, L"Feature_");
            const bool bound = HasOptionLetter(options, L'f') || HasOptionLetter(options, L'p') || HasOptionLetter(options, L'w');
            if (!feature.empty() && !mFeatures.count(feature))
                Add(L"feature", L"TV_PreRequisite", key, L"Feature_", L"Feature_ " + Quoted(feature) + L" names no feature");
            else if (feature.empty() && bound)
                Add(L"feature", L"TV_PreRequisite", key, L"Feature_",
                    L"a feature-bound row (f, p or w) without Feature_");
            for (const wchar_t* column : {L"RunCustActBefore", L"RunCustActAfter"}) {
                const std::wstring& text = tv::Cell(row, column);
                if (text.empty()) continue;
                const size_t separator = text.find(L';');
                std::vector<std::wstring> actions = {text.substr(0, separator)};
                if (separator != std::wstring::npos) actions.push_back(text.substr(separator + 1));
                for (const std::wstring& action : actions)
                    if (!mCustomActions.count(action))
                        Add(L"custom-action", L"TV_PreRequisite", key, column,
                            Quoted(action) + L" names no custom action");
            }
            if (tv::Cell(row, L"MissingCondition").empty() && !HasOptionLetter(options, L'i'))
                Add(L"missing-condition", L"TV_PreRequisite", key, L"MissingCondition",
                    L"no MissingCondition: verification never sees the row missing, while TV_PrereqsFulfilled "
                    L"always does");
            if (location.empty() || location == L"0") mLocation0.push_back(key);
        }
        // Of rows that share a Sequence, all but the first by key are reported.
        for (const auto& [sequence, keys] : sequences) {
            if (keys.size() < 2) continue;
            for (auto key = std::next(keys.begin()); key != keys.end(); ++key)
                Add(L"sequence-duplicate", L"TV_PreRequisite", *key, L"Sequence",
                    L"Sequence " + (sequence.empty() ? std::wstring(L"(empty)") : sequence) + L" is also the row " +
                        *keys.begin() + L"'s: their order is undefined");
        }
        std::sort(mLocation0.begin(), mLocation0.end());
    }

    void CheckSearchTable() {
        if (!mDb.HasTable(L"TV_AppSearchEx")) return;
        CheckColumns(L"TV_AppSearchEx", SearchColumns());
        for (const tv::TableRow& row : mDb.Rows(L"TV_AppSearchEx")) {
            const std::wstring& key = tv::Cell(row, L"Property");
            CheckCondition(L"TV_AppSearchEx", key, L"Condition", tv::Cell(row, L"Condition"));
            const std::wstring& type = tv::Cell(row, L"Type");
            if (!type.empty() && (!IsDecimal(type) || type.size() > 2 || ToInt(type) > 14))
                Add(L"search-type", L"TV_AppSearchEx", key, L"Type",
                    L"search kind " + type + L" is unknown (0 to 14); the row counts as found without a search");
            for (const wchar_t* column : {L"VerMin", L"VerMax"}) {
                const std::wstring& bound = tv::Cell(row, column);
                tv::Version version;
                if (!bound.empty() && !tv::ParseVersion(bound, version))
                    Add(L"search-bound", L"TV_AppSearchEx", key, column,
                        L"the version bound " + Quoted(bound) + L" can't be parsed");
            }
        }
    }

    void CheckTexts() {
        std::set<std::wstring> errors, texts;
        for (const tv::TableRow& row : mDb.Rows(L"Error"))
            if (!tv::Cell(row, L"Message").empty()) errors.insert(tv::Cell(row, L"Error"));
        for (const tv::TableRow& row : mDb.Rows(L"UIText")) texts.insert(tv::Cell(row, L"Key"));
        for (const DefaultText& text : DefaultErrors())
            if (!errors.count(text.key))
                Add(L"error-row", L"Error", text.key, L"Message",
                    L"no Error row " + text.key + L": the library's message for a failed prerequisite has no text");
        for (const DefaultText& text : DefaultUiTexts())
            if (!texts.count(text.key))
                Add(L"uitext-key", L"UIText", text.key, L"Text", L"no UIText row " + text.key);
    }

    void CheckActions() {
        for (const auto& [action, exportName] : mExports.exportOf) {
            const tv::TableRow& row = mCustomActions[action];
            const int type = ToInt(tv::Cell(row, L"Type"));
            if ((type & 0x400) && exportName != L"ExtractSourceFiles")
                Add(L"action-type", L"CustomAction", action, L"Type",
                    L"type " + std::to_wstring(type) + L" runs " + exportName +
                        L" deferred; it reads the package's tables and properties and must run at once (type 1)");
            const std::wstring& source = tv::Cell(row, L"Source");
            if (!mBinaries.count(source))
                Add(L"binary-missing", L"Binary", source, L"Data",
                    L"the custom action " + action + L" calls " + exportName + L" in " + Quoted(source) +
                        L", which is no row of the Binary table");
        }
    }

    // The positive sequence number of each of our actions in a table.
    void CheckSequences() {
        const std::vector<std::wstring> chain = {L"DoAppSearchEx", L"InstallPrePrereq", L"VerifyPrePrereq",
                                                 L"DownloadPrereq", L"ExtractPrereq", L"InstallPrereq",
                                                 L"VerifyPrereq", L"InstallPostPrereq", L"CleanPrereq"};
        std::vector<std::pair<std::wstring, std::wstring>> pairs;  // first must come before second
        for (size_t i = 0; i < chain.size(); ++i)
            for (size_t j = i + 1; j < chain.size(); ++j) pairs.emplace_back(chain[i], chain[j]);
        pairs.emplace_back(L"VerifyPrePrereq", L"RollbackPrePrereq");
        pairs.emplace_back(L"VerifyPrereq", L"RollbackPrereq");
        pairs.emplace_back(L"DoAppSearchEx", L"ConfigurePrereqLauncher");
        pairs.emplace_back(L"ConfigurePrereqLauncher", L"CleanPrereq");
        const bool needsSourceDir = !mLocation0.empty() && mProperties[L"TV_SETUPEXEPATH"].empty() &&
                                    mProperties[L"TV_EMBEDDED_FILES_LOCATION"].empty();
        bool launcherScheduled = false;
        std::wstring launcherTable, launcherAction;
        for (const wchar_t* table : {L"InstallUISequence", L"InstallExecuteSequence", L"AdminExecuteSequence"}) {
            std::map<std::wstring, std::pair<std::wstring, long>> positions;  // export -> (action, sequence)
            long resolveSource = 0;
            for (const tv::TableRow& row : mDb.Rows(table)) {
                const std::wstring& action = tv::Cell(row, L"Action");
                CheckCondition(table, action, L"Condition", tv::Cell(row, L"Condition"));
                const std::wstring& text = tv::Cell(row, L"Sequence");
                const long sequence = ToInt(text);
                if (action == L"ResolveSource" && sequence > 0) resolveSource = sequence;
                auto exported = mExports.exportOf.find(action);
                if (exported == mExports.exportOf.end()) continue;
                if (exported->second == L"ConfigurePrereqLauncher" && !text.empty() && sequence != 0 && !launcherScheduled) {
                    launcherScheduled = true;
                    launcherTable = table;
                    launcherAction = action;
                }
                if (sequence > 0) positions[exported->second] = {action, sequence};
            }
            for (const auto& [first, second] : pairs) {
                auto a = positions.find(first), b = positions.find(second);
                if (a == positions.end() || b == positions.end() || a->second.second < b->second.second) continue;
                Add(L"action-order", table, b->second.first, L"Sequence",
                    b->second.first + L" (" + second + L", " + std::to_wstring(b->second.second) + L") runs before " +
                        a->second.first + L" (" + first + L", " + std::to_wstring(a->second.second) +
                        L"); the library expects " + first + L" first");
            }
            if (needsSourceDir) {
                // The earliest action that looks for a Location 0 file.
                auto it = positions.end();
                for (const wchar_t* name : {L"InstallPrePrereq", L"ExtractPrereq", L"InstallPrereq", L"ConfigurePrereqLauncher"}) {
                    auto candidate = positions.find(name);
                    if (candidate != positions.end() && (it == positions.end() || candidate->second.second < it->second.second))
                        it = candidate;
                }
                if (it != positions.end() && !(resolveSource > 0 && resolveSource < it->second.second)) {
                    Add(L"source-dir", table, it->second.first, L"Sequence",
                        it->second.first + L" runs where SourceDir is not resolved (no ResolveSource before it), "
                        L"and the Location 0 row " + mLocation0.front() +
                        L" is looked for beside the package because TV_SETUPEXEPATH is not set");
                }
            }
        }
        if (launcherScheduled && !mBinaries.count(kLauncherBinary))
            Add(L"launcher-binary", L"Binary", kLauncherBinary, L"Data",
                launcherAction + L" (ConfigurePrereqLauncher) is scheduled in " + launcherTable +
                    L" but the Binary table has no tvpackagechainer.exe");
    }

    PackageDb mDb;
    ConditionJudge mJudge;
    std::vector<Finding> mFindings;
    std::set<std::wstring> mPlaces;
    std::set<std::wstring> mFeatures, mBinaries;
    std::map<std::wstring, tv::TableRow> mCustomActions;
    std::map<std::wstring, std::wstring> mProperties;
    ExportActions mExports;
    std::vector<std::wstring> mLocation0;
};

}  // namespace

std::vector<Finding> LintPackage(const std::wstring& packagePath) { return Linter(packagePath).Run(); }

std::wstring FindingLine(const Finding& finding) {
    std::wstring where = finding.table;
    if (!finding.row.empty()) where += L"[" + finding.row + L"]";
    if (!finding.column.empty()) where += L"." + finding.column;
    return where + L": " + finding.check + L": " + finding.message;
}

}  // namespace tvpkg
