#pragma once
#include <windows.h>
#include <msi.h>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tvtest {

struct RecordedMessage {
    UINT type = 0;  // the full message type as sent
    // Field 0 (the template) and the fields after it, as text; an integer
    // field arrives as its decimal text, a null field as "".
    std::vector<std::wstring> fields;
    std::vector<bool> isNull;
    int answer = 0;

    UINT Kind() const { return type & 0xFF000000u; }
    const std::wstring& Field(size_t i) const {
        static const std::wstring empty;
        return i < fields.size() ? fields[i] : empty;
    }
};

// The installer's external UI handler for one test: records every message
// and answers from a script, first by exact type, then by kind.
class MessageRecorder {
public:
    MessageRecorder();
    ~MessageRecorder();
    MessageRecorder(const MessageRecorder&) = delete;
    MessageRecorder& operator=(const MessageRecorder&) = delete;

    // The next answers to messages of this type (exact type, or a kind such
    // as INSTALLMESSAGE_ERROR), one per call; then the default.
    void Answer(UINT typeOrKind, std::vector<int> answers);
    void DefaultAnswer(int answer);
    // Asked first for every message, under the recorder's lock (messages
    // come from more than one thread); a non-zero result is the answer.
    void AnswerWhen(std::function<int(const RecordedMessage&)> rule);

    std::vector<RecordedMessage> Messages() const;
    std::vector<RecordedMessage> OfType(UINT type) const;
    // The diagnostic log's lines: INFO messages with the "[1]" template.
    std::vector<std::wstring> LogLines() const;
    void Clear();

private:
    static int WINAPI Handler(void* context, UINT type, MSIHANDLE record);
    int Handle(UINT type, MSIHANDLE record);

    mutable std::mutex mLock;
    std::vector<RecordedMessage> mMessages;
    std::map<UINT, std::deque<int>> mScript;
    int mDefault = 1;
    std::function<int(const RecordedMessage&)> mRule;
    INSTALLUI_HANDLER_RECORD mPrevious = nullptr;
};

}  // namespace tvtest
