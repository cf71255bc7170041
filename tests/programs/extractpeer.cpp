// A stand-in for the setup executable that carries prerequisite files. It
// plays the talking side of the callback pipe in one of two modes:
//
//   /groupsextract:<n>;<n>; /out:"<folder>" /callbackid:<id>
//       extraction: connects to \\.\pipe\ToServer<id> and runs its script
//   /relay:"<text>"
//       relay: creates \\.\pipe\ToServerTarvo_Extract_<text>, waits for the
//       library to connect, reads its opening "OK" and runs its script
//
// The script is the file /script:"<file>" or, without it, the program's own
// path with ".script" appended; with neither the script is "auto". One
// command a line, "#" starts a comment; %out% stands for the /out folder:
//
//   msg <text>            sends the text as one message, reads one reply
//   send <text>           sends the text, reads nothing
//   big <count>           sends <count> "x" characters, reads one reply
//   total <bytes>         the total message (low and high word)
//   progress <bytes>      the progress message
//   group <n>             a group starts
//   file <path>           writes the file (deterministic content) and says so
//   note <path>           says a file was written, writes nothing
//   disk <path> <bytes>   out of disk space
//   step <n> <text>       a relay step starts (n: increments or not)
//   laststep <n> <text>   the last relay step starts
//   close                 sends "CLOSE"
//   sleep <ms>            stalls
//   exit <code>           the exit code at the end
//   vanish                exits at once, pipe and all
//   noconnect             (anywhere) exits before it reaches the pipe
//   payload <group> <name> [<file beside the program>]
//                         a file of a group for "auto": a copy of the file
//                         or, without one, deterministic content
//   auto                  the normal extraction of the requested groups:
//                         total, then per group its start, each file written
//                         with progress and its notice, then "close"; a
//                         "CLOSE" reply to a count makes it stop and close
//
// Beside itself it keeps "<program>.transcript" (UTF-8): "args: " and the
// arguments, then "> " for each message sent and "< " for each reply read.
// Exit codes: the script's, 10 when the pipe can't be reached, 11 when the
// library's end went away while a reply was awaited.
#include <windows.h>
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>
#include "platform/Utf8.h"

