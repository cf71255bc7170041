#pragma once
#include <windows.h>
#include <msi.h>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>
#include "frame/CharBuffer.h"
#include "frame/MsiHandle.h"
#include "prereq/Prerequisite.h"

namespace tv {

// One field of a record in the making: an integer or a text.
using MessageField = std::variant<int, std::wstring>;

// With `withTemplate` the first field goes into field 0 (the template) and
// the record has one field less; otherwise the fields fill 1, 2, ...
MsiHandle MakeRecord(const std::vector<MessageField>& fields, bool withTemplate);

// ("[1]", text) as a message of `type`; 0 at once without a session.
int SendText(MSIHANDLE session, const std::wstring& text, UINT type);
// (number, texts...) as a message of `type`; 0 at once without a session.
int SendNumbered(MSIHANDLE session, int number, UINT type, std::initializer_list<std::wstring> texts);
// An action-data line of texts: 0, or 1602 when the user cancelled, or 1603
// when no record could be made.
UINT SendSearchData(MSIHANDLE session, std::initializer_list<std::wstring> texts);

// Tells the user a prerequisite failed: a question for an optional one
// (yes gives 0, anything else 2), an error for a mandatory one (2).
int ReportPrereqFailure(MSIHANDLE session, int errorNumber, int warningNumber, const std::wstring& name,
                        const Prerequisite& row);

// The Text of a UIText key, read without a table reader.
bool GetUiTextBuffer(MSIHANDLE session, const std::wstring& key, CharBuffer& buffer);

}  // namespace tv
