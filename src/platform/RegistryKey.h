#pragma once
#include <windows.h>
#include <string>
#include "platform/RegKeyHandle.h"

namespace tv {

// A key named by a hive and a sub-key, opened on construction, for the
// places where the library writes to the registry. A key that can't be
// opened leaves a closed object that Create or SetText can still use;
// reads from it give empty texts. Move-only: it owns its handle.
class RegistryKey {
public:
    // KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY, and KEY_READ.
    static constexpr REGSAM WritableAccess = 0x2001F;
    static constexpr REGSAM ReadOnlyAccess = 0x20019;

    // Opens hive\subKey; a failure is not reported.
    RegistryKey(const std::wstring& subKey, HKEY hive, bool writable);

    bool IsOpen() const noexcept { return static_cast<bool>(mHandle); }
    HKEY Handle() const noexcept { return mHandle.Get(); }
    // Hive name, "\" and the sub-key without a final "\"; the hive name is
    // empty for a key that isn't one of the five named hives.
    const std::wstring& FullName() const noexcept { return mFullName; }
    // KEY_WOW64_64KEY / KEY_WOW64_32KEY of the access mask last used; deletes
    // go through the same view the key was opened in.
    DWORD ViewBits() const noexcept { return mViewBits; }

    // Creates or opens parent\subKey; on success it replaces the held key.
    // The system's error number, 0 on success.
    LONG Create(HKEY parent, const std::wstring& subKey, REGSAM access);
    // Stores `value` as REG_SZ with its terminator, creating the key first if
    // it isn't open.
    bool SetText(const std::wstring& name, const std::wstring& value);
    // The text of a REG_SZ or REG_EXPAND_SZ value (not expanded) without its
    // terminator; empty for any other type or a value that can't be read.
    std::wstring GetText(const std::wstring& name) const;
    // Removes one empty sub-key; the system's error number.
    LONG DeleteSubKey(const std::wstring& subKey);
    // Removes a sub-key and all below it; the system's error number. A
    // failure part-way leaves what wasn't reached yet.
    LONG DeleteTree(const std::wstring& subKey);

private:
    RegKeyHandle mHandle;
    DWORD mViewBits = 0;
    std::wstring mSubKey;
    std::wstring mFullName;
    HKEY mHive;
    REGSAM mAccess;
};

}  // namespace tv
