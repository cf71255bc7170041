#pragma once
#include <windows.h>
#include <aclapi.h>
#include <memory>
#include <string>
#include <vector>
#include "platform/LocalMemory.h"

namespace tv {

// Builds a security descriptor whose access list gives each added account
// its rights, for folders and files that several accounts must reach. One
// object per descriptor, on the caller's stack.
class AccessListBuilder {
public:
    AccessListBuilder() = default;
    // The entries point into the held SIDs.
    AccessListBuilder(const AccessListBuilder&) = delete;
    AccessListBuilder& operator=(const AccessListBuilder&) = delete;

    // `account` is a name, or with isSidText a SID in its "S-1-..." form.
    // False, with LastError() set, when it can't be resolved; the entries
    // added so far stay as they are.
    bool Add(const std::wstring& account, DWORD access, bool isSidText);

    // The descriptor, valid until the next Build or the end of this object;
    // null with no entries or on failure. An earlier result is freed.
    PSECURITY_DESCRIPTOR Build();

    // The system's error number of the last failure.
    DWORD LastError() const noexcept { return mLastError; }

private:
    // A SID converted from text by the system (released with LocalFree) or
    // looked up into a buffer of our own.
    struct HeldSid {
        LocalMemory<void> converted;
        std::unique_ptr<BYTE[]> own;
        PSID Get() const noexcept { return converted ? converted.Get() : own.get(); }
    };

    bool ResolveSidText(const std::wstring& text, HeldSid& sid, SID_NAME_USE& use);
    bool ResolveName(const std::wstring& name, HeldSid& sid, SID_NAME_USE& use);

    std::vector<HeldSid> mSids;
    std::vector<EXPLICIT_ACCESSW> mEntries;
    LocalMemory<ACL> mAcl;
    LocalMemory<void> mDescriptor;
    DWORD mLastError = 0;
};

// The kind of account a SID stands for; 0 when the system can't say.
SID_NAME_USE GetSidUse(PSID sid);

// True when this process's token has the user SID of LocalSystem (S-1-5-18).
// Membership of Administrators or any other group doesn't count.
bool IsLocalSystem();

}  // namespace tv
