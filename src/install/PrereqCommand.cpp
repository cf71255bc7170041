#include "install/PrereqCommand.h"
#include <windows.h>
#include <objbase.h>
#include <utility>
#include "frame/DebugLog.h"
#include "frame/ScopeGuard.h"
#include "platform/Files.h"

namespace tv {

namespace {

const wchar_t* const gMsiexecSwitches[] = {L"/i", L"/a", L"/x", L"/j", L"/f"};

// Position of the first blank outside double quotes, or npos.
size_t ProgramEnd(const std::wstring& commandLine) {
    bool quoted = false;
    for (size_t i = 0; i < commandLine.size(); ++i) {
        if (commandLine[i] == L' ' && !quoted) return i;
        if (commandLine[i] == L'"') quoted = !quoted;
    }
    return std::wstring::npos;
}

// What the shell's PathGetArgsW gives: everything behind that first blank,
// blanks that follow it included.
std::wstring CommandArguments(const std::wstring& commandLine) {
    size_t end = ProgramEnd(commandLine);
    return end == std::wstring::npos ? std::wstring() : commandLine.substr(end + 1);
}

// What PathRemoveArgsW and then PathUnquoteSpacesW leave.
std::wstring CommandProgram(const std::wstring& commandLine) {
    std::wstring program = commandLine.substr(0, ProgramEnd(commandLine));
    while (!program.empty() && program.back() == L' ') program.pop_back();
    if (program.size() >= 2 && program.front() == L'"' && program.back() == L'"')
        program = program.substr(1, program.size() - 2);
    return program;
}

// Only a GUID in braces is a product code. CLSIDFromString would also look
// an unbraced token up as a ProgID, which no msiexec argument is meant as.
bool IsProductCode(const std::wstring& token) {
    if (token.empty() || token.front() != L'{') return false;
    CLSID clsid;
    return ::CLSIDFromString(token.c_str(), &clsid) == NOERROR;
}

std::wstring Unescape(std::wstring_view quoted) {
    std::wstring text;
    for (size_t i = 0; i < quoted.size(); ++i) {
        text.push_back(quoted[i]);
        if (quoted[i] == L'"' && i + 1 < quoted.size() && quoted[i + 1] == L'"') ++i;
    }
    return text;
}

std::wstring DoubleQuotes(const std::wstring& text) {
    std::wstring doubled;
    for (wchar_t c : text) {
        doubled.push_back(c);
        if (c == L'"') doubled.push_back(L'"');
    }
    return doubled;
}

void LogResults(const PrereqCommand& command) {
    TV_LOG(L"mProcessedCmdLine=" << command.mProcessedCmdLine);
    TV_LOG(L"mApplicationPath=" << command.mApplicationPath);
}

}  // namespace

PrereqCommand::PrereqCommand(std::wstring filePath, std::wstring rawCmdLine)
    : mFilePath(std::move(filePath)), mRawCmdLine(std::move(rawCmdLine)) {
    ProcessCmdLine();
}

void PrereqCommand::ProcessCmdLine() {
    TV_LOG(L"START ProcessCmdLine");
    ScopeGuard end([] { TV_LOG(L"END ProcessCmdLine"); });

    if (ProcessFullCmdLine()) return;

    size_t dot = mFilePath.rfind(L'.');
    std::wstring extension = dot == std::wstring::npos ? std::wstring() : mFilePath.substr(dot + 1);
    // Exact text on purpose: a ".MSI" file is handed to the shell with its
    // arguments as they stand.
    if (extension != L"msi") {
        TV_LOG(L"NOT Msi Prerequsite");
        mProcessedCmdLine = mRawCmdLine;
        mApplicationPath = mFilePath;
        LogResults(*this);
        return;
    }

    // A text of blanks holds no argument at all and means the same as an
    // empty cell. A text whose first token has an unbalanced quote is not
    // empty: it goes to msiexec as "/i" alone, which fails where the author
    // sees it instead of opening the package's full interface.
    std::vector<std::wstring> tokens = SplitArguments(mRawCmdLine);
    if (tokens.empty() && mRawCmdLine.find_first_not_of(L' ') == std::wstring::npos) {
        TV_LOG(L"Empty mRawCmdLine");
        mProcessedCmdLine.clear();
        mApplicationPath = mFilePath;  // the shell opens the package by its association
        LogResults(*this);
        return;
    }

    mApplicationPath = GetMsiexecPath();
    if (tokens.empty() || !IsMsiexecSwitch(tokens.front())) tokens.insert(tokens.begin(), L"/i");
    // A removal by product code names no package file.
    if (tokens.size() > 1 && !IsProductCode(tokens[1])) tokens.insert(tokens.begin() + 1, mFilePath);
    mProcessedCmdLine = JoinArguments(tokens);
    LogResults(*this);
}

bool PrereqCommand::ProcessFullCmdLine() {
    TV_LOG(L"START ProcessFullCmdLine");
    ScopeGuard end([] { TV_LOG(L"END ProcessFullCmdLine"); });

    if (mRawCmdLine.empty()) return false;
    TV_LOG(L"mRawCmdLine=" << mRawCmdLine);
    std::wstring cmdArguments = CommandArguments(mRawCmdLine);
    TV_LOG(L"cmdArguments=" << cmdArguments);
    std::wstring commandLine = CommandProgram(mRawCmdLine);
    TV_LOG(L"commandLine=" << commandLine);

    // Expected for every cell that holds only arguments.
    if (!FileExists(commandLine)) {
        TV_LOG(L"Application path is invalid: " << commandLine);
        return false;
    }
    mApplicationPath = std::move(commandLine);
    mProcessedCmdLine = std::move(cmdArguments);
    LogResults(*this);
    return true;
}

bool IsMsiexecSwitch(const std::wstring& token) {
    for (const wchar_t* option : gMsiexecSwitches)
        if (token.find(option) != std::wstring::npos) return true;
    return false;
}

std::vector<std::wstring> SplitArguments(const std::wstring& text) {
    constexpr size_t npos = std::wstring::npos;
    std::vector<std::wstring> tokens;
    size_t pos = 0;
    for (;;) {
        pos = text.find_first_not_of(L' ', pos);
        if (pos == npos) break;
        size_t start = pos;
        size_t blank = text.find(L' ', start);
        size_t quote = text.find(L'"', start);
        if (quote != npos && (blank == npos || quote < blank)) {
            size_t close = npos;
            for (size_t from = quote + 1;;) {
                size_t next = text.find(L'"', from);
                if (next == npos) break;
                if (next + 1 == text.size() || text[next + 1] == L' ') {
                    close = next;
                    break;
                }
                if (text[next + 1] != L'"') break;
                from = next + 2;
                if (from >= text.size()) break;
            }
            // An unbalanced quote: this token and everything behind it is lost.
            if (close == npos) break;
            std::wstring token = text.substr(start, quote - start);
            token += Unescape(std::wstring_view(text).substr(quote + 1, close - quote - 1));
            tokens.push_back(std::move(token));
            pos = close + 1;
        } else if (blank == npos) {
            tokens.push_back(text.substr(start));
            break;
        } else {
            tokens.push_back(text.substr(start, blank - start));
            pos = blank;
        }
    }
    // A quoted path's closing backslash is written doubled so that it does
    // not escape the quote; inside the program it is one.
    for (std::wstring& token : tokens)
        if (token.size() >= 2 && token.ends_with(L"\\\\")) token.pop_back();
    return tokens;
}

std::wstring JoinArguments(const std::vector<std::wstring>& tokens) {
    std::wstring joined;
    for (const std::wstring& token : tokens) {
        if (token.empty()) break;
        std::wstring item;
        size_t equals = token.find(L'=');
        std::wstring key = equals == std::wstring::npos ? std::wstring() : token.substr(0, equals);
        std::wstring value = equals == std::wstring::npos ? std::wstring() : token.substr(equals + 1);
        if (!key.empty() && key.find(L' ') == std::wstring::npos &&
            (value.empty() || value.find_first_of(L" \"") != std::wstring::npos)) {
            item = key + L"=\"" + DoubleQuotes(value) + L"\"";
        } else if (token.front() != L'"' && token.back() != L'"' && token.find(L' ') != std::wstring::npos) {
            // Doubled so that the closing quote is not read as escaped.
            item = L"\"" + token + (token.back() == L'\\' ? L"\\" : L"") + L"\"";
        } else {
            item = token;
        }
        if (!joined.empty()) joined.push_back(L' ');
        joined += item;
    }
    return joined;
}

std::wstring GetMsiexecPath() {
    wchar_t folder[MAX_PATH] = {};
    UINT length = ::GetSystemDirectoryW(folder, MAX_PATH);
    if (length >= MAX_PATH) length = 0;
    return std::wstring(folder, length) + L"\\msiexec.exe";
}

}  // namespace tv
