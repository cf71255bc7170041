#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include "prereq/Prerequisite.h"
#include "prereq/RunPhase.h"

namespace tv {

// Option letters are tested one at a time in the text, with case; unknown
// characters mean nothing.
bool HasOptionLetter(const std::wstring& options, wchar_t letter);
const std::wstring& OptionsOf(const Prerequisite& row);

// y, p, f, w in that order; the first present decides.
RunPhase GetRunPhase(const std::wstring& options);
// f, p or w: the row follows its Feature_ rather than its selection property.
bool IsFeatureBound(const Prerequisite& row);
// Empty, or one ';'-separated piece equal to the system default language's
// decimal text.
bool IsLanguageAccepted(const std::wstring& languages);
// c: not on ARM64 machines; d: only on ARM64 machines.
bool IsPlatformAccepted(const std::wstring& options);
// "b", "q", "j", "n" (upper case when removing), the first present, or "".
std::wstring SelectUiLetter(const std::wstring& options, bool removing);

// The cell whose formatted text a UI letter stands for: BasicUiComLine,
// NoUiComLine, or null for j/J, none, and n/N outside UILevel 2 and 3.
const wchar_t* UiSwitchCell(const std::wstring& letter, int uiLevel);

// Sets TV_PREREQ_UILEVEL_SWITCH for the row before its command lines are
// formatted: cleared first, then the basic or silent cell by the UI letter
// and, for n/N, by UILevel.
void SetUiLevelSwitch(MSIHANDLE session, const Prerequisite& row);

// UILevel as a decimal number.
int GetUiLevel(MSIHANDLE session);

}  // namespace tv
