#include "frame/Session.h"
#include <msiquery.h>
#include "frame/MsiHandle.h"

namespace tv {

std::wstring GetProperty(MSIHANDLE session, const std::wstring& name) {
    CharBuffer buffer;
    return GetPropertyBuffer(session, name, buffer) ? buffer.Text() : std::wstring();
}

bool GetPropertyBuffer(MSIHANDLE session, const std::wstring& name, CharBuffer& buffer) {
    return ReadSized(
        [&](wchar_t* data, DWORD* capacity) {
            return ::MsiGetPropertyW(session, name.c_str(), data, capacity);
        },
        buffer);
}

std::wstring FormatRecord(MSIHANDLE session, MSIHANDLE record) {
    return ReadSizedText([&](wchar_t* data, DWORD* capacity) {
        return ::MsiFormatRecordW(session, record, data, capacity);
    });
}

std::wstring FormatText(MSIHANDLE session, const std::wstring& text) {
    if (text.empty()) return {};
    MsiHandle record(::MsiCreateRecord(1));
    if (!record) return {};
    if (::MsiRecordSetStringW(record.Get(), 0, text.c_str()) != ERROR_SUCCESS) return {};
    return FormatRecord(session, record.Get());
}

MSICONDITION EvaluateCondition(MSIHANDLE session, const std::wstring& condition) {
    return ::MsiEvaluateConditionW(session, condition.c_str());
}

bool ConditionPasses(MSIHANDLE session, const std::wstring& condition) {
    const MSICONDITION result = EvaluateCondition(session, condition);
    return result == MSICONDITION_TRUE || result == MSICONDITION_NONE;
}

}  // namespace tv
