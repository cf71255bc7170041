#include "ServerFixture.h"
#include <fstream>
#include <sstream>
#include "download/Md5.h"

namespace tvtest {

namespace {

constexpr DWORD kStartLimitMs = 30000;

std::vector<std::string> Split(const std::string& line, char separator) {
    std::vector<std::string> fields;
    std::stringstream in(line);
    for (std::string field; std::getline(in, field, separator);) fields.push_back(field);
    if (!line.empty() && line.back() == separator) fields.emplace_back();
    return fields;
}

}  // namespace

std::string UnixPath(const std::wstring& path) {
    using Convert = char*(CDECL*)(const wchar_t*);
    auto convert = reinterpret_cast<Convert>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"),
                                                              "wine_get_unix_file_name"));
    if (!convert) return {};
    char* text = convert(path.c_str());
    if (!text) return {};
    std::string result = text;
    ::HeapFree(::GetProcessHeap(), 0, text);
    return result;
}

std::string Pattern(size_t size, size_t start) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(((start + i) * 7 + (start + i) / 256) % 256);
    return bytes;
}

std::wstring Md5Of(const std::string& bytes) {
    tv::Md5 md5;
    md5.Update(bytes.data(), bytes.size());
    return tv::Md5::ToHex(md5.Final());
}

std::string ReadAll(const std::wstring& path) {
    std::ifstream in(Narrow(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteAll(const std::wstring& path, const std::string& bytes) {
    std::ofstream(Narrow(path), std::ios::binary) << bytes;
}

bool Exists(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

TestServers& TestServers::Get() {
    static TestServers servers;
    return servers;
}

TestServers::TestServers() {
    mFolder = TestPackage::TempPath(L"-servers");
    mFtpRoot = mFolder + L"\\ftp";
    mLifeline = mFolder + L"\\lifeline";
    mLog = mFolder + L"\\requests.log";
    ::CreateDirectoryW(mFolder.c_str(), nullptr);
    ::CreateDirectoryW(mFtpRoot.c_str(), nullptr);
    WriteAll(mLifeline, "");
    const std::wstring ports = mFolder + L"\\ports";
    const std::wstring script = TvDll::Folder() + L"\\..\\..\\tests\\download\\testservers.py";
    // Debian's Python, which has the FTP library; a Unix program that
    // Wine starts as it is.
    std::wstring command = L"Z:\\usr\\bin\\python3 " + Widen(UnixPath(script)) + L" --ports " +
                           Widen(UnixPath(ports)) + L" --log " + Widen(UnixPath(mLog)) + L" --lifeline " +
                           Widen(UnixPath(mLifeline)) + L" --ftproot " + Widen(UnixPath(mFtpRoot)) + L" --root " +
                           Widen(UnixPath(mFtpRoot)) + L" --limit 900";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return;
    ::CloseHandle(process.hThread);
    mProcess = process.hProcess;
    const DWORD start = ::GetTickCount();
    while (!Exists(ports) && ::GetTickCount() - start < kStartLimitMs) ::Sleep(50);
    std::ifstream in(Narrow(ports));
    std::string name;
    int port = 0;
    while (in >> name >> port) mPorts[name] = port;
}

TestServers::~TestServers() { Stop(); }

void TestServers::Stop() {
    ::DeleteFileW(mLifeline.c_str());
    if (mProcess) {
        // The server looks for its lifeline five times a second.
        ::WaitForSingleObject(mProcess, 5000);
        ::CloseHandle(mProcess);
        mProcess = nullptr;
    }
    mPorts.clear();
    RemoveTree(mFolder);
}

int TestServers::Port(const std::string& name) const {
    auto it = mPorts.find(name);
    return it == mPorts.end() ? 0 : it->second;
}

std::wstring TestServers::HttpUrl(const std::wstring& options, const std::wstring& name, bool secure) const {
    return (secure ? L"https://127.0.0.1:" : L"http://127.0.0.1:") + std::to_wstring(Port(secure ? "https" : "http")) +
           L"/b/" + (options.empty() ? L"-" : options) + L"/" + name;
}

std::wstring TestServers::FtpUrl(const std::wstring& name, const std::wstring& user) const {
    return L"ftp://" + (user.empty() ? L"" : user + L"@") + L"127.0.0.1:" + std::to_wstring(Port("ftp")) + L"/" + name;
}

std::vector<LoggedRequest> TestServers::TakeRequests() {
    const std::string text = ReadAll(mLog);
    std::vector<LoggedRequest> requests;
    std::stringstream in(text.substr(std::min(mLogRead, text.size())));
    mLogRead = text.size();
    for (std::string line; std::getline(in, line);) {
        auto f = Split(line, '\t');
        f.resize(7);
        requests.push_back({f[0], f[1], f[2], f[3], f[4], f[5], std::atoll(f[6].c_str()), 0});
    }
    // The ends, in the order the server wrote them, go to the first request
    // of the same path that has none yet.
    std::stringstream done(ReadAll(mLog + L".done"));
    size_t index = 0;
    for (std::string line; std::getline(done, line); ++index) {
        if (index < mDoneTaken) continue;
        auto f = Split(line, '\t');
        f.resize(2);
        for (LoggedRequest& request : requests)
            if (request.path == f[0] && request.finished == 0) {
                request.finished = std::atoll(f[1].c_str());
                break;
            }
    }
    mDoneTaken = index;
    return requests;
}

void DownloadTest::SetUp() {
    ASSERT_TRUE(Servers().Running()) << "the test servers did not start";
    Servers().TakeRequests();
    mFolder = TestPackage::TempPath(L"-dl");
    ::CreateDirectoryW(mFolder.c_str(), nullptr);
}

void DownloadTest::TearDown() { RemoveTree(mFolder); }

}  // namespace tvtest
