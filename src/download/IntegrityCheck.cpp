#include "download/IntegrityCheck.h"
#include <string>
#include "download/Md5.h"
#include "frame/DebugLog.h"
#include "platform/Files.h"
#include "prereq/PrereqLocation.h"

namespace tv {

namespace {

// The package's digest against the file's: only A to F are folded to lower
// case, and what follows the 32nd digit of the cell isn't looked at.
bool SameDigest(const std::wstring& fileDigest, const std::wstring& cell) {
    if (cell.size() < fileDigest.size()) return false;
    for (size_t i = 0; i < fileDigest.size(); ++i) {
        wchar_t c = cell[i];
        if (c >= L'A' && c <= L'F') c = static_cast<wchar_t>(c - L'A' + L'a');
        if (c != fileDigest[i]) return false;
    }
    return true;
}

}  // namespace

bool VerifyPrereqFile(MSIHANDLE session, const Prerequisite& row) {
    TV_LOG(L"Integrity check started. Prereq: " << Cell(row, L"DisplayName"));
    const long long expected = CellInt64(row, L"ExactSize");
    const std::wstring path = GetPrereqFilePath(session, row);
    // 32 bits only: a size of 4 GiB or more in the row never matches.
    const DWORD actual = FileSizeOf(path);
    if (expected != 0 && static_cast<long long>(actual) != expected) {
        TV_LOG(L"FAILED size verification. Specified size: [ " << expected << L" ]. Downloaded size: [ " << actual
                                                                << L" ].");
        return false;
    }

    const std::wstring& md5 = Cell(row, L"MD5");
    if (md5.empty()) return true;
    std::wstring digest;
    if (HashFileMd5(path, digest) && SameDigest(digest, md5)) {
        TV_LOG(L"Integrity check passed.");
        return true;
    }
    TV_LOG(L"FAILED md5 verification. Specified md5: [ " << md5 << L" ].");
    return false;
}

}  // namespace tv
