// Process walks and launches, with fakesetup.exe (built beside the tests)
// as the process to start.
#include <algorithm>
#include <map>
#include <sstream>
#include "Harness.h"
#include "platform/KernelHandle.h"
#include "platform/ProcessUtil.h"

using namespace tvtest;

namespace {

std::wstring FakeSetupPath() {
    wchar_t exe[MAX_PATH];
    std::wstring path(exe, ::GetModuleFileNameW(nullptr, exe, MAX_PATH));
    return path.substr(0, path.find_last_of(L'\\') + 1) + L"fakesetup.exe";
}

std::wstring Quoted(const std::wstring& text) { return L"\"" + text + L"\""; }

bool WaitForFile(const std::wstring& path) {
    for (int i = 0; i < 200; ++i, ::Sleep(50))
        if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return true;
    return false;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Ends the process, started or found by the test, when it leaves scope.
struct Ended {
    ~Ended() { ::TerminateProcess(process.Get(), 1); }
    tv::KernelHandle process;
};

// fakesetup started with its arguments.
class FakeSetup {
public:
    explicit FakeSetup(const std::wstring& arguments, const wchar_t* folder = nullptr)
        : mCommandLine(Quoted(FakeSetupPath()) + L" " + arguments) {
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION info{};
        std::wstring writable = mCommandLine;
        ::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, FALSE, 0, nullptr, folder, &startup, &info);
        tv::KernelHandle thread(info.hThread);
        mEnded.process.Reset(info.hProcess);
        mId = info.dwProcessId;
    }
    DWORD Id() const { return mId; }
    const std::wstring& CommandLine() const { return mCommandLine; }
    DWORD Wait() const {
        DWORD code = STILL_ACTIVE;
        if (::WaitForSingleObject(mEnded.process.Get(), 10000) == WAIT_OBJECT_0)
            ::GetExitCodeProcess(mEnded.process.Get(), &code);
        return code;
    }

private:
    std::wstring mCommandLine;
    Ended mEnded;
    DWORD mId = 0;
};

}  // namespace

TEST(ProcessUtil, TreeHoldsTheProcessAndItsDescendantsOnly) {
    TempFile parentReady, loneReady;
    FakeSetup parent(L"/spawn:30000 /marker:" + parentReady.path + L" /sleep:30000");
    FakeSetup lone(L"/marker:" + loneReady.path + L" /sleep:30000");
    ASSERT_TRUE(WaitForFile(parentReady.path) && WaitForFile(loneReady.path));

    std::vector<std::wstring> childNames;
    const auto children = tv::ProcessUtil::GetProcesses([&](const tv::ProcessEntry& entry) {
        if (entry.parentProcessId != parent.Id()) return false;
        childNames.push_back(entry.exeName);
        return true;
    });
    ASSERT_EQ(children.size(), 1u);
    const DWORD child = children[0];
    const Ended endChild{tv::KernelHandle(::OpenProcess(PROCESS_TERMINATE, FALSE, child))};
    EXPECT_EQ(_wcsicmp(childNames[0].c_str(), L"fakesetup.exe"), 0) << Narrow(childNames[0]);

    auto tree = tv::ProcessUtil::GetProcessTree(parent.Id());
    std::sort(tree.begin(), tree.end());
    std::vector<DWORD> expected{parent.Id(), child};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(tree, expected);
    EXPECT_EQ(tv::ProcessUtil::GetProcessTree(lone.Id()), std::vector<DWORD>{lone.Id()});

    const DWORD self = ::GetCurrentProcessId();
    EXPECT_EQ(tv::ProcessUtil::GetParentProcessId(parent.Id()), self);
    EXPECT_EQ(tv::ProcessUtil::GetParentProcessId(child), parent.Id());
    EXPECT_EQ(tv::ProcessUtil::GetParentProcessId(0), 0u);

    struct Case { DWORD root, id; bool descendant; };
    const Case cases[] = {
        {parent.Id(), parent.Id(), true}, {parent.Id(), child, true}, {self, child, true},
        {child, parent.Id(), false}, {lone.Id(), child, false}, {parent.Id(), lone.Id(), false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tv::ProcessUtil::IsDescendantOf(c.root, c.id), c.descendant) << c.root << " " << c.id;
}

TEST(ProcessUtil, ParentChainEndsAtZeroOrAtAnIdentifierSeenBefore) {
    using Parents = std::map<DWORD, DWORD>;
    const Parents chain{{5, 4}, {4, 3}, {3, 2}};
    const Parents loop{{5, 4}, {4, 6}, {6, 4}};
    const Parents selfParent{{7, 7}};
    struct Case { const Parents& parents; DWORD root, id; bool descendant; };
    const Case cases[] = {
        {chain, 2, 5, true}, {chain, 4, 5, true}, {chain, 9, 5, false}, {chain, 5, 2, false}, {chain, 9, 9, true},
        {loop, 6, 5, true}, {loop, 9, 5, false}, {selfParent, 7, 7, true}, {selfParent, 9, 7, false},
    };
    for (const Case& c : cases) {
        int lookups = 0;
        // A walk that doesn't stop at the loop would run on; cut it off and count.
        const auto parentOf = [&](DWORD id) -> DWORD {
            if (++lookups > 20) return 0;
            const auto found = c.parents.find(id);
            return found == c.parents.end() ? 0 : found->second;
        };
        EXPECT_EQ(tv::ProcessUtil::IsDescendantOf(c.root, c.id, parentOf), c.descendant) << c.root << " " << c.id;
        EXPECT_LE(lookups, 4) << c.root << " " << c.id;
    }
}

TEST(ProcessUtil, LaunchTakesTheProgramFromApplicationOrCommandLine) {
    const std::wstring folder = TestPackage::TempPath(L"-launch");
    ::CreateDirectoryW(folder.c_str(), nullptr);
    wchar_t previous[MAX_PATH];
    ::GetCurrentDirectoryW(MAX_PATH, previous);
    ::SetCurrentDirectoryW(folder.c_str());

    const std::wstring missing = L"C:\\no\\such\\setup.exe";
    struct Case { std::wstring application, arguments; bool started; };
    const Case cases[] = {
        {L"", Quoted(FakeSetupPath()) + L" /quiet", true},
        {FakeSetupPath(), L"setup.exe /norestart", true},
        {L"", Quoted(missing) + L" /quiet", false},
        {missing, L"", false},
    };
    for (const Case& c : cases) {
        TempFile record, done;
        const std::wstring commandLine = c.arguments + L" /record:" + record.path + L" /marker:" + done.path;
        ::SetLastError(0);
        const bool started = tv::LaunchProcess(c.application, c.arguments.empty() ? L"" : commandLine);
        const DWORD error = ::GetLastError();
        ASSERT_EQ(started, c.started) << Narrow(commandLine);
        if (!started) {
            EXPECT_NE(error, 0u);
            continue;
        }
        ASSERT_TRUE(WaitForFile(done.path));
        // The record is complete before the marker is made.
        const std::vector<std::string> expected{Narrow(commandLine), Narrow(folder)};
        EXPECT_EQ(Lines(record.Read()), expected);
    }
    ::SetCurrentDirectoryW(previous);
    ::RemoveDirectoryW(folder.c_str());
}
