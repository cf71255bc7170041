#pragma once
#include <windows.h>
#include <functional>
#include <string>

namespace tv {

// Makes a share reachable with a user and password: 0 or the system's
// error number. Replaceable, because a machine without a share client
// (or without a share) can't answer it for real.
using ConnectShareFn = std::function<DWORD(const std::wstring& share, const std::wstring& user,
                                           const std::wstring& password)>;

struct NetworkShareSeam {
    ConnectShareFn connect;
};

// The process's seam; `connect` calls WNetAddConnection2W until replaced.
NetworkShareSeam& GetNetworkShareSeam();

// WNetAddConnection2W on a disk share, with no local name and no provider.
DWORD AddShareConnection(const std::wstring& share, const std::wstring& user, const std::wstring& password);

}  // namespace tv
