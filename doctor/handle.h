/// Ownership of Windows' handles.
#pragma once

#include <memory>
#include <type_traits>

#include <windows.h>

namespace doctor {

struct HandleCloser {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
/// Closes a handle of which null means that there is none.
using HandleOwner = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

} // namespace doctor
