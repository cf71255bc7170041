#pragma once
#include <windows.h>
#include <map>
#include <string>
#include <vector>
#include "Harness.h"
#include "frame/PrereqProgress.h"

namespace tvtest {

// One request as the test server logged it.
struct LoggedRequest {
    std::string method, path, range, agent, version, encoding;
    // Wall-clock ms since 1970 when the request came in and when its body
    // had been sent whole (0 if it wasn't, or not yet).
    long long started = 0, finished = 0;
};

// The HTTP, HTTPS and FTP servers of tests/download/testservers.py, run by
// the system's Python on 127.0.0.1 with ports it chose. Started once per
// test program and stopped on every way out: the destructor removes the
// lifeline file, and the server ends by itself after a time limit.
class TestServers {
public:
    static TestServers& Get();  // started on first use; GTEST_SKIP-free: failures assert
    ~TestServers();

    bool Running() const { return !mPorts.empty(); }
    int Port(const std::string& name) const;
    // "http://127.0.0.1:<port>/b/<options>/<name>"
    std::wstring HttpUrl(const std::wstring& options, const std::wstring& name, bool secure = false) const;
    std::wstring FtpUrl(const std::wstring& name, const std::wstring& user = L"") const;
    // The folder the FTP server serves, and HTTP under "/f/<name>".
    const std::wstring& FtpRoot() const { return mFtpRoot; }
    // Requests logged since the last call, with the end of those whose body
    // was sent whole by now.
    std::vector<LoggedRequest> TakeRequests();
    void Stop();

private:
    TestServers();
    std::wstring mFolder, mFtpRoot, mLifeline, mLog;
    std::map<std::string, int> mPorts;
    size_t mLogRead = 0;
    size_t mDoneTaken = 0;  // lines of the ".done" file read so far
    HANDLE mProcess = nullptr;
};

// The unix form of a Windows path, through Wine's kernel32.
std::string UnixPath(const std::wstring& path);

// The servers' content: byte i is (i * 7 + i / 256) % 256.
std::string Pattern(size_t size, size_t start = 0);
std::wstring Md5Of(const std::string& bytes);
std::string ReadAll(const std::wstring& path);
void WriteAll(const std::wstring& path, const std::string& bytes);
bool Exists(const std::wstring& path);

// A reporter that counts what a transfer reports, next to passing it on.
class CountingProgress : public tv::PrereqProgress {
public:
    explicit CountingProgress(MSIHANDLE session) : tv::PrereqProgress(session) {}
    void BeginStep(unsigned first, int size, unsigned third) override {
        ++begun;
        tv::PrereqProgress::BeginStep(first, size, third);
    }
    void AddBytes(int count) override {
        bytes += count;
        tv::PrereqProgress::AddBytes(count);
    }
    DWORD ReportError(const std::wstring& name, DWORD code, void* handle) override {
        errors.push_back(code);
        return tv::PrereqProgress::ReportError(name, code, handle);
    }
    long long bytes = 0;
    int begun = 0;
    std::vector<DWORD> errors;
};

// A session test with the servers running and a scratch folder.
class DownloadTest : public SessionTest {
protected:
    void SetUp() override;
    void TearDown() override;
    TestServers& Servers() { return TestServers::Get(); }

    std::wstring mFolder;  // removed with everything in it
};

}  // namespace tvtest
