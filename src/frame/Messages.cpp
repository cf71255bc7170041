#include "frame/Messages.h"
#include <msiquery.h>
#include "prereq/PrereqConditions.h"

namespace tv {

MsiHandle MakeRecord(const std::vector<MessageField>& fields, bool withTemplate) {
    const UINT count = static_cast<UINT>(fields.size()) - (withTemplate && !fields.empty() ? 1 : 0);
    MsiHandle record(::MsiCreateRecord(count));
    for (size_t i = 0; i < fields.size(); ++i) {
        const UINT field = static_cast<UINT>(withTemplate ? i : i + 1);
        if (auto number = std::get_if<int>(&fields[i]))
            ::MsiRecordSetInteger(record.Get(), field, *number);
        else
            ::MsiRecordSetStringW(record.Get(), field, std::get<std::wstring>(fields[i]).c_str());
    }
    return record;
}

int SendText(MSIHANDLE session, const std::wstring& text, UINT type) {
    if (session == 0) return 0;
    MsiHandle record(::MsiCreateRecord(2));
    ::MsiRecordSetStringW(record.Get(), 0, L"[1]");
    ::MsiRecordSetStringW(record.Get(), 1, text.c_str());
    return ::MsiProcessMessage(session, static_cast<INSTALLMESSAGE>(type), record.Get());
}

int SendNumbered(MSIHANDLE session, int number, UINT type, std::initializer_list<std::wstring> texts) {
    if (session == 0) return 0;
    std::vector<MessageField> fields{number};
    fields.insert(fields.end(), texts.begin(), texts.end());
    MsiHandle record = MakeRecord(fields, false);
    return ::MsiProcessMessage(session, static_cast<INSTALLMESSAGE>(type), record.Get());
}

UINT SendSearchData(MSIHANDLE session, std::initializer_list<std::wstring> texts) {
    if (session == 0 || texts.size() == 0) return 0;
    MsiHandle record(::MsiCreateRecord(static_cast<UINT>(texts.size())));
    if (!record) return ERROR_INSTALL_FAILURE;
    UINT field = 1;
    for (const std::wstring& text : texts)
        if (::MsiRecordSetStringW(record.Get(), field++, text.c_str()) != ERROR_SUCCESS) return ERROR_INSTALL_FAILURE;
    const int answer = ::MsiProcessMessage(session, INSTALLMESSAGE_ACTIONDATA, record.Get());
    return answer == IDCANCEL || answer == IDABORT ? ERROR_INSTALL_USEREXIT : 0;
}

int ReportPrereqFailure(MSIHANDLE session, int errorNumber, int warningNumber, const std::wstring& name,
                        const Prerequisite& row) {
    if (IsOptionalForFailure(session, false, row)) {
        const int answer = SendNumbered(session, warningNumber, 0x02010004, {name});
        return answer == IDYES ? 0 : 2;
    }
    SendNumbered(session, errorNumber, 0x01010000, {name});
    return 2;
}

namespace {

// The installer's last error is fetched and dropped, as the installer itself
// expects it to be consumed; nothing of it reaches the caller.
void DropLastError() {
    MsiHandle error(::MsiGetLastErrorRecord());
    if (error) ReadSizedText([&](wchar_t* data, DWORD* size) { return ::MsiFormatRecordW(0, error.Get(), data, size); });
}

}  // namespace

bool GetUiTextBuffer(MSIHANDLE session, const std::wstring& key, CharBuffer& buffer) {
    buffer.Free();
    // wsprintfW writes at most 1024 characters and the terminator.
    wchar_t query[1025];
    ::wsprintfW(query, L"SELECT `Text` FROM `UIText` WHERE `Key` = '%.900s'", key.c_str());
    MsiHandle view;
    {
        MsiHandle database(::MsiGetActiveDatabase(session));
        if (!database || ::MsiDatabaseOpenViewW(database.Get(), query, view.Put()) != ERROR_SUCCESS ||
            ::MsiViewExecute(view.Get(), 0) != ERROR_SUCCESS) {
            DropLastError();
            return false;
        }
    }
    MsiHandle record;
    const UINT fetched = ::MsiViewFetch(view.Get(), record.Put());
    if (fetched != ERROR_SUCCESS) {
        if (fetched != ERROR_NO_MORE_ITEMS) DropLastError();
        return false;
    }
    return ReadSized([&](wchar_t* data, DWORD* size) { return ::MsiRecordGetStringW(record.Get(), 1, data, size); },
                     buffer);
}

}  // namespace tv
