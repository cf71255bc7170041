#include "chainer/ChainRunner.h"
#include "extract/PrereqCleanup.h"
#include "install/Launcher.h"
#include "platform/Files.h"
#include "prereq/PrereqOptions.h"

namespace tv {

namespace {

// Setups that ask for a restart still succeeded.
bool IsSuccessCode(DWORD code) {
    return code == ERROR_SUCCESS || code == ERROR_SUCCESS_REBOOT_REQUIRED || code == ERROR_SUCCESS_REBOOT_INITIATED;
}

std::wstring Number(DWORD value) { return std::to_wstring(value); }

}  // namespace

DWORD ChainRunner::RunRows() {
    const IniSection* list = mIni.Find(L"PREREQUISITES");
    if (list == nullptr) {
        mLog.Line(L"No [PREREQUISITES] section: nothing to run");
        return ERROR_INVALID_DATA;
    }
    DWORD result = ERROR_SUCCESS;
    for (const IniEntry& entry : list->Entries()) {
        bool stop = false;
        const DWORD code = RunRow(entry.key, entry.value, stop);
        if (code != ERROR_SUCCESS && result == ERROR_SUCCESS) result = code;
        if (stop) {
            mLog.Line(L"Chain stopped at " + entry.key + L"; the rows behind it are not run");
            break;
        }
    }
    mLog.Line(L"Chain finished with exit code " + Number(result));
    return result;
}

DWORD ChainRunner::RunRow(const std::wstring& key, const std::wstring& name, bool& stop) {
    const IniSection* section = mIni.Find(key);
    const std::wstring options = section ? section->Value(L"Options") : std::wstring();
    // Mandatory rows decide the launcher's exit code; the others are passed
    // over when they fail, as the library passes over their failed fetch.
    const bool mandatory = HasOptionLetter(options, L'm');
    const std::wstring label = key + L" (" + name + L")";
    const std::wstring setupFile = section ? section->Value(L"SetupFile") : std::wstring();
    if (setupFile.empty()) {
        mLog.Line(label + L": no SetupFile, nothing to start" + (mandatory ? L"; mandatory, chain stops" : L"; skipped"));
        stop = mandatory;
        return mandatory ? ERROR_INVALID_DATA : ERROR_SUCCESS;
    }
    if (!FileExists(setupFile)) {
        mLog.Line(label + L": setup file not found: " + setupFile +
                  (mandatory ? L"; mandatory, chain stops" : L"; skipped"));
        stop = mandatory;
        return mandatory ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
    }
    const std::wstring arguments = section->Value(L"CommandLine");
    mLog.Line(label + L": starting " + setupFile + L" with [" + arguments + L"]");
    DWORD exitCode = 0;
    if (!LaunchAndWait(setupFile, arguments, L"", false, exitCode)) {
        // The library stops its run on a launch that can't start; so do we.
        mLog.Line(label + L": could not start, system error " + Number(exitCode) + L"; chain stops");
        stop = true;
        return exitCode == ERROR_SUCCESS ? ERROR_INVALID_FUNCTION : exitCode;
    }
    mLog.Line(label + L": ended with exit code " + Number(exitCode));
    if (HasOptionLetter(options, L'r') && (!HasOptionLetter(options, L'R') || exitCode == 0))
        mLog.Line(label + L": asks for a restart; the launcher leaves restarting to the package");
    if (IsSuccessCode(exitCode)) return ERROR_SUCCESS;
    if (!mandatory) {
        mLog.Line(label + L": failed, optional, chain goes on");
        return ERROR_SUCCESS;
    }
    mLog.Line(label + L": failed, mandatory; its code is the launcher's exit code");
    return exitCode;
}

void ChainRunner::Cleanup() {
    const IniSection* chainer = mIni.Find(L"PREREQ_CHAINER");
    const std::wstring files = chainer ? chainer->Value(L"CleanupFiles") : std::wstring();
    const std::wstring stop = chainer ? chainer->Value(L"CleanupFolders") : std::wstring();
    if (files.empty()) {
        mLog.Line(L"Cleanup: no CleanupFiles, nothing removed");
        return;
    }
    RemoveFetchedFiles(files, stop, [&](const std::wstring& line) { mLog.Line(L"Cleanup: " + line); });
}

DWORD RunChain(const std::wstring& iniPath) {
    ChainerLog log;
    IniDocument ini;
    const bool read = ini.Read(iniPath);
    const IniSection* chainer = read ? ini.Find(L"PREREQ_CHAINER") : nullptr;
    std::wstring logPath = chainer ? chainer->Value(L"LogFile") : std::wstring();
    if (logPath.empty()) logPath = FolderOf(iniPath) + L"\\tvpackagechainer.log";
    log.Open(logPath);
    log.Line(L"tvpackagechainer: " + iniPath);
    if (!read) {
        const bool exists = FileExists(iniPath);
        log.Line(exists ? L"The .ini file is not UTF-16LE with a byte-order mark, or can't be read"
                        : L"The .ini file is missing");
        return exists ? ERROR_INVALID_DATA : ERROR_FILE_NOT_FOUND;
    }
    ChainRunner runner(ini, log);
    const DWORD result = runner.RunRows();
    runner.Cleanup();
    return result;
}

}  // namespace tv
