#pragma once
// Move-only owner of one handle; each handle family names its traits.
#include <utility>

namespace tv {

template <class Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle h) noexcept : mHandle(h) {}
    ~UniqueHandle() { Reset(); }

    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : mHandle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }

    Handle Get() const noexcept { return mHandle; }
    explicit operator bool() const noexcept { return Traits::IsValid(mHandle); }

    Handle Release() noexcept { return std::exchange(mHandle, Traits::Invalid()); }
    void Reset(Handle h = Traits::Invalid()) noexcept {
        Handle old = std::exchange(mHandle, h);
        if (Traits::IsValid(old)) Traits::Close(old);
    }
    // For out-parameters of system calls: closes what is held first.
    Handle* Put() noexcept { Reset(); return &mHandle; }

private:
    Handle mHandle = Traits::Invalid();
};

}  // namespace tv
