// The parallel route against the sequential one, in one run: N
// prerequisites whose files come from our loopback server at a throttled
// rate and whose setup (our test setup program) sleeps. The sequential run
// gives the cost of one download (D) and one install (I) as the mean of its
// two phases; the parallel run is set beside the best any overlap of the two
// lines can do, max(N*D + I, D + N*I).
//   overlapbench <http port> [N] [install ms] [trickle ms per KiB]
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <cstdio>
#include <cwchar>
#include <string>
#include "Harness.h"

using namespace tvtest;

namespace {

struct Settings {
    int port = 0;
    int count = 4;
    int installMs = 2000;
    int trickleMs = 3;
};

double Now() {
    LARGE_INTEGER counter, frequency;
    ::QueryPerformanceCounter(&counter);
    ::QueryPerformanceFrequency(&frequency);
    return double(counter.QuadPart) / double(frequency.QuadPart);
}

// A package of `count` rows of the main phase, each its own download.
void Fill(TestPackage& package, const Settings& s, const std::wstring& folder, bool parallel) {
    package.Property(L"TV_PREREQS_DIR", folder);
    if (parallel) package.Property(L"TV_PARALLEL_DOWNLOAD", L"1");
    const std::wstring url = L"http://127.0.0.1:" + std::to_wstring(s.port) + L"/f/setup.exe?trickle=" +
                             std::to_wstring(s.trickleMs);
    for (int i = 1; i <= s.count; ++i) {
        const std::wstring key = L"P" + std::to_wstring(i);
        package.Prereq({{L"PrereqKey", key}, {L"DisplayName", key}, {L"Location", 1}, {L"SetupFileUrl", url},
                        {L"TargetName", key + L"?setup.exe"}, {L"Sequence", i}, {L"MissingCondition", L"1"},
                        {L"Options", L"f"}, {L"Feature_", L"F1"},
                        {L"ComLine", L"/sleep:" + std::to_wstring(s.installMs)}});
    }
    package.Product({L"F1"});
}

MSIHANDLE Costed(TestPackage& package) {
    MSIHANDLE session = package.OpenSession();
    for (const wchar_t* step : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(session, step);
    ::MsiSetFeatureStateW(session, L"F1", INSTALLSTATE_LOCAL);
    return session;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    Settings s;
    if (argc < 2) {
        std::fwprintf(stderr, L"usage: overlapbench <http port> [N] [install ms] [trickle ms per KiB]\n");
        return 2;
    }
    s.port = _wtoi(argv[1]);
    if (argc > 2) s.count = _wtoi(argv[2]);
    if (argc > 3) s.installMs = _wtoi(argv[3]);
    if (argc > 4) s.trickleMs = _wtoi(argv[4]);
    if (s.count < 1) return 2;

    ScratchFolder scratch(L"-overlap");
    double downloads = 0, installs = 0, parallel = 0;
    UINT sequentialResult = 0, parallelResult = 0;
    {
        TestPackage package;
        Fill(package, s, scratch.path + L"\\sequential", false);
        MSIHANDLE session = Costed(package);
        const double start = Now();
        sequentialResult = TvDll::Get().Call("DownloadPrereq", session);
        const double middle = Now();
        sequentialResult |= TvDll::Get().Call("InstallPrereq", session);
        downloads = middle - start;
        installs = Now() - middle;
        ::MsiCloseHandle(session);
    }
    {
        TestPackage package;
        Fill(package, s, scratch.path + L"\\parallel", true);
        MSIHANDLE session = Costed(package);
        const double start = Now();
        parallelResult = TvDll::Get().Call("InstallPrereq", session);
        parallel = Now() - start;
        ::MsiCloseHandle(session);
    }
    const double d = downloads / s.count, i = installs / s.count;
    const double ideal = std::max(s.count * d + i, d + s.count * i);
    std::wprintf(L"N=%d, setup sleeps %d ms, download throttled to 1 KiB per %d ms\n", s.count, s.installMs,
                 s.trickleMs);
    std::wprintf(L"sequential route: downloads %.2f s + installs %.2f s = %.2f s (D=%.2f s, I=%.2f s), result %u\n",
                 downloads, installs, downloads + installs, d, i, sequentialResult);
    std::wprintf(L"parallel route: %.2f s, result %u\n", parallel, parallelResult);
    std::wprintf(L"ideal max(sum D + I_last, D_first + sum I) = %.2f s\n", ideal);
    std::wprintf(L"ratio parallel/ideal %.3f (target <= 1.10), parallel/sequential %.3f\n", parallel / ideal,
                 parallel / (downloads + installs));
    return sequentialResult || parallelResult ? 1 : 0;
}
