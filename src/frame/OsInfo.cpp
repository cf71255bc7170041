#include "frame/OsInfo.h"
#include <algorithm>
#include <cwchar>
#include <utility>
#include "platform/RegKeyHandle.h"

namespace tv {

namespace {

// KEY_READ in the 64-bit view, where the real values live for a 32-bit process.
constexpr REGSAM VersionAccess = KEY_READ | KEY_WOW64_64KEY;
constexpr size_t CsdVersionChars = 127;

bool ReadDword(HKEY key, const wchar_t* name, DWORD& value) {
    DWORD type = 0;
    DWORD data = 0;
    DWORD bytes = sizeof(data);
    if (::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&data), &bytes) != ERROR_SUCCESS ||
        type != REG_DWORD)
        return false;
    value = data;
    return true;
}

// The raw characters of a string value read into a buffer of `roomBytes`;
// false when the value is missing, of another type or larger than the room.
bool ReadRaw(HKEY key, const wchar_t* name, DWORD roomBytes, DWORD wantedType, std::wstring& chars) {
    std::wstring buffer(roomBytes / sizeof(wchar_t), L'\0');
    DWORD type = 0;
    DWORD bytes = roomBytes;
    if (::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &bytes) !=
            ERROR_SUCCESS ||
        (type != wantedType && !(wantedType == REG_SZ && type == REG_EXPAND_SZ)))
        return false;
    buffer.resize(bytes / sizeof(wchar_t));
    chars = std::move(buffer);
    return true;
}

// A string value up to its first terminator; a value stored without one
// ends with its data.
bool ReadString(HKEY key, const wchar_t* name, DWORD roomBytes, std::wstring& text) {
    std::wstring chars;
    if (!ReadRaw(key, name, roomBytes, REG_SZ, chars)) return false;
    text = chars.substr(0, chars.find(L'\0'));
    return true;
}

DWORD Decimal(const std::wstring& text) { return std::wcstoul(text.c_str(), nullptr, 10); }

DWORD DigitValue(wchar_t c) { return c >= L'0' && c <= L'9' ? static_cast<DWORD>(c - L'0') : 0; }

bool IsWow64() {
    using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);
    static const IsWow64ProcessFn isWow64Process = reinterpret_cast<IsWow64ProcessFn>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "IsWow64Process"));
    BOOL wow64 = FALSE;
    return isWow64Process && isWow64Process(::GetCurrentProcess(), &wow64) && wow64 == TRUE;
}

WORD SuiteBit(const std::wstring& name) {
    static const struct { const wchar_t* name; WORD bit; } suites[] = {
        {L"Small Business", 0x0001},
        {L"Enterprise", 0x0002},
        {L"BackOffice", 0x0004},
        {L"CommunicationServer", 0x0008},
        {L"Terminal Server", 0x0010},
        {L"Small Business(Restricted)", 0x0020},
        {L"EmbeddedNT", 0x0040},
        {L"DataCenter", 0x0080},
        {L"Personal", 0x0200},
        {L"Blade", 0x0400},
        {L"Embedded(Restricted)", 0x0800},
        {L"Security Appliance", 0x1000},
        {L"Storage Server", 0x2000},
        {L"Compute Server", 0x4000},
    };
    for (const auto& suite : suites)
        if (name == suite.name) return suite.bit;
    return 0;
}

void ReadVersion(HKEY key, OsInfo& info) {
    ReadDword(key, L"CurrentMajorVersionNumber", info.major);
    ReadDword(key, L"CurrentMinorVersionNumber", info.minor);
    std::wstring text;
    // Systems before 10 have only the "6.1" form.
    if (info.major == 0 && ReadString(key, L"CurrentVersion", 32, text) && text.size() == 3) {
        info.major = DigitValue(text[0]);
        info.minor = DigitValue(text[2]);
    }
    if (ReadString(key, L"CurrentBuildNumber", 520, text)) info.build = Decimal(text);
    // 11 still calls itself 10 and is told apart by its build.
    if (info.major == 10 && info.build >= 22000) info.major = 11;
    if (ReadString(key, L"ReleaseId", 520, text)) info.releaseId = Decimal(text);
    if (ReadString(key, L"CSDVersion", 520, text)) {
        info.csdVersion = text.substr(0, CsdVersionChars);
        if (!text.empty()) info.servicePack = DigitValue(text.back());
    }
}

void ReadProduct(HKEY key, OsInfo& info) {
    std::wstring text;
    if (ReadString(key, L"ProductType", 520, text)) {
        info.productType = text == L"WinNT" ? VER_NT_WORKSTATION
                           : text == L"ServerNT" ? VER_NT_SERVER
                                                 : VER_NT_DOMAIN_CONTROLLER;
        info.isServer = text != L"WinNT";
    }
    std::wstring suites;
    if (!ReadRaw(key, L"ProductSuite", 2048, REG_MULTI_SZ, suites)) return;
    for (size_t start = 0; start < suites.size();) {
        const size_t end = std::min(suites.find(L'\0', start), suites.size());
        if (end == start) break;
        info.suiteMask |= SuiteBit(suites.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace

OsInfo DetectOsInfo(HKEY root) {
    OsInfo info;
    RegKeyHandle version;
    if (::RegOpenKeyExW(root, L"Software\\Microsoft\\Windows NT\\CurrentVersion", 0, VersionAccess, version.Put()) !=
        ERROR_SUCCESS)
        return info;
    ReadVersion(version.Get(), info);
    info.isWow64 = IsWow64();
    RegKeyHandle product;
    if (::RegOpenKeyExW(root, L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions", 0, VersionAccess,
                        product.Put()) == ERROR_SUCCESS)
        ReadProduct(product.Get(), info);
    return info;
}

const OsInfo& GetOsInfo() {
    static const OsInfo info = DetectOsInfo(HKEY_LOCAL_MACHINE);
    return info;
}

bool IsWindows10OrLater() { return GetOsInfo().major >= 10; }

}  // namespace tv
