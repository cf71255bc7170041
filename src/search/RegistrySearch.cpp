#include "search/RegistrySearch.h"
#include <vector>
#include "frame/DebugLog.h"
#include "frame/OsInfo.h"
#include "platform/RegistryText.h"

namespace tv {

namespace {

constexpr REGSAM kReadAccess = KEY_READ;

// Text in front of the last "\": the key of a value path.
std::wstring KeyPart(const std::wstring& valuePath) {
    const size_t slash = valuePath.rfind(L'\\');
    return slash == std::wstring::npos ? valuePath : valuePath.substr(0, slash);
}

// Text behind the last "\": the value's name, empty for the default value.
std::wstring ValuePart(const std::wstring& valuePath) {
    const size_t slash = valuePath.rfind(L'\\');
    return slash == std::wstring::npos ? std::wstring() : valuePath.substr(slash + 1);
}

RegKeyHandle OpenWithAccess(const std::wstring& path, REGSAM access, LONG& rc) {
    RegKeyHandle key;
    rc = ERROR_FILE_NOT_FOUND;
    const HKEY root = RootFromPath(path);
    if (!root) {
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return key;
    }
    rc = ::RegOpenKeyExW(root, path.substr(path.find(L'\\') + 1).c_str(), 0, access, key.Put());
    return key;
}

// The data as UTF-16 up to its first terminator, whatever the value's type.
bool ReadRawValue(HKEY key, const std::wstring& name, std::wstring& outText) {
    TV_LOG(L"Checking registry Value: " << name);
    DWORD size = 0;
    LONG rc = ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr, nullptr, &size);
    std::vector<wchar_t> data;
    // Without a buffer the size query answers 0; ERROR_MORE_DATA comes where
    // a buffer was too small. Both mean: read now with room for the data.
    while (rc == ERROR_SUCCESS || rc == ERROR_MORE_DATA) {
        if (size == 0) break;
        data.assign(size / sizeof(wchar_t) + 2, L'\0');
        DWORD capacity = static_cast<DWORD>((data.size() - 1) * sizeof(wchar_t));
        rc = ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()),
                                &capacity);
        if (rc != ERROR_MORE_DATA) break;
        size = capacity;
    }
    if (rc != ERROR_SUCCESS) return false;
    outText = data.empty() ? std::wstring() : std::wstring(data.data());
    TV_LOG(L"Registry value read from registry: " << outText);
    return true;
}

void EnumerateSubKeys(HKEY key, std::vector<std::wstring>& list) {
    for (DWORD index = 0;; ++index) {
        wchar_t name[260];
        DWORD length = 260;
        if (::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        TV_LOG(L"Added subkey: " << name);
        list.emplace_back(name, length);
    }
}

bool IsWholeNumber(const std::wstring& text) {
    for (wchar_t c : text)
        if (c < L'0' || c > L'9') return false;
    return true;
}

int WholeNumber(const std::wstring& text) {
    unsigned value = 0;
    for (wchar_t c : text) value = value * 10 + static_cast<unsigned>(c - L'0');
    return static_cast<int>(value);
}

bool EndsWith(const std::wstring& value, const std::wstring& pattern) {
    return value.size() >= pattern.size() && value.compare(value.size() - pattern.size(), pattern.size(), pattern) == 0;
}

}  // namespace

RegKeyHandle OpenSearchKey(const std::wstring& path, bool is64) {
    TV_LOG(L"Will try to open key:" << path);
    const REGSAM access = kReadAccess | (is64 && GetOsInfo().isWow64 ? KEY_WOW64_64KEY : 0);
    LONG rc = 0;
    RegKeyHandle key = OpenWithAccess(path, access, rc);
    if (!key) {
        const size_t slash = path.find(L'\\');
        const std::wstring subKey = slash == std::wstring::npos ? std::wstring() : path.substr(slash + 1);
        TV_LOG(L"Failed to open key: " << subKey << L"  GetLastError=" << ::GetLastError() << L" but Result="
                                       << static_cast<long>(rc));
    }
    return key;
}

