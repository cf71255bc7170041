#include "tvpkg/Apply.h"
#include <algorithm>
#include <set>
#include "platform/FileVersion.h"
#include "tvpkg/PackageDb.h"
#include "tvpkg/Schema.h"

namespace tvpkg {

namespace {

constexpr int kImmediateDll = 1;        // a function of a DLL in the Binary table, run at once
constexpr int kExeFromProperty = 50;    // a program whose path is in a property, waited for
constexpr int kFatalErrorSlot = -3;     // run when the installation ends in a fatal error

struct Scheduled {
    std::wstring action;
    std::wstring condition;
};

std::wstring Join(const std::wstring& a, const std::wstring& b) {
    if (a.empty()) return b;
    if (b.empty()) return a;
    return L"(" + a + L") AND (" + b + L")";
}

CellValue TextOrNull(const std::wstring& text) {
    if (text.empty()) return NullCell{};
    return text;
}

void RequireFile(const std::wstring& path, const char* what) {
    if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
        throw UnusableInput(std::string("cannot read the ") + what + " " + ToUtf8(path));
}

// Sequence numbers of the rows of InstallExecuteSequence that are not ours.
std::map<std::wstring, int> OtherSequenceRows(const PackageDb& db, const std::set<std::wstring>& ours) {
    std::map<std::wstring, int> rows;
    for (const tv::TableRow& row : db.Rows(L"InstallExecuteSequence")) {
        const std::wstring& action = tv::Cell(row, L"Action");
        const std::wstring& sequence = tv::Cell(row, L"Sequence");
        if (ours.count(action) || sequence.empty()) continue;
        rows[action] = std::stoi(sequence);
    }
    return rows;
}

// `count` numbers evenly inside (low, high).
std::vector<int> Spread(int low, int high, size_t count, const char* where) {
    std::vector<int> numbers;
    if (count == 0) return numbers;
    const int step = (high - low) / static_cast<int>(count + 1);
    if (step < 1) throw UnusableInput(std::string("no room in InstallExecuteSequence ") + where);
    for (size_t i = 1; i <= count; ++i) numbers.push_back(low + step * static_cast<int>(i));
    return numbers;
}

// The first sequence number above `after` taken by another action, or
// after + 1000 when none is.
int NextAbove(const std::map<std::wstring, int>& rows, int after) {
    int next = after + 1000;
    for (const auto& [action, sequence] : rows)
        if (sequence > after && sequence < next) next = sequence;
    return next;
}

int Anchor(const std::map<std::wstring, int>& rows, const wchar_t* action) {
    auto it = rows.find(action);
    if (it == rows.end())
        throw UnusableInput("the package's InstallExecuteSequence has no " + ToUtf8(action) +
                            "; tvpkg places the library's actions relative to it");
    return it->second;
}

bool HasPropertyValue(const PackageDb& db, const Description& description, const std::wstring& name) {
    for (const auto& [property, value] : description.properties)
        if (property == name) return true;
    for (const tv::TableRow& row : db.Rows(L"Property"))
        if (tv::Cell(row, L"Property") == name && !tv::Cell(row, L"Value").empty()) return true;
    return false;
}

void WriteRows(const PackageDb& db, const std::wstring& table, const std::vector<ColumnDefinition>& columns,
               const std::vector<DescribedRow>& rows) {
    db.EnsureTable(table, CreateSql(table));
    db.Execute(L"DELETE FROM `" + table + L"`");
    for (const DescribedRow& row : rows) {
        std::vector<CellValue> cells;
        for (const ColumnDefinition& column : columns) {
            auto it = row.find(column.name);
            cells.push_back(it == row.end() ? CellValue{NullCell{}} : it->second);
        }
        db.Assign(table, cells);
    }
    for (const ColumnDefinition& column : columns) {
        CellValue minValue = NullCell{}, maxValue = NullCell{};
        if (column.integer) {
            minValue = column.minValue;
            maxValue = column.maxValue;
        }
        db.Assign(L"_Validation",
                  {table, std::wstring(column.name), std::wstring(column.nullable ? L"Y" : L"N"), minValue, maxValue,
                   column.keyTable ? CellValue{std::wstring(column.keyTable)} : CellValue{NullCell{}},
                   column.keyTable ? CellValue{1} : CellValue{NullCell{}},
                   column.category ? CellValue{std::wstring(column.category)} : CellValue{NullCell{}}, NullCell{},
                   std::wstring(column.description)});
    }
}

}  // namespace

std::wstring FileVersionText(const std::wstring& path) {
    DWORD high = 0, low = 0;
    if (tv::ReadFileVersion(path, &high, &low) != 0) return {};
    return tv::FileVersionToText(high, low);
}

void ApplyDescription(const std::wstring& packagePath, const Description& description) {
    RequireFile(description.libraryPath, "library");
    RequireFile(description.launcherPath, "launcher");
    RequireFile(description.scriptPath, "cleanup script");
    const std::wstring libraryVersion = FileVersionText(description.libraryPath);
    if (libraryVersion.empty())
        throw UnusableInput("the library " + ToUtf8(description.libraryPath) + " has no version resource");

    PackageDb db(packagePath, true);
    for (const wchar_t* table : {L"Property", L"Binary", L"CustomAction", L"InstallExecuteSequence", L"Error",
                                 L"UIText", L"ActionText", L"_Validation"})
        db.EnsureTable(table, CreateSql(table));

    // What an earlier apply wrote goes first.
    std::set<std::wstring> ours;
    for (const std::wstring& name : Exports()) ours.insert(ActionOf(name));
    ours.insert(kLaunchAction);
    for (const std::wstring& action : ours) {
        db.Execute(L"DELETE FROM `CustomAction` WHERE `Action` = " + SqlText(action));
        db.Execute(L"DELETE FROM `InstallExecuteSequence` WHERE `Action` = " + SqlText(action));
        if (db.HasTable(L"InstallUISequence"))
            db.Execute(L"DELETE FROM `InstallUISequence` WHERE `Action` = " + SqlText(action));
    }

    // The binaries, replaced whole.
    for (const auto& [name, path] : {std::pair<std::wstring, std::wstring>{kLibraryBinary, description.libraryPath},
                                     {kLauncherBinary, description.launcherPath},
                                     {kScriptBinary, description.scriptPath}}) {
        db.Execute(L"DELETE FROM `Binary` WHERE `Name` = " + SqlText(name));
        db.Assign(L"Binary", {name, StreamFile{path}});
    }

    // Properties: the description's, the route's and the library's version.
    db.Execute(L"DELETE FROM `Property` WHERE `Property` = 'TV_PARALLEL_DOWNLOAD'");
    for (const auto& [name, value] : description.properties) db.Assign(L"Property", {name, value});
    if (description.route == Route::Parallel) db.Assign(L"Property", {std::wstring(L"TV_PARALLEL_DOWNLOAD"), std::wstring(L"1")});
    db.Assign(L"Property", {std::wstring(kVersionProperty), libraryVersion});

    // The TV_ tables with their _Validation rows.
    WriteRows(db, L"TV_PreRequisite", PrereqColumns(), description.prerequisites);
    WriteRows(db, L"TV_AppSearchEx", SearchColumns(), description.searches);

    // Texts: defaults where the package has no row, the description's always.
    for (const DefaultText& text : DefaultErrors()) db.InsertIfMissing(L"Error", {std::stoi(text.key), text.text});
    for (const DefaultText& text : DefaultUiTexts()) db.InsertIfMissing(L"UIText", {text.key, text.text});
    for (const DefaultText& text : DefaultActionTexts())
        db.InsertIfMissing(L"ActionText", {text.key, text.text, text.extra});
    for (const auto& [number, text] : description.errors) db.Assign(L"Error", {number, text});
    for (const auto& [key, text] : description.uiTexts) db.Assign(L"UIText", {key, text});
    for (const auto& [action, texts] : description.actionTexts)
        db.Assign(L"ActionText", {action, TextOrNull(texts.first), TextOrNull(texts.second)});

    // Custom actions: one immediate action for each export.
    for (const std::wstring& name : Exports())
        db.Assign(L"CustomAction", {ActionOf(name), kImmediateDll, std::wstring(kLibraryBinary), name});
    const bool launcherRoute = description.route == Route::Silent || description.route == Route::Reduced;
    if (launcherRoute)
        db.Assign(L"CustomAction", {std::wstring(kLaunchAction), kExeFromProperty,
                                    std::wstring(L"TV_PREREQ_CHAINER"), NullCell{}});

    // Sequences.
    auto condition = [&](const std::wstring& exportName, const std::wstring& routeCondition) {
        auto it = description.conditions.find(exportName);
        return Join(routeCondition, it == description.conditions.end() ? std::wstring() : it->second);
    };
    std::vector<Scheduled> before, after;
    const std::wstring phases = description.route == Route::Reduced ? L"UILevel > 3" : L"";
    const std::wstring launcher = description.route == Route::Reduced ? L"UILevel < 4" : L"";
    before.push_back({ActionOf(L"DoAppSearchEx"), condition(L"DoAppSearchEx", L"")});
    if (description.route != Route::Silent) {
        for (const wchar_t* name : {L"InstallPrePrereq", L"VerifyPrePrereq", L"DownloadPrereq", L"ExtractPrereq",
                                    L"InstallPrereq", L"VerifyPrereq"}) {
            before.push_back({ActionOf(name), condition(name, phases)});
            if (description.rollback != RollbackSlot::Inline) continue;
            const std::wstring phase = name;
            if (phase == L"VerifyPrePrereq")
                before.push_back({ActionOf(L"RollbackPrePrereq"), condition(L"RollbackPrePrereq", phases)});
            if (phase == L"VerifyPrereq")
                before.push_back({ActionOf(L"RollbackPrereq"), condition(L"RollbackPrereq", phases)});
        }
    }
    if (launcherRoute) {
        before.push_back({ActionOf(L"ConfigurePrereqLauncher"), condition(L"ConfigurePrereqLauncher", launcher)});
        before.push_back({kLaunchAction, Join(launcher, L"TV_PREREQ_CHAINER")});
    }
    if (description.extractSourceFiles)
        before.push_back({ActionOf(L"ExtractSourceFiles"), condition(L"ExtractSourceFiles", L"")});
    if (description.route != Route::Silent)
        after.push_back({ActionOf(L"InstallPostPrereq"), condition(L"InstallPostPrereq", phases)});
    after.push_back({ActionOf(L"CleanPrereq"), condition(L"CleanPrereq", L"")});

    std::map<std::wstring, int> others = OtherSequenceRows(db, ours);
    // A file of Location 0 lies beside the package unless TV_SETUPEXEPATH
    // names the setup executable: SourceDir must be resolved first.
    bool location0 = false;
    for (const DescribedRow& row : description.prerequisites) {
        auto it = row.find(L"Location");
        if (it == row.end() || (std::holds_alternative<int>(it->second) && std::get<int>(it->second) == 0))
            location0 = true;
    }
    const int costFinalize = Anchor(others, L"CostFinalize");
    if (location0 && !HasPropertyValue(db, description, L"TV_SETUPEXEPATH") &&
        !HasPropertyValue(db, description, L"TV_EMBEDDED_FILES_LOCATION") && !others.count(L"ResolveSource")) {
        int below = 0;
        for (const auto& [action, sequence] : others)
            if (sequence < costFinalize && sequence > below) below = sequence;
        const int slot = Spread(below, costFinalize, 1, "before CostFinalize for ResolveSource").front();
        db.Assign(L"InstallExecuteSequence", {std::wstring(L"ResolveSource"), NullCell{}, slot});
        others[L"ResolveSource"] = slot;
    }
    const std::vector<int> beforeSlots =
        Spread(costFinalize, NextAbove(others, costFinalize), before.size(), "after CostFinalize");
    for (size_t i = 0; i < before.size(); ++i)
        db.Assign(L"InstallExecuteSequence", {before[i].action, TextOrNull(before[i].condition), beforeSlots[i]});
    const int finalize = others.count(L"InstallFinalize") ? others[L"InstallFinalize"] : beforeSlots.back();
    const std::vector<int> afterSlots = Spread(finalize, NextAbove(others, finalize), after.size(), "after InstallFinalize");
    for (size_t i = 0; i < after.size(); ++i)
        db.Assign(L"InstallExecuteSequence", {after[i].action, TextOrNull(after[i].condition), afterSlots[i]});
    // One rollback export in the fatal-error slot, if the slot is free.
    if (description.rollback == RollbackSlot::Main || description.rollback == RollbackSlot::Pre) {
        const wchar_t* name = description.rollback == RollbackSlot::Main ? L"RollbackPrereq" : L"RollbackPrePrereq";
        bool taken = false;
        for (const auto& [action, sequence] : others) taken = taken || sequence == kFatalErrorSlot;
        if (taken)
            throw UnusableInput("InstallExecuteSequence already has an action at -3 (fatal error); set rollback = "
                                "\"none\" in [package] and schedule " + ToUtf8(name) + " yourself");
        db.Assign(L"InstallExecuteSequence", {ActionOf(name), TextOrNull(condition(name, L"")), kFatalErrorSlot});
    }
    db.Commit();
}

}  // namespace tvpkg
