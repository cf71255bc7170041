#pragma once
#include <utility>
#include "frame/DebugLog.h"

namespace tv {

// Runs an action when the scope is left, on every way out. The action runs
// inside a destructor, so nothing it throws may escape: it is logged and
// dropped, and the caller's course is not changed.
//   ScopeGuard end([] { TV_LOG(L"END Work"); });
template <class Action>
class ScopeGuard {
public:
    explicit ScopeGuard(Action action) : mAction(std::move(action)) {}
    ~ScopeGuard() noexcept {
        try {
            mAction();
        } catch (...) {
            TV_LOG(L"ScopeGuard cleanup threw an exception!");
        }
    }

    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;

private:
    Action mAction;
};

}  // namespace tv
