#include "platform/RegistryKey.h"

namespace tv {

namespace {

constexpr DWORD ViewMask = KEY_WOW64_64KEY | KEY_WOW64_32KEY;
// Room for the longest key name Windows allows (255) and its terminator; a
// longer name ends a tree delete with ERROR_MORE_DATA.
constexpr DWORD EnumNameChars = 256;

std::wstring HiveName(HKEY hive) {
    static const struct { HKEY key; const wchar_t* name; } hives[] = {
        {HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT"},   {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER"},
        {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE"}, {HKEY_USERS, L"HKEY_USERS"},
        {HKEY_CURRENT_CONFIG, L"HKEY_CURRENT_CONFIG"},
    };
    for (const auto& entry : hives)
        if (entry.key == hive) return entry.name;
    return {};
}

// RegDeleteKeyExW is missing from the oldest systems, and only it deletes
// in the other registry view.
using RegDeleteKeyExFn = LONG(WINAPI*)(HKEY, LPCWSTR, REGSAM, DWORD);
RegDeleteKeyExFn FindRegDeleteKeyEx() {
    static const RegDeleteKeyExFn function = reinterpret_cast<RegDeleteKeyExFn>(
        ::GetProcAddress(::GetModuleHandleW(L"advapi32.dll"), "RegDeleteKeyExW"));
    return function;
}

LONG DeleteEmptyKey(HKEY parent, const std::wstring& subKey, DWORD viewBits) {
    if (RegDeleteKeyExFn deleteKeyEx = FindRegDeleteKeyEx())
        return deleteKeyEx(parent, subKey.c_str(), viewBits, 0);
    return ::RegDeleteKeyW(parent, subKey.c_str());
}

LONG DeleteKeyTree(HKEY parent, const std::wstring& subKey, DWORD viewBits) {
    RegKeyHandle key;
    LONG result = ::RegOpenKeyExW(parent, subKey.c_str(), 0, viewBits | RegistryKey::WritableAccess, key.Put());
    if (result != ERROR_SUCCESS) return result;
    // Each round removes the first sub-key, so the index stays 0.
    for (;;) {
        wchar_t name[EnumNameChars];
        DWORD length = EnumNameChars;
        result = ::RegEnumKeyExW(key.Get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (result == ERROR_NO_MORE_ITEMS) break;
        if (result != ERROR_SUCCESS) return result;
        result = DeleteKeyTree(key.Get(), std::wstring(name, length), viewBits);
        if (result != ERROR_SUCCESS) return result;
    }
    key.Reset();
    return DeleteEmptyKey(parent, subKey, viewBits);
}

}  // namespace

RegistryKey::RegistryKey(const std::wstring& subKey, HKEY hive, bool writable)
    : mSubKey(subKey), mHive(hive), mAccess(writable ? WritableAccess : ReadOnlyAccess) {
    std::wstring shown = subKey;
    if (!shown.empty() && shown.back() == L'\\') shown.pop_back();
    mFullName = HiveName(hive) + L"\\" + shown;
    mViewBits = mAccess & ViewMask;
    ::RegOpenKeyExW(hive, subKey.c_str(), 0, mAccess, mHandle.Put());
}

LONG RegistryKey::Create(HKEY parent, const std::wstring& subKey, REGSAM access) {
    HKEY created = nullptr;
    const LONG result = ::RegCreateKeyExW(parent, subKey.c_str(), 0, nullptr, 0, access, nullptr, &created, nullptr);
    if (result != ERROR_SUCCESS) return result;
    mHandle.Reset(created);
    mViewBits = access & ViewMask;
    return ERROR_SUCCESS;
}

bool RegistryKey::SetText(const std::wstring& name, const std::wstring& value) {
    if (!IsOpen() && Create(mHive, mSubKey, mAccess) != ERROR_SUCCESS) return false;
    const DWORD bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    return ::RegSetValueExW(mHandle.Get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            bytes) == ERROR_SUCCESS;
}

std::wstring RegistryKey::GetText(const std::wstring& name) const {
    if (!IsOpen()) return {};
    DWORD type = 0;
    DWORD bytes = 0;
    if (::RegQueryValueExW(mHandle.Get(), name.c_str(), nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) return {};
    if (bytes == 0 || (type != REG_SZ && type != REG_EXPAND_SZ)) return {};
    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    if (text.empty()) return {};
    // The value may have changed between the two reads.
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (::RegQueryValueExW(mHandle.Get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text.data()),
                           &bytes) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return {};
    text.resize(bytes / sizeof(wchar_t));
    if (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

LONG RegistryKey::DeleteSubKey(const std::wstring& subKey) { return DeleteEmptyKey(mHandle.Get(), subKey, mViewBits); }

LONG RegistryKey::DeleteTree(const std::wstring& subKey) { return DeleteKeyTree(mHandle.Get(), subKey, mViewBits); }

}  // namespace tv
