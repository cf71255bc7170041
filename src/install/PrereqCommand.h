#pragma once
#include <string>
#include <vector>

namespace tv {

// What to start for a prerequisite and with which arguments, worked out from
// the path of its file and its formatted command-line cell. A cell may hold
// arguments for the file, a complete command with its own program, or
// arguments for an .msi package that has to go through msiexec.exe. Every
// user of a prerequisite's command line builds one, so all see the same answer.
class PrereqCommand {
public:
    // Complete on return; there is no failure.
    PrereqCommand(std::wstring filePath, std::wstring rawCmdLine);

    // Fills mApplicationPath and mProcessedCmdLine.
    void ProcessCmdLine();
    // True, with both results set, when mRawCmdLine starts with the path of
    // something that exists.
    bool ProcessFullCmdLine();

    std::wstring mFilePath;          // may be empty
    std::wstring mRawCmdLine;        // already formatted; may be empty
    std::wstring mApplicationPath;   // what to start
    std::wstring mProcessedCmdLine;  // its arguments; the launcher may append
};

// True when one of msiexec's action switches (/i /a /x /j /f) occurs anywhere
// in the token, case-sensitively: "/forcerestart" holds "/f".
bool IsMsiexecSwitch(const std::wstring& token);
// Splits at blanks only; double quotes group, a doubled quote inside them is
// one quote. An unbalanced quote drops its token and all behind it.
std::vector<std::wstring> SplitArguments(const std::wstring& text);
// The inverse of SplitArguments for what packages write: quotes values and
// paths that hold blanks. Stops at the first empty token.
std::wstring JoinArguments(const std::vector<std::wstring>& tokens);
// The system folder's msiexec.exe.
std::wstring GetMsiexecPath();

}  // namespace tv