namespace {

using tv::FromUtf8;
using tv::ToUtf8;

std::wstring ProgramPath() {
    std::wstring path(32768, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// The command line behind the program's own name.
std::wstring Arguments() {
    const wchar_t* line = ::GetCommandLineW();
    if (*line == L'"') {
        line = std::wcschr(line + 1, L'"');
        line = line ? line + 1 : L"";
    } else {
        while (*line && *line != L' ') ++line;
    }
    while (*line == L' ') ++line;
    return line;
}

// The value behind `option`, up to a blank or between double quotes.
std::wstring Option(const std::wstring& arguments, const std::wstring& option) {
    const size_t at = arguments.find(option);
    if (at == std::wstring::npos) return {};
    size_t start = at + option.size();
    if (start < arguments.size() && arguments[start] == L'"') {
        const size_t end = arguments.find(L'"', start + 1);
        return arguments.substr(start + 1, end == std::wstring::npos ? std::wstring::npos : end - start - 1);
    }
    return arguments.substr(start, arguments.find(L' ', start) - start);
}

class Peer {
public:
    Peer(HANDLE pipe, std::ofstream& transcript, std::wstring out, std::wstring folder)
        : mPipe(pipe), mTranscript(transcript), mOut(std::move(out)), mFolder(std::move(folder)) {}

    void Send(const std::wstring& text) {
        DWORD written = 0;
        ::WriteFile(mPipe, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written, nullptr);
        mTranscript << "> " << (text.size() > 64 ? "(" + std::to_string(text.size()) + " chars)" : ToUtf8(text))
                    << "\n";
        mTranscript.flush();
    }
    std::wstring Reply() {
        std::vector<BYTE> buffer(65536 + 2, 0);
        DWORD read = 0;
        if (!::ReadFile(mPipe, buffer.data(), 65536, &read, nullptr)) {
            mTranscript << "< (gone)\n";
            mTranscript.close();
            ::ExitProcess(11);
        }
        const std::wstring reply(reinterpret_cast<const wchar_t*>(buffer.data()), read / sizeof(wchar_t));
        mTranscript << "< " << ToUtf8(reply) << "\n";
        mTranscript.flush();
        return reply;
    }
    std::wstring Message(const std::wstring& text) {
        Send(text);
        return Reply();
    }
    // A 64-bit count behind its type; the reply to the high word.
    std::wstring Count(int type, long long value) {
        Message(std::to_wstring(type));
        Message(std::to_wstring(static_cast<int>(static_cast<unsigned>(value & 0xFFFFFFFF))));
        return Message(std::to_wstring(static_cast<int>(value >> 32)));
    }
    std::wstring Expand(std::wstring path) const {
        const size_t at = path.find(L"%out%");
        if (at != std::wstring::npos) path.replace(at, 5, mOut);
        return path;
    }
    // Content that depends on the name only; returns its size.
    static long long WriteFileFor(const std::wstring& path, const std::wstring& source) {
        if (!source.empty()) {
            ::CopyFileW(source.c_str(), path.c_str(), FALSE);
        } else {
            std::ofstream(path.c_str(), std::ios::binary) << DefaultContent(path);
        }
        return FileSizeOf(path);
    }
    static std::string DefaultContent(const std::wstring& path) {
        const std::string line = "extracted " + ToUtf8(path.substr(path.rfind(L'\\') + 1)) + "\n";
        std::string content;
        for (int i = 0; i < 64; ++i) content += line;
        return content;
    }

    void Auto(const std::vector<int>& groups) {
        struct Item { std::wstring path, source; };
        std::map<int, std::vector<Item>> items;
        long long total = 0;
        for (int group : groups) {
            auto declared = mPayloads.find(group);
            if (declared == mPayloads.end()) {
                items[group].push_back({mOut + L"\\group" + std::to_wstring(group) + L".bin", L""});
            } else {
                for (const auto& [name, source] : declared->second)
                    items[group].push_back({mOut + L"\\" + name, source.empty() ? L"" : mFolder + L"\\" + source});
            }
        }
        // The sizes are known before anything is written, as a container knows them.
        for (int group : groups)
            for (const Item& item : items[group])
                total += item.source.empty() ? static_cast<long long>(DefaultContent(item.path).size())
                                             : FileSizeOf(item.source);
        if (Count(0x0B000000, total) == L"CLOSE") return Send(L"CLOSE");
        long long done = 0;
        for (int group : groups) {
            Message(std::to_wstring(0x08000000));
            Message(std::to_wstring(group));
            for (const Item& item : items[group]) {
                ::CreateDirectoryW(mOut.c_str(), nullptr);
                done += WriteFileFor(item.path, item.source);
                const std::wstring answer = Count(0x0A000000, done);
                Message(std::to_wstring(0x09000000));
                Message(item.path);
                if (answer == L"CLOSE") return Send(L"CLOSE");
            }
        }
        Send(L"CLOSE");
    }
    static long long FileSizeOf(const std::wstring& path) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
        return (static_cast<long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    }

    // Runs one line; false at "vanish".
    bool Run(const std::wstring& line, const std::vector<int>& groups, int& exitCode) {
        std::wistringstream in(line);
        std::wstring command;
        in >> command;
        std::wstring rest;
        std::getline(in, rest);
        if (!rest.empty() && rest[0] == L' ') rest.erase(0, 1);
        std::wistringstream words(rest);
        if (command == L"msg") Message(Expand(rest));
        else if (command == L"send") Send(Expand(rest));
        else if (command == L"big") Message(std::wstring(std::wcstoul(rest.c_str(), nullptr, 10), L'x'));
        else if (command == L"total") Count(0x0B000000, std::wcstoll(rest.c_str(), nullptr, 10));
        else if (command == L"progress") Count(0x0A000000, std::wcstoll(rest.c_str(), nullptr, 10));
        else if (command == L"group") { Message(std::to_wstring(0x08000000)); Message(rest); }
        else if (command == L"file" || command == L"note") {
            const std::wstring path = Expand(rest);
            if (command == L"file") WriteFileFor(path, L"");
            Message(std::to_wstring(0x09000000));
            Message(path);
        } else if (command == L"disk") {
            std::wstring path;
            long long need = 0;
            words >> path >> need;
            Message(std::to_wstring(0x07000000));
            Message(Expand(path));
            Message(std::to_wstring(static_cast<int>(static_cast<unsigned>(need & 0xFFFFFFFF))));
            Message(std::to_wstring(static_cast<int>(need >> 32)));
        } else if (command == L"step" || command == L"laststep") {
            std::wstring flag;
            words >> flag;
            std::wstring text;
            std::getline(words, text);
            if (!text.empty() && text[0] == L' ') text.erase(0, 1);
            Message(std::to_wstring(command == L"step" ? 0x0D000000 : 0x0C000000));
            Message(text);
            Message(flag);
        } else if (command == L"close") Send(L"CLOSE");
        else if (command == L"sleep") ::Sleep(std::wcstoul(rest.c_str(), nullptr, 10));
        else if (command == L"exit") exitCode = std::wcstol(rest.c_str(), nullptr, 10);
        else if (command == L"vanish") return false;
        else if (command == L"payload") {
            int group = 0;
            std::wstring name, source;
            words >> group >> name >> source;
            mPayloads[group].push_back({name, source});
        } else if (command == L"auto") Auto(groups);
        return true;
    }

private:
    HANDLE mPipe;
    std::ofstream& mTranscript;
    std::wstring mOut;
    std::wstring mFolder;
    std::map<int, std::vector<std::pair<std::wstring, std::wstring>>> mPayloads;
};

std::vector<std::wstring> ReadScript(const std::wstring& path) {
    std::ifstream in(path.c_str());
    if (!in) return {L"auto"};
    std::vector<std::wstring> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        lines.push_back(FromUtf8(line));
    }
    return lines;
}

std::vector<int> ParseGroups(const std::wstring& text) {
    std::vector<int> groups;
    std::wistringstream in(text);
    for (std::wstring item; std::getline(in, item, L';');)
        if (!item.empty()) groups.push_back(std::wcstol(item.c_str(), nullptr, 10));
    return groups;
}

HANDLE ConnectToLibrary(const std::wstring& name) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        HANDLE pipe = ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (pipe != INVALID_HANDLE_VALUE) {
            DWORD mode = PIPE_READMODE_MESSAGE;
            ::SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
            return pipe;
        }
        ::Sleep(100);
    }
    return INVALID_HANDLE_VALUE;
}

