#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tv {

// MD5 after RFC 1321. Fed in pieces of any size; Final() may be called once.
class Md5 {
public:
    using Digest = std::array<std::uint8_t, 16>;

    Md5() noexcept;
    void Update(const void* data, std::size_t size) noexcept;
    Digest Final() noexcept;

    // 32 lower-case hexadecimal digits, high digit of each byte first.
    static std::wstring ToHex(const Digest& digest);

private:
    void Blocks(const std::uint8_t* data, std::size_t count) noexcept;

    std::uint32_t mState[4];
    std::uint64_t mLength = 0;  // bytes fed so far
    std::uint8_t mBuffer[64];
    std::size_t mBuffered = 0;
};

// Hashes at most the size the file had when it was opened, so a file that
// grows meanwhile still gives the digest of what was there. False, with an
// empty digest, when the file can't be opened or is empty; a read that fails
// midway hashes what was read.
bool HashFileMd5(const std::wstring& path, std::wstring& digest);

}  // namespace tv
