#include "SearchFixture.h"
#include <shellapi.h>

namespace tvtest {

void AppSearchTest::SetUp() {
    mKeyName = L"Software\\TvSearchTest-" + std::to_wstring(::GetCurrentProcessId());
    mPackage.Table(L"TV_AppSearchEx");
}

void AppSearchTest::TearDown() {
    for (HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) ::RegDeleteTreeW(hive, mKeyName.c_str());
}

void AppSearchTest::AddSearch(const SearchRowSpec& row) {
    auto text = [](const std::wstring& cell) -> Value { return cell.empty() ? Value(Null{}) : Value(cell); };
    mPackage.Row(L"TV_AppSearchEx", {row.property, text(row.condition), row.type, text(row.search), text(row.verMin),
                                     text(row.verMax), text(row.platform), text(row.content), text(row.prereqSearch),
                                     ++mOrder});
}

void AppSearchTest::CreateKey(HKEY hive, const std::wstring& subKey) const {
    HKEY key = nullptr;
    const std::wstring path = subKey.empty() ? mKeyName : mKeyName + L"\\" + subKey;
    ASSERT_EQ(::RegCreateKeyExW(hive, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    ::RegCloseKey(key);
}

void AppSearchTest::SetValue(HKEY hive, const std::wstring& subKey, const std::wstring& name, DWORD type,
                             const void* data, DWORD size) const {
    const std::wstring path = subKey.empty() ? mKeyName : mKeyName + L"\\" + subKey;
    ASSERT_EQ(::RegSetKeyValueW(hive, path.c_str(), name.empty() ? nullptr : name.c_str(), type, data, size), 0);
}

void AppSearchTest::SetText(HKEY hive, const std::wstring& subKey, const std::wstring& name,
                            const std::wstring& text) const {
    SetValue(hive, subKey, name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

ProgramFolder::ProgramFolder() : mPath(TestPackage::TempPath(L"-search\\")) {
    ::CreateDirectoryW(mPath.c_str(), nullptr);
}

ProgramFolder::~ProgramFolder() {
    std::wstring from = mPath.substr(0, mPath.size() - 1);
    from.push_back(L'\0');
    SHFILEOPSTRUCTW operation{};
    operation.wFunc = FO_DELETE;
    operation.pFrom = from.c_str();
    operation.fFlags = FOF_NO_UI;
    ::SHFileOperationW(&operation);
}

std::wstring ProgramFolder::Make(const std::wstring& relative) const {
    std::wstring path = mPath;
    size_t start = 0;
    while (start < relative.size()) {
        size_t slash = relative.find(L'\\', start);
        if (slash == std::wstring::npos) slash = relative.size();
        path += relative.substr(start, slash - start) + L"\\";
        ::CreateDirectoryW(path.c_str(), nullptr);
        start = slash + 1;
    }
    return path;
}

std::wstring ProgramFolder::CopyProgram(const wchar_t* program, const std::wstring& relative) const {
    const std::wstring target = mPath + relative;
    ::CopyFileW((TvDll::Folder() + L"\\" + program).c_str(), target.c_str(), FALSE);
    return target;
}

}  // namespace tvtest
