#pragma once
#include <windows.h>
#include <string>
#include "chainer/ChainerLog.h"
#include "extract/IniDocument.h"

namespace tv {

// Runs the prerequisites that the library wrote into tvpackagechainer.ini,
// in the order of PREREQUISITES, and then removes what was fetched for them.
class ChainRunner {
public:
    ChainRunner(const IniDocument& ini, ChainerLog& log) : mIni(ini), mLog(log) {}

    // 0 when every row that must succeed did, else the first failing row's
    // code (see docs/ARCHITECTURE.md for the codes).
    DWORD RunRows();
    // Removes the files of CleanupFiles and the folders made for them,
    // never the stop folder CleanupFolders or anything above it.
    void Cleanup();

private:
    // 0 or the row's failure code; `stop` set when the chain can't go on.
    DWORD RunRow(const std::wstring& key, const std::wstring& name, bool& stop);

    const IniDocument& mIni;
    ChainerLog& mLog;
};

// The launcher's whole run: reads the .ini at `iniPath`, logs into the file
// it names (else beside it), runs the rows and cleans up.
DWORD RunChain(const std::wstring& iniPath);

}  // namespace tv
