#pragma once
#include <cstddef>
#include <memory>
#include <string>

namespace tv {

// An owned, zeroed wide-character buffer; allocating again frees what it held.
class CharBuffer {
public:
    wchar_t* Allocate(size_t capacity) {
        mData = std::make_unique<wchar_t[]>(capacity);  // value-initialised: zeroed
        mCapacity = capacity;
        return mData.get();
    }
    void Free() noexcept { mData.reset(); mCapacity = 0; }

    wchar_t* Data() noexcept { return mData.get(); }
    size_t Capacity() const noexcept { return mCapacity; }
    // The text up to the first terminator; empty when nothing is held.
    std::wstring Text() const { return mData ? std::wstring(mData.get()) : std::wstring(); }

private:
    std::unique_ptr<wchar_t[]> mData;
    size_t mCapacity = 0;
};

// Reads a value of unknown length with the installer's size protocol: a
// first call with capacity 0 learns the length, a second reads it whole.
// `call(buffer, &capacity)` returns the installer's result code.
template <class Call>
bool ReadSized(Call&& call, CharBuffer& buffer) {
    buffer.Free();
    wchar_t empty[1] = {0};
    DWORD capacity = 0;
    UINT rc = call(empty, &capacity);
    if (rc != ERROR_MORE_DATA) return false;
    capacity += 1;
    wchar_t* data = buffer.Allocate(capacity);
    rc = call(data, &capacity);
    if (rc != ERROR_SUCCESS) {
        buffer.Free();
        return false;
    }
    return true;
}

template <class Call>
std::wstring ReadSizedText(Call&& call) {
    CharBuffer buffer;
    return ReadSized(call, buffer) ? buffer.Text() : std::wstring();
}

}  // namespace tv
