#pragma once
// A package with prerequisites that come out of the setup executable, played
// by extractpeer.exe copied into a folder of the test's own.
#include <windows.h>
#include <tlhelp32.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
#include "Harness.h"
#include "platform/Files.h"
#include "platform/KernelHandle.h"

namespace tvtest {

using Strings = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

class PeerTest : public SessionTest {
protected:
    void SetUp() override {
        mFolder = TestPackage::TempPath(L"-peer");
        ::CreateDirectoryW(mFolder.c_str(), nullptr);
        ::CopyFileW((TvDll::Folder() + L"\\extractpeer.exe").c_str(), Setup().c_str(), FALSE);
        mPackage.Row(L"UIText", {L"ExtractPrereq", L"Extracting [1]"});
        mPackage.Row(L"ActionText", {L"TV_ExtractPrereq", L"Extracting prerequisites", L"[1]"});
        mPackage.Row(L"Error", {1601, L"Out of disk space on [2]: [3] KB needed, [4] KB free"});
        mPackage.Property(L"TV_EMBEDDED_FILES_LOCATION", L"1");
        mPackage.Property(L"TV_PREREQS_DIR", Out());
    }
    void TearDown() override {
        if (mPeer && ::WaitForSingleObject(mPeer.Get(), 0) == WAIT_TIMEOUT) ::TerminateProcess(mPeer.Get(), 99);
        if (mPeer) ::WaitForSingleObject(mPeer.Get(), 5000);
        RemoveTree(mFolder);
    }
    static void RemoveTree(const std::wstring& folder) {
        WIN32_FIND_DATAW found;
        HANDLE find = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
        if (find != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = found.cFileName;
                if (name == L"." || name == L"..") continue;
                const std::wstring path = folder + L"\\" + name;
                if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                    RemoveTree(path);
                else
                    ::DeleteFileW(path.c_str());
            } while (::FindNextFileW(find, &found));
            ::FindClose(find);
        }
        ::RemoveDirectoryW(folder.c_str());
    }
    // A row that comes out of the executable as group Sequence + 100, not
    // bound to a feature.
    void AddRow(const std::wstring& key, int sequence, const std::wstring& target) {
        mPackage.Prereq({{L"PrereqKey", key}, {L"DisplayName", key}, {L"Sequence", sequence}, {L"Location", 0},
                         {L"TargetName", target}, {L"MissingCondition", L"1"}, {L"Options", L"y"}});
    }
    void Script(const Lines& lines) const {
        std::ofstream out((Narrow(Setup()) + ".script").c_str(), std::ios::binary);
        for (const std::string& line : lines) out << line << "\n";
    }
    // What the peer sent ("> ") and read ("< "), after its "args: " line.
    Lines Transcript() const {
        std::ifstream in((Narrow(Setup()) + ".transcript").c_str());
        Lines lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    // The transcript behind its "args: " line, once the peer the library
    // started has ended (it writes its last lines after the library's side
    // is done), or after ten seconds.
    Lines Conversation() const {
        WaitForStartedPeers();
        const Lines all = Transcript();
        return all.size() > 1 ? Lines(all.begin() + 1, all.end()) : Lines{};
    }
    void WaitForStartedPeers() const {
        const std::wstring name = Setup().substr(Setup().rfind(L'\\') + 1);
        for (int attempt = 0; attempt < 100; ++attempt) {
            tv::KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
            PROCESSENTRY32W entry{};
            entry.dwSize = sizeof(entry);
            bool running = false;
            if (snapshot && ::Process32FirstW(snapshot.Get(), &entry)) {
                do {
                    running = running || ::lstrcmpiW(entry.szExeFile, name.c_str()) == 0;
                } while (::Process32NextW(snapshot.Get(), &entry));
            }
            if (!running) return;
            ::Sleep(100);
        }
    }
    static std::string ReadBytes(const std::wstring& path) {
        std::ifstream in(path.c_str(), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    // Starts the peer in its relay mode and waits until its pipe listens.
    bool StartRelayPeer(const std::wstring& text) {
        std::wstring line = L"\"" + Setup() + L"\" /relay:\"" + text + L"\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started{};
        if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
            return false;
        mPeer.Reset(started.hProcess);
        ::CloseHandle(started.hThread);
        const std::wstring name = L"\\\\.\\pipe\\ToServerTarvo_Extract_" + text;
        for (int attempt = 0; attempt < 150; ++attempt) {
            if (::WaitNamedPipeW(name.c_str(), 100)) return true;
            ::Sleep(100);
        }
        return false;
    }
    // The peer's exit code once it ended, within a few seconds.
    DWORD PeerExit() const {
        DWORD code = STILL_ACTIVE;
        if (::WaitForSingleObject(mPeer.Get(), 10000) == WAIT_OBJECT_0) ::GetExitCodeProcess(mPeer.Get(), &code);
        return code;
    }
    Strings Fields(UINT type, size_t field) const {
        Strings fields;
        for (const auto& m : mMessages.OfType(type)) fields.push_back(m.Field(field));
        return fields;
    }
    // Progress records as "a b c".
    Strings Progress() const {
        Strings records;
        for (const auto& m : mMessages.OfType(INSTALLMESSAGE_PROGRESS))
            records.push_back(m.Field(1) + L" " + m.Field(2) + (m.fields.size() > 3 ? L" " + m.Field(3) : L""));
        return records;
    }
    bool HasLogLine(const std::wstring& text) const {
        for (const std::wstring& line : mMessages.LogLines())
            if (line.find(text) != std::wstring::npos) return true;
        return false;
    }
    std::wstring Setup() const { return mFolder + L"\\setup.exe"; }
    std::wstring Out() const { return mFolder + L"\\out"; }

    std::wstring mFolder;
    tv::KernelHandle mPeer;
};

}  // namespace tvtest
