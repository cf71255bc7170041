#include "search/AppSearchDriver.h"
#include <cwchar>
#include <string>
#include <vector>
#include "frame/Messages.h"
#include "frame/MsiTableReader.h"
#include "frame/ScopeGuard.h"
#include "frame/Session.h"
#include "platform/FolderVariables.h"
#include "search/ProductSearch.h"
#include "search/SearchEngine.h"

namespace tv {

const wchar_t* const TV_AppSearchEx = L"TV_AppSearchEx";

namespace {

const wchar_t* const kAllSearchColumns[] = {L"Property", L"Condition", L"Type",     L"SearchString",
                                            L"VerMin",   L"VerMax",    L"Platform", L"RefContent",
                                            nullptr};
const wchar_t* const kPrereqSearchColumns[] = {L"Property", L"Condition", L"Type",       L"SearchString",
                                               L"VerMin",   L"VerMax",    L"Platform",   L"RefContent",
                                               L"PrereqSearch", nullptr};
const wchar_t* const kSearchOrder[] = {L"Order", nullptr};

// Decimal digits with an optional "-"; anything else ends the number, and
// an empty cell is 0.
int SearchType(const std::wstring& cell) { return static_cast<int>(std::wcstol(cell.c_str(), nullptr, 10)); }

std::wstring Join(const std::vector<std::wstring>& versions) {
    std::wstring text;
    for (size_t i = 0; i < versions.size(); ++i) {
        if (i > 0) text += L", ";
        text += versions[i];
    }
    return text;
}

void SendActionStart(MSIHANDLE session, const std::vector<MessageField>& fields) {
    MsiHandle record(::MsiCreateRecord(4));
    if (!record) return;
    UINT index = 1;
    for (const MessageField& field : fields) {
        if (const std::wstring* text = std::get_if<std::wstring>(&field))
            ::MsiRecordSetStringW(record.Get(), index, text->c_str());
        ++index;
    }
    ::MsiProcessMessage(session, INSTALLMESSAGE_ACTIONSTART, record.Get());
}

// Runs one expansion with "[SETUPEXEDIR]" left standing for the installer,
// whose value of the property is the one that counts.
std::wstring ExpandKeepingSetupDir(const std::wstring& text, bool is64) {
    std::wstring saved = gSetupExeDirValue;
    gSetupExeDirValue = L"[SETUPEXEDIR]";
    ScopeGuard restore([&]() noexcept { gSetupExeDirValue.swap(saved); });
    return ExpandFolderVariables(text, is64);
}

}  // namespace

void AppSearchDriver::AnnounceSearch() {
    MsiTableReader reader(mSession);
    const wchar_t* const columns[] = {L"Description", L"Template", nullptr};
    if (!reader.Open(L"ActionText", columns, nullptr, L" `Action` = 'AppSearch' ")) return;
    const TableRow& row = reader.GetRows().front();
    SendActionStart(mSession, {std::wstring(TV_AppSearchEx), Cell(row, L"Description"), Cell(row, L"Template")});
}

UINT AppSearchDriver::RunAllSearches() {
    RunRows(false);
    return 0;
}

UINT AppSearchDriver::RunPrereqSearches() {
    RunRows(true);
    return 0;
}

void AppSearchDriver::RunRows(bool markedOnly) {
    AnnounceSearch();
    BinaryFileExtractor extractor(mSession);
    MsiTableReader reader(mSession);
    if (!reader.Open(TV_AppSearchEx, markedOnly ? kPrereqSearchColumns : kAllSearchColumns, kSearchOrder, nullptr))
        return;
    for (const TableRow& row : reader.GetRows()) {
        if (markedOnly && Cell(row, L"PrereqSearch").empty()) continue;
        SearchRow(row, extractor);
        // Puts the action line back to its first field and blanks the data line.
        SendActionStart(mSession, {0, 0, std::wstring(L"[1]")});
        SendSearchData(mSession, {L" "});
    }
}

void AppSearchDriver::SearchRow(const TableRow& row, BinaryExtractor& extractor) {
    // A malformed condition runs the row, as an empty one does.
    if (::MsiEvaluateConditionW(mSession, Cell(row, L"Condition").c_str()) == MSICONDITION_FALSE) return;
    const bool is64 = Cell(row, L"Platform") == L"1";
    SearchItem item;
    item.search = FormatText(mSession, ExpandKeepingSetupDir(Cell(row, L"SearchString"), is64));
    item.verMin = Cell(row, L"VerMin");
    item.verMax = Cell(row, L"VerMax");
    item.content = Cell(row, L"RefContent");
    item.arguments = item.content;
    item.type = SearchType(Cell(row, L"Type"));
    const std::wstring& property = Cell(row, L"Property");
    SendSearchData(mSession, {property, item.search});

    SearchEngine engine;
    std::vector<SearchResult> results;
    const bool found = engine.RunSearches({item}, results, is64, extractor);

    if (!item.verMin.empty()) ::MsiSetPropertyW(mSession, (property + L"TvVerMin").c_str(), item.verMin.c_str());
    if (!item.verMax.empty()) ::MsiSetPropertyW(mSession, (property + L"TvVerMax").c_str(), item.verMax.c_str());
    const std::wstring joined = results.empty() ? std::wstring() : Join(results.front().versions);
    if (!joined.empty()) ::MsiSetPropertyW(mSession, (property + L"TvVerFound").c_str(), joined.c_str());
    if (!found) return;
    // With a bound on a kind that gives no versions the text is empty, which
    // deletes the property.
    const bool bounded = !item.verMin.empty() || !item.verMax.empty();
    ::MsiSetPropertyW(mSession, property.c_str(), bounded ? joined.c_str() : L"1");
}

}  // namespace tv
