#include "platform/AccessList.h"
#include <algorithm>
#include "platform/AllocatedSid.h"
#include "platform/KernelHandle.h"
#include "platform/LibraryHandle.h"

namespace tv {

namespace {

// The enumerations share numbers only up to SidTypeInvalid; SidTypeUnknown
// would otherwise land on TRUSTEE_IS_COMPUTER.
TRUSTEE_TYPE TrusteeTypeOf(SID_NAME_USE use) {
    switch (use) {
        case SidTypeUser: return TRUSTEE_IS_USER;
        case SidTypeGroup: return TRUSTEE_IS_GROUP;
        case SidTypeDomain: return TRUSTEE_IS_DOMAIN;
        case SidTypeAlias: return TRUSTEE_IS_ALIAS;
        case SidTypeWellKnownGroup: return TRUSTEE_IS_WELL_KNOWN_GROUP;
        case SidTypeDeletedAccount: return TRUSTEE_IS_DELETED;
        case SidTypeInvalid: return TRUSTEE_IS_INVALID;
        case SidTypeComputer: return TRUSTEE_IS_COMPUTER;
        default: return TRUSTEE_IS_UNKNOWN;
    }
}

// LookupAccountSidW with name and domain buffers of `chars` characters,
// grown once to the sizes the system asks for. 0 or the error number.
DWORD LookUpSidUse(PSID sid, DWORD chars, SID_NAME_USE& use) {
    std::wstring name(chars, L'\0');
    std::wstring domain(chars, L'\0');
    for (int attempt = 0;; ++attempt) {
        DWORD nameSize = static_cast<DWORD>(name.size());
        DWORD domainSize = static_cast<DWORD>(domain.size());
        if (::LookupAccountSidW(nullptr, sid, name.data(), &nameSize, domain.data(), &domainSize, &use))
            return 0;
        const DWORD error = ::GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || attempt > 0) return error;
        name.resize(std::max<size_t>(nameSize, name.size()));
        domain.resize(std::max<size_t>(domainSize, domain.size()));
    }
}

}  // namespace

bool AccessListBuilder::ResolveSidText(const std::wstring& text, HeldSid& sid, SID_NAME_USE& use) {
    // Looked up by name so that the library loads where the export is missing.
    using ConvertStringSidToSid = BOOL(WINAPI*)(LPCWSTR, PSID*);
    LibraryHandle advapi(::LoadLibraryW(L"Advapi32.dll"));
    if (!advapi) {
        mLastError = ::GetLastError();
        return false;
    }
    auto convert = reinterpret_cast<ConvertStringSidToSid>(::GetProcAddress(advapi.Get(), "ConvertStringSidToSidW"));
    if (!convert) {
        mLastError = ::GetLastError();
        return false;
    }
    if (!convert(text.c_str(), sid.converted.Put())) {
        mLastError = ::GetLastError();
        return false;
    }
    if (DWORD error = LookUpSidUse(sid.converted.Get(), MAX_PATH, use)) {
        mLastError = error;
        return false;
    }
    return true;
}

bool AccessListBuilder::ResolveName(const std::wstring& name, HeldSid& sid, SID_NAME_USE& use) {
    DWORD sidSize = MAX_PATH;
    std::wstring domain(MAX_PATH, L'\0');
    sid.own = std::make_unique<BYTE[]>(sidSize);
    for (int attempt = 0;; ++attempt) {
        DWORD domainSize = static_cast<DWORD>(domain.size());
        if (::LookupAccountNameW(nullptr, name.c_str(), sid.own.get(), &sidSize, domain.data(), &domainSize, &use))
            return true;
        const DWORD error = ::GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || attempt > 0) {
            mLastError = error;
            return false;
        }
        sid.own = std::make_unique<BYTE[]>(sidSize);
        domain.resize(std::max<size_t>(domainSize, domain.size()));
    }
}

bool AccessListBuilder::Add(const std::wstring& account, DWORD access, bool isSidText) {
    SID_NAME_USE use = SidTypeWellKnownGroup;
    HeldSid sid;
    if (!(isSidText ? ResolveSidText(account, sid, use) : ResolveName(account, sid, use))) return false;

    EXPLICIT_ACCESSW entry{};
    entry.grfAccessPermissions = access;
    entry.grfAccessMode = SET_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = TrusteeTypeOf(use);
    entry.Trustee.ptstrName = static_cast<LPWSTR>(sid.Get());
    // Moving the holder keeps the SID where it is, so the entry stays valid.
    mSids.push_back(std::move(sid));
    mEntries.push_back(entry);
    return true;
}

PSECURITY_DESCRIPTOR AccessListBuilder::Build() {
    mDescriptor.Reset();
    mAcl.Reset();
    if (mEntries.empty()) return nullptr;

    const DWORD rc = ::SetEntriesInAclW(static_cast<ULONG>(mEntries.size()), mEntries.data(), nullptr, mAcl.Put());
    if (rc != ERROR_SUCCESS) {
        mLastError = rc;
        return nullptr;
    }
    mDescriptor.Reset(::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
    if (!mDescriptor || !::InitializeSecurityDescriptor(mDescriptor.Get(), SECURITY_DESCRIPTOR_REVISION) ||
        !::SetSecurityDescriptorDacl(mDescriptor.Get(), TRUE, mAcl.Get(), FALSE)) {
        mLastError = ::GetLastError();
        mDescriptor.Reset();
        return nullptr;
    }
    return mDescriptor.Get();
}

SID_NAME_USE GetSidUse(PSID sid) {
    SID_NAME_USE use = static_cast<SID_NAME_USE>(0);
    if (LookUpSidUse(sid, 16, use) != 0) return static_cast<SID_NAME_USE>(0);
    return use;
}

bool IsLocalSystem() {
    KernelHandle token;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put())) return false;
    DWORD size = 0;
    if (!::GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size) &&
        ::GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return false;
    if (size == 0) return false;
    auto buffer = std::make_unique<BYTE[]>(size);
    if (!::GetTokenInformation(token.Get(), TokenUser, buffer.get(), size, &size)) return false;
    const auto* user = reinterpret_cast<const TOKEN_USER*>(buffer.get());

    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    AllocatedSid system;
    if (!::AllocateAndInitializeSid(&ntAuthority, 1, SECURITY_LOCAL_SYSTEM_RID, 0, 0, 0, 0, 0, 0, 0, system.Put()))
        return false;
    return ::EqualSid(user->User.Sid, system.Get()) != FALSE;
}

}  // namespace tv