HANDLE ServeLibrary(const std::wstring& name) {
    HANDLE pipe = ::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT,
                                     1, 32656, 32656, 5000, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) return pipe;
    if (!::ConnectNamedPipe(pipe, nullptr) && ::GetLastError() != ERROR_PIPE_CONNECTED) {
        ::CloseHandle(pipe);
        return INVALID_HANDLE_VALUE;
    }
    return pipe;
}

}  // namespace

int wmain() {
    const std::wstring program = ProgramPath();
    const std::wstring folder = program.substr(0, program.rfind(L'\\'));
    const std::wstring arguments = Arguments();
    std::ofstream transcript((program + L".transcript").c_str(), std::ios::binary | std::ios::trunc);
    transcript << "args: " << ToUtf8(arguments) << "\n";
    transcript.flush();
    std::wstring scriptPath = Option(arguments, L"/script:");
    if (scriptPath.empty()) scriptPath = program + L".script";
    const std::vector<std::wstring> script = ReadScript(scriptPath);

    int exitCode = 0;
    for (const std::wstring& line : script)
        if (line.rfind(L"exit ", 0) == 0) exitCode = std::wcstol(line.c_str() + 5, nullptr, 10);
    for (const std::wstring& line : script)
        if (line == L"noconnect") {
            transcript << "not connecting\n";
            return exitCode;
        }
    const std::wstring relay = Option(arguments, L"/relay:");
    const bool relayMode = arguments.find(L"/relay:") != std::wstring::npos;
    HANDLE pipe = relayMode ? ServeLibrary(L"\\\\.\\pipe\\ToServerTarvo_Extract_" + relay)
                            : ConnectToLibrary(L"\\\\.\\pipe\\ToServer" + Option(arguments, L"/callbackid:"));
    if (pipe == INVALID_HANDLE_VALUE) {
        transcript << "no pipe\n";
        return 10;
    }
    Peer peer(pipe, transcript, Option(arguments, L"/out:"), folder);
    if (relayMode) peer.Reply();  // the library speaks first
    const std::vector<int> groups = ParseGroups(Option(arguments, L"/groupsextract:"));
    for (const std::wstring& line : script)
        if (!peer.Run(line, groups, exitCode)) {
            transcript << "vanished\n";
            transcript.close();
            ::ExitProcess(static_cast<UINT>(exitCode));
        }
    transcript << "done\n";
    transcript.close();
    // Whatever the library still sends goes unread.
    ::CloseHandle(pipe);
    return exitCode;
}
