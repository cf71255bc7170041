#include "frame/DebugLog.h"
#include <msiquery.h>
#include "frame/MsiHandle.h"

namespace tv {

DebugLog& DebugLog::Instance() {
    static DebugLog log;
    return log;
}

void DebugLog::Init(MSIHANDLE session, const std::wstring& prefix) {
    mSession.store(session);
    mPrefix.store(std::make_shared<const std::wstring>(prefix));
    ATOM atom = ::GlobalFindAtomW(L"TV_DebugLog");
    mAtom.store(atom);
    SetEnabled(session != 0 && atom != 0);
}

std::wstring DebugLog::Prefix() const {
    auto prefix = mPrefix.load();
    return prefix ? *prefix : std::wstring();
}

void DebugLog::Write(const std::wstring& text) {
    MSIHANDLE session = mSession.load();
    if (session == 0) return;
    if (gLogFile.active) gLogFile.Write(Prefix() + L": " + text);
    if (::MsiEvaluateConditionW(session, L"TvEmbeddedDirectCall") == MSICONDITION_TRUE) return;
    SendLine(text);
}

void DebugLog::SendLine(const std::wstring& text) {
    std::wstring line;
    if (auto prefix = mPrefix.load(); prefix && !prefix->empty()) {
        line.append(*prefix);
        line.append(L": ");
    }
    line.append(text);
    MsiHandle record(::MsiCreateRecord(2));
    ::MsiRecordSetStringW(record.Get(), 0, L"[1]");
    ::MsiRecordSetStringW(record.Get(), 1, line.c_str());
    ::MsiProcessMessage(mSession.load(), INSTALLMESSAGE_INFO, record.Get());
}

}  // namespace tv
