// The digest itself, on the test suite of RFC 1321, and the file hash's
// refusals. Digests of real files are compared with md5sum by md5_files.sh.
#include <fstream>
#include "Harness.h"
#include "download/Md5.h"

using namespace tvtest;

namespace {

const std::pair<std::string, const wchar_t*> kRfc1321Suite[] = {
    {"", L"d41d8cd98f00b204e9800998ecf8427e"},
    {"a", L"0cc175b9c0f1b6a831c399e269772661"},
    {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", L"f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", L"c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", L"d174ab98d277d9f5a5611c2c9f419d9f"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     L"57edf4a22be3c955ac49da2e2107b67a"},
};

void WriteBytes(const std::wstring& path, const std::string& bytes) {
    std::ofstream(Narrow(path), std::ios::binary) << bytes;
}

}  // namespace

TEST(Md5, Rfc1321SuiteInAnyPieces) {
    // Piece sizes around the block of 64 bytes, so that every string passes
    // through the buffered path and the direct path.
    for (size_t piece : {size_t(1000), size_t(1), size_t(3), size_t(55), size_t(63), size_t(64), size_t(65)}) {
        for (const auto& [text, digest] : kRfc1321Suite) {
            tv::Md5 md5;
            for (size_t at = 0; at < text.size(); at += piece) md5.Update(text.data() + at, std::min(piece, text.size() - at));
            EXPECT_EQ(tv::Md5::ToHex(md5.Final()), digest) << '"' << text << "\" in pieces of " << piece;
        }
    }
}

TEST(Md5, FileHashRefusesWhatItCannotRead) {
    TempFile empty, missing;
    WriteBytes(empty.path, "");
    for (const std::wstring& path : {empty.path, missing.path, std::wstring()}) {
        std::wstring digest = L"stale";
        EXPECT_FALSE(tv::HashFileMd5(path, digest)) << Narrow(path);
        EXPECT_EQ(digest, L"");
    }
}

TEST(Md5, FileHashReadsAFileOthersWrite) {
    TempFile file;
    WriteBytes(file.path, "abc");
    // A downloader may still hold the file open for writing.
    HANDLE writer = ::CreateFileW(file.path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    std::wstring digest;
    EXPECT_TRUE(tv::HashFileMd5(file.path, digest));
    EXPECT_EQ(digest, L"900150983cd24fb0d6963f7d28e17f72");
    ::CloseHandle(writer);
}
