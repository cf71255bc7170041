#include "tvpkg/Description.h"
#include <windows.h>
#include <shlwapi.h>
#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>
#include <toml.hpp>
#include "tvpkg/Schema.h"

namespace tvpkg {

namespace {

[[noreturn]] void Fail(const toml::value& at, const std::string& message, const std::string& hint) {
    throw UnusableInput(toml::format_error("[error] " + message, at, hint));
}

std::string ReadFileBytes(const std::wstring& path) {
    FILE* file = ::_wfopen(path.c_str(), L"rb");
    if (!file) throw UnusableInput("cannot read the description " + ToUtf8(path));
    std::string bytes;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.append(buffer, n);
    std::fclose(file);
    return bytes;
}

std::wstring Text(const toml::value& value, const std::string& what) {
    if (!value.is_string()) Fail(value, what + " must be a string", "here");
    return FromUtf8(value.as_string().str);
}

void OnlyKeys(const toml::value& table, const std::set<std::string>& known, const std::string& where) {
    for (const auto& [key, value] : table.as_table())
        if (!known.count(key)) Fail(value, "unknown key \"" + key + "\" in " + where, "not a key tvpkg knows");
}

std::wstring Absolute(const std::wstring& path, const std::wstring& base) {
    std::wstring joined = path;
    if (::PathIsRelativeW(path.c_str())) joined = base + L"\\" + path;
    wchar_t full[MAX_PATH * 4];
    const DWORD n = ::GetFullPathNameW(joined.c_str(), MAX_PATH * 4, full, nullptr);
    return n > 0 && n < MAX_PATH * 4 ? std::wstring(full, n) : joined;
}

std::wstring FolderOf(const std::wstring& path) {
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? L"." : path.substr(0, slash);
}

// A row of a TV_ table: keys are column names; integer columns take
// integers (or a decimal text), text columns take strings (ExactSize and
// the like also an integer, written as its decimal text).
DescribedRow ReadRow(const toml::value& table, const std::vector<ColumnDefinition>& columns, const std::string& where,
                     const wchar_t* keyColumn) {
    if (!table.is_table()) Fail(table, where + " must be a table", "here");
    DescribedRow row;
    for (const auto& [key, value] : table.as_table()) {
        const std::wstring name = FromUtf8(key);
        auto column = std::find_if(columns.begin(), columns.end(), [&](const ColumnDefinition& c) { return name == c.name; });
        if (column == columns.end()) Fail(value, "unknown column \"" + key + "\" in " + where, "no such column");
        if (column->integer) {
            if (value.is_integer()) {
                row[name] = static_cast<int>(value.as_integer());
            } else {
                Fail(value, "column " + key + " takes an integer", "here");
            }
        } else if (value.is_integer()) {
            row[name] = std::to_wstring(value.as_integer());
        } else {
            row[name] = Text(value, "column " + key);
        }
    }
    const auto key = row.find(keyColumn);
    if (key == row.end() || !std::holds_alternative<std::wstring>(key->second) ||
        std::get<std::wstring>(key->second).empty())
        Fail(table, where + " needs " + ToUtf8(keyColumn), "this row");
    return row;
}

}  // namespace

Description LoadDescription(const std::wstring& path, const std::wstring& toolFolder) {
    const std::string bytes = ReadFileBytes(path);
    std::istringstream stream(bytes);
    toml::value root;
    try {
        root = toml::parse(stream, ToUtf8(path));
    } catch (const std::exception& e) {
        throw UnusableInput(e.what());
    }
    OnlyKeys(root, {"package", "properties", "conditions", "prerequisite", "search", "error", "uitext", "actiontext"},
             "the description");
    Description description;
    const std::wstring base = FolderOf(Absolute(path, L"."));
    description.libraryPath = toolFolder + L"\\" + kLibraryBinary;
    description.launcherPath = toolFolder + L"\\" + kLauncherBinary;
    description.scriptPath = toolFolder + L"\\" + kScriptBinary;

    if (root.contains("package")) {
        const toml::value& package = root.at("package");
        if (!package.is_table()) Fail(package, "[package] must be a table", "here");
        OnlyKeys(package, {"route", "rollback", "library", "launcher", "cleanup_script", "extract_source_files"},
                 "[package]");
        if (package.contains("route")) {
            const std::wstring route = Text(package.at("route"), "route");
            if (route == L"full") description.route = Route::Full;
            else if (route == L"reduced") description.route = Route::Reduced;
            else if (route == L"silent") description.route = Route::Silent;
            else if (route == L"parallel") description.route = Route::Parallel;
            else Fail(package.at("route"), "route must be full, reduced, silent or parallel", "here");
        }
        if (package.contains("rollback")) {
            const std::wstring slot = Text(package.at("rollback"), "rollback");
            if (slot == L"main") description.rollback = RollbackSlot::Main;
            else if (slot == L"pre") description.rollback = RollbackSlot::Pre;
            else if (slot == L"none") description.rollback = RollbackSlot::None;
            else if (slot == L"inline") description.rollback = RollbackSlot::Inline;
            else Fail(package.at("rollback"), "rollback must be main, pre, none or inline", "here");
        }
        if (package.contains("library")) description.libraryPath = Absolute(Text(package.at("library"), "library"), base);
        if (package.contains("launcher"))
            description.launcherPath = Absolute(Text(package.at("launcher"), "launcher"), base);
        if (package.contains("cleanup_script"))
            description.scriptPath = Absolute(Text(package.at("cleanup_script"), "cleanup_script"), base);
        if (package.contains("extract_source_files")) {
            const toml::value& flag = package.at("extract_source_files");
            if (!flag.is_boolean()) Fail(flag, "extract_source_files must be true or false", "here");
            description.extractSourceFiles = flag.as_boolean();
        }
    }
    if (root.contains("properties")) {
        const toml::value& properties = root.at("properties");
        if (!properties.is_table()) Fail(properties, "[properties] must be a table", "here");
        for (const auto& [key, value] : properties.as_table()) {
            const std::wstring text = Text(value, "property " + key);
            if (text.empty()) Fail(value, "property " + key + " is empty; a Property row needs a value", "here");
            description.properties.emplace_back(FromUtf8(key), text);
        }
        std::sort(description.properties.begin(), description.properties.end());
    }
    if (root.contains("conditions")) {
        const toml::value& conditions = root.at("conditions");
        if (!conditions.is_table()) Fail(conditions, "[conditions] must be a table", "here");
        for (const auto& [key, value] : conditions.as_table()) {
            const std::wstring name = FromUtf8(key);
            if (std::find(Exports().begin(), Exports().end(), name) == Exports().end())
                Fail(value, "\"" + key + "\" is not an export of the library", "here");
            description.conditions[name] = Text(value, "condition " + key);
        }
    }
    std::set<std::wstring> keys;
    if (root.contains("prerequisite")) {
        const toml::value& rows = root.at("prerequisite");
        if (!rows.is_array()) Fail(rows, "prerequisite must be an array of tables: [[prerequisite]]", "here");
        for (const toml::value& row : rows.as_array()) {
            description.prerequisites.push_back(ReadRow(row, PrereqColumns(), "[[prerequisite]]", L"PrereqKey"));
            if (!keys.insert(std::get<std::wstring>(description.prerequisites.back()[L"PrereqKey"])).second)
                Fail(row, "a second [[prerequisite]] with this PrereqKey", "here");
        }
    }
    keys.clear();
    if (root.contains("search")) {
        const toml::value& rows = root.at("search");
        if (!rows.is_array()) Fail(rows, "search must be an array of tables: [[search]]", "here");
        for (const toml::value& row : rows.as_array()) {
            description.searches.push_back(ReadRow(row, SearchColumns(), "[[search]]", L"Property"));
            if (!keys.insert(std::get<std::wstring>(description.searches.back()[L"Property"])).second)
                Fail(row, "a second [[search]] with this Property", "here");
        }
    }
    if (root.contains("error")) {
        const toml::value& errors = root.at("error");
        if (!errors.is_table()) Fail(errors, "[error] must be a table", "here");
        for (const auto& [key, value] : errors.as_table()) {
            char* end = nullptr;
            const long number = std::strtol(key.c_str(), &end, 10);
            if (key.empty() || *end || number <= 0 || number > 32767)
                Fail(value, "an [error] key is an Error number, not \"" + key + "\"", "here");
            description.errors[static_cast<int>(number)] = Text(value, "error " + key);
        }
    }
    if (root.contains("uitext")) {
        const toml::value& texts = root.at("uitext");
        if (!texts.is_table()) Fail(texts, "[uitext] must be a table", "here");
        for (const auto& [key, value] : texts.as_table()) description.uiTexts[FromUtf8(key)] = Text(value, key);
    }
    if (root.contains("actiontext")) {
        const toml::value& texts = root.at("actiontext");
        if (!texts.is_table()) Fail(texts, "[actiontext] must be a table of tables", "here");
        for (const auto& [key, value] : texts.as_table()) {
            if (!value.is_table()) Fail(value, "[actiontext." + key + "] must be a table", "here");
            OnlyKeys(value, {"Description", "Template"}, "[actiontext." + key + "]");
            auto& entry = description.actionTexts[FromUtf8(key)];
            if (value.contains("Description")) entry.first = Text(value.at("Description"), "Description");
            if (value.contains("Template")) entry.second = Text(value.at("Template"), "Template");
        }
    }
    return description;
}

}  // namespace tvpkg
