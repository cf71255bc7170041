// The thirteen custom actions the package calls by name. Each one names its
// action to the log, runs one operation of a work object built on its stack
// and hands the installer a number; nothing survives the call.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include "extract/ChainerConfigurator.h"
#include "extract/PrereqCleanup.h"
#include "extract/SourceFileRelay.h"
#include "frame/EntryFrame.h"
#include "frame/ParallelInstall.h"
#include "install/Install.h"
#include "install/Rollback.h"
#include "search/AppSearchDriver.h"

using namespace tv;


extern "C" {

UINT __stdcall DoAppSearchEx(MSIHANDLE session) {
    return Framed(session, L"TV_AppSearchEx", [&]() -> UINT {
        UINT result = 0;
        {
            AppSearchDriver search(session);
            result = search.RunAllSearches();
        }
        if (result != 0) return result;
        Install install(session);
        if (install.ArePrereqsFulfilled()) ::MsiSetPropertyW(session, L"TV_PrereqsFulfilled", L"1");
        return 0;
    });
}

UINT __stdcall InstallPrePrereq(MSIHANDLE session) {
    return Framed(session, L"TV_InstallPrereq", [&]() -> UINT {
        Install install(session);
        install.Run(PhasePre);
        return 0;
    });
}

UINT __stdcall VerifyPrePrereq(MSIHANDLE session) {
    return Framed(session, L"TV_VerifyPrePrereq", [&]() -> UINT {
        {
            AppSearchDriver search(session);
            search.RunPrereqSearches();
        }
        Install install(session);
        return install.Verify(PhasePre);
    });
}

UINT __stdcall DownloadPrereq(MSIHANDLE session) {
    return Guarded([&]() -> UINT {
        // The parallel route delivers the files from InstallPrereq instead.
        if (IsParallelInstall(session)) return 0;
        return Framed(session, L"TV_DownloadPrereq", [&]() -> UINT {
            Install install(session);
            return install.ReadAndDownload();
        });
    });
}

UINT __stdcall ExtractPrereq(MSIHANDLE session) {
    return Guarded([&]() -> UINT {
        if (IsParallelInstall(session)) return 0;
        return Framed(session, L"TV_ExtractPrereq", [&]() -> UINT {
            Install install(session);
            install.ExtractFiles();
            return 0;
        });
    });
}

UINT __stdcall InstallPrereq(MSIHANDLE session) {
    return Framed(session, L"TV_InstallPrereq", [&]() -> UINT {
        Install install(session);
        return IsParallelInstall(session) ? install.ParalelDownloadInstall() : install.Run(PhaseMain);
    });
}

UINT __stdcall VerifyPrereq(MSIHANDLE session) {
    return Framed(session, L"TV_VerifyPrereq", [&]() -> UINT {
        Install install(session);
        return install.Verify(PhaseMain);
    });
}

UINT __stdcall InstallPostPrereq(MSIHANDLE session) {
    return Framed(session, L"TV_InstallPostPrereq", [&]() -> UINT {
        Install install(session);
        return install.Run(PhasePost);
    });
}

UINT __stdcall RollbackPrePrereq(MSIHANDLE session) {
    return Framed(session, L"TV_RollbackPrePrereq", [&]() -> UINT {
        Rollback rollback(session);
        rollback.Run(PhasePre);
        return 0;
    });
}

UINT __stdcall RollbackPrereq(MSIHANDLE session) {
    return Framed(session, L"TV_RollbackPrereq", [&]() -> UINT {
        Rollback rollback(session);
        rollback.Run(PhaseMain);
        return 0;
    });
}

UINT __stdcall CleanPrereq(MSIHANDLE session) {
    return Framed(session, L"TV_CleanPrereq", [&]() -> UINT {
        PrereqCleanup cleanup(session);
        cleanup.Run();
        return 0;
    });
}

UINT __stdcall ConfigurePrereqLauncher(MSIHANDLE session) {
    return Framed(session, L"TV_ConfigurePrereqLauncher", [&]() -> UINT {
        PrereqProgress progress(session);
        ChainerConfigurator configurator(session, progress);
        configurator.Run();
        return 0;
    });
}

UINT __stdcall ExtractSourceFiles(MSIHANDLE session) {
    return Guarded([&] { return RelaySourceFiles(session); });
}

}  // extern "C"
