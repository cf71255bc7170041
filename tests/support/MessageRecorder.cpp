#include "MessageRecorder.h"
#include <msiquery.h>

namespace tvtest {

namespace {

std::wstring FieldText(MSIHANDLE record, UINT field) {
    DWORD size = 0;
    wchar_t empty[1] = {0};
    if (::MsiRecordGetStringW(record, field, empty, &size) != ERROR_MORE_DATA) return {};
    std::wstring text(size + 1, L'\0');
    size += 1;
    if (::MsiRecordGetStringW(record, field, text.data(), &size) != ERROR_SUCCESS) return {};
    text.resize(size);
    return text;
}

}  // namespace

MessageRecorder::MessageRecorder() {
    ::MsiSetExternalUIRecord(&MessageRecorder::Handler, 0xFFFFFFFF, this, &mPrevious);
}

MessageRecorder::~MessageRecorder() {
    ::MsiSetExternalUIRecord(mPrevious, 0xFFFFFFFF, nullptr, nullptr);
}

void MessageRecorder::Answer(UINT typeOrKind, std::vector<int> answers) {
    std::lock_guard guard(mLock);
    auto& queue = mScript[typeOrKind];
    queue.insert(queue.end(), answers.begin(), answers.end());
}

void MessageRecorder::DefaultAnswer(int answer) {
    std::lock_guard guard(mLock);
    mDefault = answer;
}

int WINAPI MessageRecorder::Handler(void* context, UINT type, MSIHANDLE record) {
    return context ? static_cast<MessageRecorder*>(context)->Handle(type, record) : 0;
}

int MessageRecorder::Handle(UINT type, MSIHANDLE record) {
    RecordedMessage message;
    message.type = type;
    const UINT kind = type & 0xFF000000u;
    // INITIALIZE and TERMINATE come with a handle that is not a record.
    const bool hasRecord = kind != INSTALLMESSAGE_INITIALIZE && kind != INSTALLMESSAGE_TERMINATE;
    const int count = hasRecord ? static_cast<int>(::MsiRecordGetFieldCount(record)) : -1;
    for (int field = 0; field <= count; ++field) {
        message.fields.push_back(FieldText(record, static_cast<UINT>(field)));
        message.isNull.push_back(::MsiRecordIsNull(record, static_cast<UINT>(field)) != FALSE);
    }
    std::lock_guard guard(mLock);
    const int ruled = mRule ? mRule(message) : 0;
    int answer = ruled ? ruled : mDefault;
    for (UINT key : {type, kind}) {
        if (ruled) break;
        auto it = mScript.find(key);
        if (it != mScript.end() && !it->second.empty()) {
            answer = it->second.front();
            it->second.pop_front();
            break;
        }
    }
    message.answer = answer;
    mMessages.push_back(std::move(message));
    return answer;
}

void MessageRecorder::AnswerWhen(std::function<int(const RecordedMessage&)> rule) {
    std::lock_guard guard(mLock);
    mRule = std::move(rule);
}

std::vector<RecordedMessage> MessageRecorder::Messages() const {
    std::lock_guard guard(mLock);
    return mMessages;
}

std::vector<RecordedMessage> MessageRecorder::OfType(UINT type) const {
    std::vector<RecordedMessage> out;
    for (auto& message : Messages())
        if (message.type == type) out.push_back(message);
    return out;
}

std::vector<std::wstring> MessageRecorder::LogLines() const {
    std::vector<std::wstring> lines;
    for (auto& message : OfType(INSTALLMESSAGE_INFO))
        if (message.Field(0) == L"[1]") lines.push_back(message.Field(1));
    return lines;
}

void MessageRecorder::Clear() {
    std::lock_guard guard(mLock);
    mMessages.clear();
    mScript.clear();
}

}  // namespace tvtest
