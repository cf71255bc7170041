#include "search/PackageStore.h"
#include <windows.h>
#include <hstring.h>
#include <inspectable.h>
#include "frame/DebugLog.h"
#include "platform/ComPointer.h"
#include "platform/SystemLibrary.h"

namespace tv {

namespace {

// The few slots of Windows.Management.Deployment and its collections that
// the search calls, in their order; no SDK header of the compiler has them.
struct RawPackageVersion {
    UINT16 major, minor, build, revision;
};

struct IRawPackageId : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Version(RawPackageVersion* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Architecture(INT32* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ResourceId(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Publisher(HSTRING* value) = 0;
};

struct IRawPackage : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Id(IRawPackageId** value) = 0;
};

struct IRawPackageIterator : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Current(IRawPackage** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveNext(boolean* value) = 0;
};

struct IRawPackageIterable : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE First(IRawPackageIterator** value) = 0;
};

struct IRawPackageManager : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE AddPackageAsync() = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdatePackageAsync() = 0;
    virtual HRESULT STDMETHODCALLTYPE RemovePackageAsync() = 0;
    virtual HRESULT STDMETHODCALLTYPE StagePackageAsync() = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterPackageAsync() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackages(IRawPackageIterable** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityId(HSTRING userSecurityId,
                                                                   IRawPackageIterable** value) = 0;
};

// {9A7D4B65-5E8F-4FC7-A2E5-7F6925CB8B53}
const IID kIidPackageManager = {0x9a7d4b65, 0x5e8f, 0x4fc7, {0xa2, 0xe5, 0x7f, 0x69, 0x25, 0xcb, 0x8b, 0x53}};

// The runtime's string and activation calls, looked up so that the library
// still loads where the Windows Runtime doesn't exist.
class WinRt {
public:
    WinRt() : mLibrary(L"combase.dll") {
        mCreate = mLibrary.Find<CreateFn>("WindowsCreateString");
        mDelete = mLibrary.Find<DeleteFn>("WindowsDeleteString");
        mBuffer = mLibrary.Find<BufferFn>("WindowsGetStringRawBuffer");
        mActivate = mLibrary.Find<ActivateFn>("RoActivateInstance");
    }
    bool Ok() const { return mCreate && mDelete && mBuffer && mActivate; }

    ComPointer<IInspectable> Activate(const std::wstring& className) const {
        ComPointer<IInspectable> instance;
        HSTRING name = nullptr;
        if (FAILED(mCreate(className.c_str(), static_cast<UINT32>(className.size()), &name))) return instance;
        const HRESULT hr = mActivate(name, instance.Put());
        mDelete(name);
        if (FAILED(hr)) TV_LOG(L"Package manager not available: " << static_cast<long>(hr));
        return instance;
    }
    // Takes the string and frees it.
    std::wstring Take(HSTRING text) const {
        UINT32 length = 0;
        const wchar_t* raw = text ? mBuffer(text, &length) : nullptr;
        std::wstring result = raw ? std::wstring(raw, length) : std::wstring();
        if (text) mDelete(text);
        return result;
    }

private:
    using CreateFn = HRESULT(WINAPI*)(LPCWSTR, UINT32, HSTRING*);
    using DeleteFn = HRESULT(WINAPI*)(HSTRING);
    using BufferFn = PCWSTR(WINAPI*)(HSTRING, UINT32*);
    using ActivateFn = HRESULT(WINAPI*)(HSTRING, IInspectable**);
    SystemLibrary mLibrary;
    CreateFn mCreate = nullptr;
    DeleteFn mDelete = nullptr;
    BufferFn mBuffer = nullptr;
    ActivateFn mActivate = nullptr;
};

bool ReadIdentity(const WinRt& runtime, IRawPackage* package, PackageIdentity& out) {
    ComPointer<IRawPackageId> id;
    if (FAILED(package->get_Id(id.Put())) || !id) return false;
    HSTRING text = nullptr;
    if (SUCCEEDED(id.Get()->get_Name(&text))) out.name = runtime.Take(text);
    text = nullptr;
    if (SUCCEEDED(id.Get()->get_Publisher(&text))) out.publisher = runtime.Take(text);
    INT32 architecture = -1;
    if (SUCCEEDED(id.Get()->get_Architecture(&architecture))) out.architecture = architecture;
    RawPackageVersion version{};
    if (SUCCEEDED(id.Get()->get_Version(&version)))
        out.version.parts = {version.major, version.minor, version.build, version.revision};
    return true;
}

}  // namespace

void ListPackagesOfUser(std::vector<PackageIdentity>& out) {
    const WinRt runtime;
    if (!runtime.Ok()) return;
    const ComPointer<IInspectable> instance = runtime.Activate(L"Windows.Management.Deployment.PackageManager");
    if (!instance) return;
    ComPointer<IRawPackageManager> manager;
    if (FAILED(instance.Get()->QueryInterface(kIidPackageManager, reinterpret_cast<void**>(manager.Put()))) || !manager)
        return;
    // An empty user identifier means the user of this process.
    ComPointer<IRawPackageIterable> packages;
    if (FAILED(manager.Get()->FindPackagesByUserSecurityId(nullptr, packages.Put())) || !packages) return;
    ComPointer<IRawPackageIterator> iterator;
    if (FAILED(packages.Get()->First(iterator.Put())) || !iterator) return;
    boolean hasCurrent = 0;
    if (FAILED(iterator.Get()->get_HasCurrent(&hasCurrent))) return;
    while (hasCurrent) {
        ComPointer<IRawPackage> package;
        PackageIdentity identity;
        if (SUCCEEDED(iterator.Get()->get_Current(package.Put())) && package && ReadIdentity(runtime, package.Get(), identity))
            out.push_back(std::move(identity));
        if (FAILED(iterator.Get()->MoveNext(&hasCurrent))) break;
    }
}

PackageLister& GetPackageStoreSeam() {
    static PackageLister lister = &ListPackagesOfUser;
    return lister;
}

}  // namespace tv
