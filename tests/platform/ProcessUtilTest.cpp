// Process walks and launches, with fakesetup.exe (built beside the tests)
// as the process to start.
#include <map>
#include "Harness.h"
#include "platform/KernelHandle.h"
#include "platform/ProcessUtil.h"

using namespace tvtest;

namespace {

const std::wstring kFakeSetup = TvDll::Folder() + L"\\fakesetup.exe";

bool WaitForFile(const std::wstring& path) {
    for (int i = 0; i < 200 && ::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES; ++i) ::Sleep(50);
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// fakesetup started with `arguments`; it makes its marker, then sleeps until
// the object ends it.
struct FakeSetup {
    explicit FakeSetup(const std::wstring& arguments) {
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION info{};
        std::wstring line = L"\"" + kFakeSetup + L"\" " + arguments + L" /marker:" + marker.path + L" /sleep:30000";
        ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info);
        ::CloseHandle(info.hThread);
        process.Reset(info.hProcess);
    }
    DWORD Id() const { return ::GetProcessId(process.Get()); }
    ~FakeSetup() { ::TerminateProcess(process.Get(), 1); }
    TempFile marker;
    tv::KernelHandle process;
};

}  // namespace

TEST(ProcessUtil, TreeHoldsTheProcessAndItsDescendantsOnly) {
    FakeSetup parent(L"/spawn:30000"), lone(L"");
    ASSERT_TRUE(WaitForFile(parent.marker.path) && WaitForFile(lone.marker.path));
    const auto tree = tv::ProcessUtil::GetProcessTree(parent.Id());
    ASSERT_EQ(tree.size(), 2u);
    const DWORD child = tree[0] == parent.Id() ? tree[1] : tree[0];
    EXPECT_TRUE(tree[0] == parent.Id() || tree[1] == parent.Id());
    EXPECT_EQ(tv::ProcessUtil::GetParentProcessId(parent.Id()), ::GetCurrentProcessId());
    EXPECT_EQ(tv::ProcessUtil::GetProcessTree(lone.Id()), std::vector<DWORD>{lone.Id()});
    ::TerminateProcess(tv::KernelHandle(::OpenProcess(PROCESS_TERMINATE, FALSE, child)).Get(), 1);
}

TEST(ProcessUtil, ParentChainEndsAtZeroOrAtAnIdentifierSeenBefore) {
    const std::map<DWORD, DWORD> chain{{5, 4}, {4, 3}, {3, 2}}, loop{{5, 4}, {4, 6}, {6, 4}}, selfParent{{7, 7}};
    struct Case { const std::map<DWORD, DWORD>& parents; DWORD root, id; bool descendant; };
    const Case cases[] = {
        {chain, 2, 5, true}, {chain, 4, 5, true}, {chain, 9, 5, false}, {chain, 5, 2, false}, {chain, 9, 9, true},
        {loop, 6, 5, true}, {loop, 9, 5, false}, {selfParent, 7, 7, true}, {selfParent, 9, 7, false},
    };
    for (const Case& c : cases) {
        int lookups = 0;
        // A walk that doesn't stop at the loop would run on; cut it off and count.
        const auto parentOf = [&](DWORD id) -> DWORD {
            const auto found = c.parents.find(id);
            return ++lookups > 20 || found == c.parents.end() ? 0 : found->second;
        };
        EXPECT_EQ(tv::ProcessUtil::IsDescendantOf(c.root, c.id, parentOf), c.descendant) << c.root << " " << c.id;
        EXPECT_LE(lookups, 4) << c.root << " " << c.id;
    }
}

TEST(ProcessUtil, LaunchTakesTheProgramFromApplicationOrCommandLine) {
    wchar_t folder[MAX_PATH];
    const std::string current = Narrow(std::wstring(folder, ::GetCurrentDirectoryW(MAX_PATH, folder))) + "\n";
    const std::tuple<std::wstring, std::wstring, bool> cases[] = {
        {L"", L"\"" + kFakeSetup + L"\" /quiet", true}, {kFakeSetup, L"setup.exe /norestart", true},
        {L"", L"\"C:\\no\\such\\setup.exe\" /quiet", false},
    };
    for (const auto& [application, arguments, starts] : cases) {
        TempFile record, done;
        const std::wstring commandLine = arguments + L" /record:" + record.path + L" /marker:" + done.path;
        ::SetLastError(0);
        const bool started = tv::LaunchProcess(application, commandLine);
        const DWORD error = ::GetLastError();
        EXPECT_EQ(started, starts) << Narrow(commandLine);
        // The record is complete before the marker is made; the folder is ours.
        if (started) EXPECT_EQ(WaitForFile(done.path) ? record.Read() : "", Narrow(commandLine + L"\n") + current);
        else EXPECT_NE(error, 0u) << Narrow(commandLine);
    }
}
