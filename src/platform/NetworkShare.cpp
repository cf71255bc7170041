#include "platform/NetworkShare.h"
#include <winnetwk.h>

namespace tv {

DWORD AddShareConnection(const std::wstring& share, const std::wstring& user, const std::wstring& password) {
    std::wstring remote = share;
    NETRESOURCEW resource{};
    resource.dwType = RESOURCETYPE_DISK;
    resource.lpRemoteName = remote.data();
    return ::WNetAddConnection2W(&resource, password.c_str(), user.c_str(), 0);
}

NetworkShareSeam& GetNetworkShareSeam() {
    static NetworkShareSeam seam{AddShareConnection};
    return seam;
}

}  // namespace tv
