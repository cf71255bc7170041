#include "platform/RegistryText.h"
#include <cstring>
#include <cwchar>
#include <vector>

namespace tv {

namespace {

struct RootName {
    const wchar_t* shortName;
    const wchar_t* longName;
    HKEY root;
};

const RootName kRoots[] = {
    {L"HKLM", L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    {L"HKCU", L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {L"HKCR", L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {L"HKCC", L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
};

}  // namespace

HKEY RootFromPath(const std::wstring& path) {
    const size_t slash = path.find(L'\\');
    if (slash == std::wstring::npos) return nullptr;
    const std::wstring name = path.substr(0, slash);
    for (const RootName& entry : kRoots)
        if (::_wcsicmp(name.c_str(), entry.shortName) == 0 || ::_wcsicmp(name.c_str(), entry.longName) == 0)
            return entry.root;
    return HKEY_USERS;
}

bool ReadValueText(HKEY key, const std::wstring& name, std::wstring& outText) {
    outText.clear();
    // Most values fit the first buffer, so one call is the usual cost.
    std::vector<BYTE> data(200);
    DWORD type = 0;
    DWORD size = static_cast<DWORD>(data.size());
    LONG rc = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size);
    while (rc == ERROR_MORE_DATA) {
        data.assign(size + 2, 0);
        size = static_cast<DWORD>(data.size());
        rc = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size);
    }
    if (rc != ERROR_SUCCESS) return false;
    switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_MULTI_SZ: {
        size_t count = size / sizeof(wchar_t);
        const wchar_t* text = reinterpret_cast<const wchar_t*>(data.data());
        while (count > 0 && text[count - 1] == L'\0') --count;
        outText.assign(text, count);
        return true;
    }
    case REG_DWORD: {
        DWORD number = 0;
        std::memcpy(&number, data.data(), sizeof(number));
        wchar_t digits[16];
        std::swprintf(digits, 16, L"%u", static_cast<unsigned>(number));
        outText = digits;
        return true;
    }
    default:
        return false;
    }
}

}  // namespace tv
