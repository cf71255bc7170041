#include "install/RollbackRecord.h"
#include "frame/Session.h"
#include "platform/RegistryKey.h"

namespace tv {

namespace {

constexpr wchar_t kFieldSeparator = L'\x0001';
constexpr wchar_t kEntrySeparator = L'\x0002';
constexpr wchar_t kValueName[] = L"TV_ROLLBACK_PREREQS";

std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator) {
    std::vector<std::wstring> parts;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start));
        if (end == std::wstring::npos) return parts;
        start = end + 1;
    }
}

}  // namespace

std::vector<RollbackEntry> ParseRollbackEntries(const std::wstring& text) {
    std::vector<RollbackEntry> entries;
    if (text.empty()) return entries;
    for (const std::wstring& entry : Split(text, kEntrySeparator)) {
        const std::vector<std::wstring> fields = Split(entry, kFieldSeparator);
        if (fields.size() != 4) continue;
        entries.push_back({fields[0], fields[1], fields[2], fields[3]});
    }
    return entries;
}

std::wstring JoinRollbackEntries(const std::vector<RollbackEntry>& entries) {
    std::wstring text;
    for (const RollbackEntry& entry : entries) {
        if (!text.empty()) text += kEntrySeparator;
        text += entry.key + kFieldSeparator + entry.file + kFieldSeparator + entry.command + kFieldSeparator +
                entry.options;
    }
    return text;
}

std::wstring RollbackKeyText(MSIHANDLE session) {
    return FormatText(session, L"Software\\Quillon\\Tarvo\\Prerequisites\\[ProductCode]\\[ProductVersion]");
}

void WriteRollbackValue(MSIHANDLE session, const std::wstring& text) {
    if (text.empty()) return;
    RegistryKey key(RollbackKeyText(session), HKEY_CURRENT_USER, true);
    key.SetText(kValueName, text);  // creates the key when it could not be opened
}

std::wstring TakeRollbackValue(MSIHANDLE session) {
    const std::wstring keyText = RollbackKeyText(session);
    std::wstring value;
    {
        RegistryKey key(keyText, HKEY_CURRENT_USER, false);
        if (!key.IsOpen()) return {};
        value = key.GetText(kValueName);
    }
    if (!value.empty()) {
        // Delete through the parent key: a key opened on the hive itself
        // would hand out, and then close, the process's own hive handle.
        const size_t slash = keyText.rfind(L'\\');
        if (slash != std::wstring::npos)
            RegistryKey(keyText.substr(0, slash), HKEY_CURRENT_USER, true).DeleteTree(keyText.substr(slash + 1));
    }
    return value;
}

}  // namespace tv
