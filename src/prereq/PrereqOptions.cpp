#include "prereq/PrereqOptions.h"
#include <msiquery.h>
#include <cwchar>
#include "frame/Session.h"
#include "platform/SystemSeam.h"
#include "prereq/PrereqConditions.h"

namespace tv {

bool HasOptionLetter(const std::wstring& options, wchar_t letter) {
    return options.find(letter) != std::wstring::npos;
}

const std::wstring& OptionsOf(const Prerequisite& row) { return Cell(row, L"Options"); }

RunPhase GetRunPhase(const std::wstring& options) {
    if (HasOptionLetter(options, L'y')) return PhasePre;
    if (HasOptionLetter(options, L'p')) return PhasePost;
    if (HasOptionLetter(options, L'f')) return PhaseMain;
    if (HasOptionLetter(options, L'w')) return PhaseExcluded;
    return PhaseNone;
}

bool IsFeatureBound(const Prerequisite& row) {
    const std::wstring& options = OptionsOf(row);
    return HasOptionLetter(options, L'f') || HasOptionLetter(options, L'p') || HasOptionLetter(options, L'w');
}

bool IsLanguageAccepted(const std::wstring& languages) {
    if (languages.empty()) return true;
    const std::wstring system = std::to_wstring(GetSystemSeam().defaultLanguage());
    size_t start = 0;
    for (;;) {
        const size_t end = languages.find(L';', start);
        if (languages.compare(start, end == std::wstring::npos ? std::wstring::npos : end - start, system) == 0)
            return true;
        if (end == std::wstring::npos) return false;
        start = end + 1;
    }
}

bool IsPlatformAccepted(const std::wstring& options) {
    const bool notOnArm = HasOptionLetter(options, L'c');
    const bool onlyOnArm = HasOptionLetter(options, L'd');
    const NativeMachine native = GetSystemSeam().nativeMachine();
    switch (native.state) {
    case NativeMachine::Unavailable:
        return !onlyOnArm;
    case NativeMachine::CallFailed:
        return true;
    case NativeMachine::Known:
        break;
    }
    return native.machine == IMAGE_FILE_MACHINE_ARM64 ? !notOnArm : !onlyOnArm;
}

std::wstring SelectUiLetter(const std::wstring& options, bool removing) {
    const wchar_t* letters = removing ? L"BQJN" : L"bqjn";
    for (const wchar_t* letter = letters; *letter; ++letter)
        if (HasOptionLetter(options, *letter)) return std::wstring(1, *letter);
    return {};
}

int GetUiLevel(MSIHANDLE session) {
    return static_cast<int>(std::wcstol(GetProperty(session, L"UILevel").c_str(), nullptr, 10));
}

const wchar_t* UiSwitchCell(const std::wstring& letter, int uiLevel) {
    if (letter.empty()) return nullptr;
    switch (std::towlower(letter[0])) {
    case L'b':
        return L"BasicUiComLine";
    case L'q':
        return L"NoUiComLine";
    case L'n':
        if (uiLevel == 2) return L"NoUiComLine";
        if (uiLevel == 3) return L"BasicUiComLine";
        return nullptr;
    default:
        return nullptr;
    }
}

void SetUiLevelSwitch(MSIHANDLE session, const Prerequisite& row) {
    ::MsiSetPropertyW(session, L"TV_PREREQ_UILEVEL_SWITCH", L"");
    const std::wstring letter = SelectUiLetter(OptionsOf(row), IsUninstallNeeded(session, row));
    const wchar_t* cell = UiSwitchCell(letter, GetUiLevel(session));
    if (cell == nullptr) return;
    const std::wstring value = FormatText(session, Cell(row, cell));
    ::MsiSetPropertyW(session, L"TV_PREREQ_UILEVEL_SWITCH", value.c_str());
}

}  // namespace tv