void RegistryVersionSearch(const std::wstring& searchText, bool isValue, bool is64, SearchResult& result) {
    TV_LOG(L"Searching for registry path: " << searchText);
    const RegKeyHandle key = OpenSearchKey(isValue ? KeyPart(searchText) : searchText, is64);
    if (!key) return;
    if (isValue) {
        std::wstring text;
        if (ReadRawValue(key.Get(), ValuePart(searchText), text)) result.versions.push_back(text);
    } else {
        EnumerateSubKeys(key.Get(), result.versions);
    }
}

void RegistrySubValueSearch(const std::wstring& searchText, bool is64, SearchResult& result) {
    // This kind asks for the 64-bit view whenever the row does, WOW64 or not.
    LONG rc = 0;
    const RegKeyHandle key = OpenWithAccess(searchText, kReadAccess | (is64 ? KEY_WOW64_64KEY : 0), rc);
    TV_LOG(L"Checking registry key [" << searchText << L"]");
    TV_LOG((key ? L"... key found" : L"... key NOT found"));
    if (!key) return;
    std::vector<wchar_t> name(16383);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(name.size());
        rc = ::RegEnumValueW(key.Get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (rc != ERROR_SUCCESS) break;
        result.versions.emplace_back(name.data(), length);
    }
    result.found = rc == ERROR_NO_MORE_ITEMS;
}

bool RegistryExistenceSearch(const std::wstring& searchText, bool is64, bool isValue, bool wantExists) {
    if (!isValue) {
        const bool exists = static_cast<bool>(OpenSearchKey(searchText, is64));
        TV_LOG(L"Registry KEY existence of " << searchText << L" is: " << (exists ? L"exists" : L"does not exist"));
        return exists == wantExists;
    }
    bool exists = false;
    if (searchText.find(L'\\') != std::wstring::npos) {
        const RegKeyHandle key = OpenSearchKey(KeyPart(searchText), is64);
        exists = key && ::RegQueryValueExW(key.Get(), ValuePart(searchText).c_str(), nullptr, nullptr, nullptr,
                                           nullptr) == ERROR_SUCCESS;
    }
    TV_LOG(L"Registry value existence of " << searchText << L" is: " << (exists ? L"exists" : L"does not exist"));
    return exists == wantExists;
}

bool RegistryContentSearch(const std::wstring& searchText, bool is64, std::wstring& outText) {
    TV_LOG(L"Searching for registry value=> " << searchText);
    if (searchText.find(L'\\') == std::wstring::npos) {
        TV_LOG(L"\\ Not found in registry value path thus no value was found");
        return false;
    }
    const std::wstring keyPath = KeyPart(searchText);
    const std::wstring name = ValuePart(searchText);
    const RegKeyHandle key = OpenSearchKey(keyPath, is64);
    if (!key) return false;
    const bool read = ReadValueText(key.Get(), name, outText);
    TV_LOG(L"Content of \"" << keyPath << L'\\' << name << L"\" is " << outText);
    return read;
}

bool MatchContent(const std::wstring& pattern, const std::wstring& value, wchar_t letter) {
    switch (letter) {
    case L'C': return value.find(pattern) != std::wstring::npos;
    case L'X': return value.find(pattern) == std::wstring::npos;
    case L'S': return value.compare(0, pattern.size(), pattern) == 0 && value.size() >= pattern.size();
    case L'E': return EndsWith(value, pattern);
    case L'M': return value == pattern;
    case L'D': return value != pattern;
    case L'G':
    case L'L':
        if (!IsWholeNumber(value) || !IsWholeNumber(pattern)) return false;
        return letter == L'G' ? WholeNumber(value) > WholeNumber(pattern) : WholeNumber(value) < WholeNumber(pattern);
    default: return false;
    }
}

}  // namespace tv
