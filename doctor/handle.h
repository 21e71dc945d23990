/// Ownership of Windows handles.
#pragma once

#include <memory>
#include <type_traits>

#include <windows.h>

namespace doctor {

struct HandleCloser {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
/// Owns a handle that is null if there is none.
using HandleOwner = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

} // namespace doctor
