// Times one download: `ours` through FileTransfer with a reporter that
// counts the progress records it would send, `raw` through a minimal
// synchronous WinINet read loop. Prints seconds, bytes, MB/s and records.
#include <windows.h>
#include <wininet.h>
#include <cstdio>
#include <string>
#include <vector>
#include "download/FileTransfer.h"
#include "platform/InternetHandle.h"
#include "platform/KernelHandle.h"

namespace {

double Seconds(const LARGE_INTEGER& from, const LARGE_INTEGER& to) {
    LARGE_INTEGER frequency;
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<double>(to.QuadPart - from.QuadPart) / static_cast<double>(frequency.QuadPart);
}

unsigned long long RawDownload(const std::wstring& url, const std::wstring& target) {
    tv::InternetHandle session(::InternetOpenW(L"Tarvo", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    tv::InternetHandle request(::InternetOpenUrlW(session.Get(), url.c_str(), nullptr, 0,
                                                  INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE, 0));
    tv::KernelHandle file(::CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    if (!request || !file) return 0;
    std::vector<char> buffer(51200);
    unsigned long long total = 0;
    DWORD read = 0, written = 0;
    while (::InternetReadFile(request.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &read) && read > 0) {
        ::WriteFile(file.Get(), buffer.data(), read, &written, nullptr);
        total += read;
    }
    return total;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: downloadbench ours|raw URL TARGET\n");
        return 2;
    }
    const std::wstring mode = argv[1], url = argv[2], target = argv[3];
    unsigned long records = 0;
    unsigned long long bytes = 0;
    DWORD result = 0;
    LARGE_INTEGER start, end;
    if (mode == L"ours") {
        tv::PrereqProgress progress(0);
        progress.filter = [&](std::vector<tv::MessageField>&) {
            ++records;
            return false;  // counted, not sent: there is no installer here
        };
        progress.SetStepCount(1, false);
        records = 0;
        ::DeleteFileW(target.c_str());
        tv::FileTransfer transfer(&progress);
        ::QueryPerformanceCounter(&start);
        result = transfer.Download(url, target);
        ::QueryPerformanceCounter(&end);
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (::GetFileAttributesExW(target.c_str(), GetFileExInfoStandard, &data))
            bytes = (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    } else {
        ::QueryPerformanceCounter(&start);
        bytes = RawDownload(url, target);
        ::QueryPerformanceCounter(&end);
    }
    const double seconds = Seconds(start, end);
    std::printf("%ls result=%lu bytes=%llu seconds=%.3f MBps=%.2f records=%lu\n", mode.c_str(), result, bytes, seconds,
                bytes / 1048576.0 / seconds, records);
    return result == 0 && bytes > 0 ? 0 : 1;
}
