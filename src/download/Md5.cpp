#include "download/Md5.h"
#include <windows.h>
#include <bit>
#include <cstring>
#include <memory>
#include "platform/Files.h"
#include "platform/KernelHandle.h"

namespace tv {

namespace {

// Every Windows target is little-endian, so a message word is one plain load.
static_assert(std::endian::native == std::endian::little);

inline std::uint32_t Word(const std::uint8_t* block, int index) noexcept {
    std::uint32_t word;
    std::memcpy(&word, block + 4 * index, 4);
    return word;
}

// The four round functions, each in the form with the shortest chain
// through `b`, the word computed last: everything that doesn't need `b` is
// added into `a` before `b` is ready.
template <int S>
inline void StepF(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t x,
                  std::uint32_t k) noexcept {
    a += x + k;
    a += d ^ (b & (c ^ d));
    a = b + std::rotl(a, S);
}

// (b & d) | (c & ~d) has no bit in both halves, so the halves can be added.
template <int S>
inline void StepG(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t x,
                  std::uint32_t k) noexcept {
    a += x + k;
    a += c & ~d;
    a += b & d;
    a = b + std::rotl(a, S);
}

template <int S>
inline void StepH(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t x,
                  std::uint32_t k) noexcept {
    a += x + k;
    a += b ^ (c ^ d);
    a = b + std::rotl(a, S);
}

template <int S>
inline void StepI(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t x,
                  std::uint32_t k) noexcept {
    a += x + k;
    a += c ^ (b | ~d);
    a = b + std::rotl(a, S);
}

constexpr std::size_t kReadBlock = 65536;

}  // namespace

Md5::Md5() noexcept : mState{0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u}, mBuffer{} {}

void Md5::Blocks(const std::uint8_t* p, std::size_t count) noexcept {
    std::uint32_t a = mState[0], b = mState[1], c = mState[2], d = mState[3];
    for (; count != 0; --count, p += 64) {
        const std::uint32_t a0 = a, b0 = b, c0 = c, d0 = d;

        StepF<7>(a, b, c, d, Word(p, 0), 0xd76aa478u);
        StepF<12>(d, a, b, c, Word(p, 1), 0xe8c7b756u);
        StepF<17>(c, d, a, b, Word(p, 2), 0x242070dbu);
        StepF<22>(b, c, d, a, Word(p, 3), 0xc1bdceeeu);
        StepF<7>(a, b, c, d, Word(p, 4), 0xf57c0fafu);
        StepF<12>(d, a, b, c, Word(p, 5), 0x4787c62au);
        StepF<17>(c, d, a, b, Word(p, 6), 0xa8304613u);
        StepF<22>(b, c, d, a, Word(p, 7), 0xfd469501u);
        StepF<7>(a, b, c, d, Word(p, 8), 0x698098d8u);
        StepF<12>(d, a, b, c, Word(p, 9), 0x8b44f7afu);
        StepF<17>(c, d, a, b, Word(p, 10), 0xffff5bb1u);
        StepF<22>(b, c, d, a, Word(p, 11), 0x895cd7beu);
        StepF<7>(a, b, c, d, Word(p, 12), 0x6b901122u);
        StepF<12>(d, a, b, c, Word(p, 13), 0xfd987193u);
        StepF<17>(c, d, a, b, Word(p, 14), 0xa679438eu);
        StepF<22>(b, c, d, a, Word(p, 15), 0x49b40821u);

        StepG<5>(a, b, c, d, Word(p, 1), 0xf61e2562u);
        StepG<9>(d, a, b, c, Word(p, 6), 0xc040b340u);
        StepG<14>(c, d, a, b, Word(p, 11), 0x265e5a51u);
        StepG<20>(b, c, d, a, Word(p, 0), 0xe9b6c7aau);
        StepG<5>(a, b, c, d, Word(p, 5), 0xd62f105du);
        StepG<9>(d, a, b, c, Word(p, 10), 0x02441453u);
        StepG<14>(c, d, a, b, Word(p, 15), 0xd8a1e681u);
        StepG<20>(b, c, d, a, Word(p, 4), 0xe7d3fbc8u);
        StepG<5>(a, b, c, d, Word(p, 9), 0x21e1cde6u);
        StepG<9>(d, a, b, c, Word(p, 14), 0xc33707d6u);
        StepG<14>(c, d, a, b, Word(p, 3), 0xf4d50d87u);
        StepG<20>(b, c, d, a, Word(p, 8), 0x455a14edu);
        StepG<5>(a, b, c, d, Word(p, 13), 0xa9e3e905u);
        StepG<9>(d, a, b, c, Word(p, 2), 0xfcefa3f8u);
        StepG<14>(c, d, a, b, Word(p, 7), 0x676f02d9u);
        StepG<20>(b, c, d, a, Word(p, 12), 0x8d2a4c8au);

        StepH<4>(a, b, c, d, Word(p, 5), 0xfffa3942u);
        StepH<11>(d, a, b, c, Word(p, 8), 0x8771f681u);
        StepH<16>(c, d, a, b, Word(p, 11), 0x6d9d6122u);
        StepH<23>(b, c, d, a, Word(p, 14), 0xfde5380cu);
        StepH<4>(a, b, c, d, Word(p, 1), 0xa4beea44u);
        StepH<11>(d, a, b, c, Word(p, 4), 0x4bdecfa9u);
        StepH<16>(c, d, a, b, Word(p, 7), 0xf6bb4b60u);
        StepH<23>(b, c, d, a, Word(p, 10), 0xbebfbc70u);
        StepH<4>(a, b, c, d, Word(p, 13), 0x289b7ec6u);
        StepH<11>(d, a, b, c, Word(p, 0), 0xeaa127fau);
        StepH<16>(c, d, a, b, Word(p, 3), 0xd4ef3085u);
        StepH<23>(b, c, d, a, Word(p, 6), 0x04881d05u);
        StepH<4>(a, b, c, d, Word(p, 9), 0xd9d4d039u);
        StepH<11>(d, a, b, c, Word(p, 12), 0xe6db99e5u);
        StepH<16>(c, d, a, b, Word(p, 15), 0x1fa27cf8u);
        StepH<23>(b, c, d, a, Word(p, 2), 0xc4ac5665u);

        StepI<6>(a, b, c, d, Word(p, 0), 0xf4292244u);
        StepI<10>(d, a, b, c, Word(p, 7), 0x432aff97u);
        StepI<15>(c, d, a, b, Word(p, 14), 0xab9423a7u);
        StepI<21>(b, c, d, a, Word(p, 5), 0xfc93a039u);
        StepI<6>(a, b, c, d, Word(p, 12), 0x655b59c3u);
        StepI<10>(d, a, b, c, Word(p, 3), 0x8f0ccc92u);
        StepI<15>(c, d, a, b, Word(p, 10), 0xffeff47du);
        StepI<21>(b, c, d, a, Word(p, 1), 0x85845dd1u);
        StepI<6>(a, b, c, d, Word(p, 8), 0x6fa87e4fu);
        StepI<10>(d, a, b, c, Word(p, 15), 0xfe2ce6e0u);
        StepI<15>(c, d, a, b, Word(p, 6), 0xa3014314u);
        StepI<21>(b, c, d, a, Word(p, 13), 0x4e0811a1u);
        StepI<6>(a, b, c, d, Word(p, 4), 0xf7537e82u);
        StepI<10>(d, a, b, c, Word(p, 11), 0xbd3af235u);
        StepI<15>(c, d, a, b, Word(p, 2), 0x2ad7d2bbu);
        StepI<21>(b, c, d, a, Word(p, 9), 0xeb86d391u);

        a += a0;
        b += b0;
        c += c0;
        d += d0;
    }
    mState[0] = a;
    mState[1] = b;
    mState[2] = c;
    mState[3] = d;
}

void Md5::Update(const void* data, std::size_t size) noexcept {
    const auto* p = static_cast<const std::uint8_t*>(data);
    mLength += size;
    if (mBuffered != 0) {
        const std::size_t take = size < 64 - mBuffered ? size : 64 - mBuffered;
        std::memcpy(mBuffer + mBuffered, p, take);
        mBuffered += take;
        p += take;
        size -= take;
        if (mBuffered < 64) return;
        Blocks(mBuffer, 1);
        mBuffered = 0;
    }
    // Whole blocks straight from the caller's memory: no copy on the long path.
    Blocks(p, size / 64);
    p += size & ~std::size_t{63};
    mBuffered = size % 64;
    std::memcpy(mBuffer, p, mBuffered);
}

Md5::Digest Md5::Final() noexcept {
    const std::uint64_t bits = mLength * 8;
    // One 0x80, zeros up to 56 bytes into a block, then the bit count.
    std::uint8_t tail[72] = {0x80};
    const std::size_t pad = (mBuffered < 56 ? 56 : 120) - mBuffered;
    for (int i = 0; i < 8; ++i) tail[pad + i] = static_cast<std::uint8_t>(bits >> (8 * i));
    Update(tail, pad + 8);

    Digest digest;
    std::memcpy(digest.data(), mState, 16);
    return digest;
}

std::wstring Md5::ToHex(const Digest& digest) {
    static const wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring text;
    text.reserve(32);
    for (std::uint8_t byte : digest) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

bool HashFileMd5(const std::wstring& path, std::wstring& digest) {
    digest.clear();
    KernelHandle file(::CreateFileW(ToLongPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    const DWORD size = ::GetFileSize(file.Get(), nullptr);
    if (size == 0 || size == INVALID_FILE_SIZE) return false;

    const auto buffer = std::make_unique<std::uint8_t[]>(kReadBlock);
    Md5 md5;
    DWORD total = 0;
    DWORD got = 0;
    while (::ReadFile(file.Get(), buffer.get(), kReadBlock, &got, nullptr) && got != 0) {
        const bool last = got >= size - total;
        if (last) got = size - total;
        md5.Update(buffer.get(), got);
        total += got;
        if (last) break;
    }
    digest = Md5::ToHex(md5.Final());
    return true;
}

}  // namespace tv
