// tvpkg: the package authors' tool of the prerequisites library.
//   tvpkg apply PACKAGE.msi DESCRIPTION.toml
//   tvpkg lint [--json] PACKAGE.msi
//   tvpkg --version
// Exit codes: 0 done / clean, 1 lint found problems, 2 unusable input.
#include <windows.h>
#include <cstdio>
#include <string>
#include <vector>
#include <nlohmann/json.hpp>
#include "TvVersion.h"
#include "tvpkg/Apply.h"
#include "tvpkg/Description.h"
#include "tvpkg/Lint.h"
#include "tvpkg/PackageDb.h"

namespace {

constexpr int kClean = 0;
constexpr int kProblems = 1;
constexpr int kUnusable = 2;

void Print(FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::wstring ToolFolder() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (n == 0) return L".";
        if (n < path.size()) {
            path.resize(n);
            break;
        }
        path.resize(path.size() * 2);
    }
    const size_t slash = path.rfind(L'\\');
    return slash == std::wstring::npos ? L"." : path.substr(0, slash);
}

// The version of this program's own resource, the one the build gave all.
std::string OwnVersion() {
    wchar_t path[MAX_PATH * 2];
    const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH * 2);
    const std::wstring version = n ? tvpkg::FileVersionText(std::wstring(path, n)) : L"";
    return tvpkg::ToUtf8(version.empty() ? TV_VERSION_WTEXT : version);
}

void Usage(FILE* stream) {
    Print(stream,
          "usage: tvpkg apply PACKAGE.msi DESCRIPTION.toml\n"
          "       tvpkg lint [--json] PACKAGE.msi\n"
          "       tvpkg --version\n"
          "exit codes: 0 done or no problem, 1 problems found, 2 unusable input\n");
}

int Apply(const std::wstring& package, const std::wstring& descriptionPath) {
    const tvpkg::Description description = tvpkg::LoadDescription(descriptionPath, ToolFolder());
    tvpkg::ApplyDescription(package, description);
    Print(stdout, "applied " + tvpkg::ToUtf8(descriptionPath) + " to " + tvpkg::ToUtf8(package) + "\n");
    return kClean;
}

int Lint(const std::wstring& package, bool json) {
    const std::vector<tvpkg::Finding> findings = tvpkg::LintPackage(package);
    if (json) {
        nlohmann::json out;
        out["package"] = tvpkg::ToUtf8(package);
        out["tool_version"] = OwnVersion();
        out["findings"] = nlohmann::json::array();
        for (const tvpkg::Finding& finding : findings)
            out["findings"].push_back({{"check", tvpkg::ToUtf8(finding.check)},
                                       {"table", tvpkg::ToUtf8(finding.table)},
                                       {"row", tvpkg::ToUtf8(finding.row)},
                                       {"column", tvpkg::ToUtf8(finding.column)},
                                       {"message", tvpkg::ToUtf8(finding.message)}});
        out["count"] = findings.size();
        Print(stdout, out.dump(2) + "\n");
    } else {
        for (const tvpkg::Finding& finding : findings) Print(stdout, tvpkg::ToUtf8(tvpkg::FindingLine(finding)) + "\n");
    }
    return findings.empty() ? kClean : kProblems;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<std::wstring> args(argv + 1, argv + argc);
    try {
        if (args.size() == 1 && (args[0] == L"--version" || args[0] == L"-v")) {
            Print(stdout, std::string("tvpkg ") + OwnVersion() + " (" + TV_PRODUCT_NAME + ")\n");
            return kClean;
        }
        if (args.size() == 1 && (args[0] == L"--help" || args[0] == L"-h")) {
            Usage(stdout);
            return kClean;
        }
        if (args.size() == 3 && args[0] == L"apply") return Apply(args[1], args[2]);
        if (!args.empty() && args[0] == L"lint") {
            bool json = false;
            std::vector<std::wstring> files;
            for (size_t i = 1; i < args.size(); ++i) {
                if (args[i] == L"--json") json = true;
                else files.push_back(args[i]);
            }
            if (files.size() == 1) return Lint(files[0], json);
        }
        Usage(stderr);
        return kUnusable;
    } catch (const tvpkg::UnusableInput& e) {
        Print(stderr, std::string("tvpkg: ") + e.what() + "\n");
        return kUnusable;
    } catch (const std::exception& e) {
        Print(stderr, std::string("tvpkg: ") + e.what() + "\n");
        return kUnusable;
    }
}
