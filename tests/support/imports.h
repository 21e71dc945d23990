/// The imports of a loaded module, redirected for a while.
///
///     const support::RedirectedImport failing(module, "MultiByteToWideChar", &FailingConversion);
#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include <windows.h>

namespace support {

/// The slot in which the loader has put the address of the function `name` that `module` imports; null if it does not.
inline ULONG_PTR* ImportSlot(HMODULE module, const char* name) {
    const auto part = [module]<class Part>(std::size_t offset, Part** pointer) {
        *pointer = reinterpret_cast<Part*>(reinterpret_cast<unsigned char*>(module) + offset);
    };
    const IMAGE_DOS_HEADER* dos = nullptr;
    part(0, &dos);
    const IMAGE_NT_HEADERS* headers = nullptr;
    part(static_cast<std::size_t>(dos->e_lfanew), &headers);
    const IMAGE_IMPORT_DESCRIPTOR* dll = nullptr;
    part(headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress, &dll);
    for (; dll->Name != 0; ++dll) {
        const IMAGE_THUNK_DATA* wanted = nullptr;
        part(dll->OriginalFirstThunk, &wanted);
        IMAGE_THUNK_DATA* slot = nullptr;
        part(dll->FirstThunk, &slot);
        for (; wanted->u1.AddressOfData != 0; ++wanted, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(wanted->u1.Ordinal)) {
                continue;
            }
            const IMAGE_IMPORT_BY_NAME* import = nullptr;
            part(wanted->u1.AddressOfData, &import);
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) == 0) {
                return &slot->u1.Function;
            }
        }
    }
    return nullptr;
}

/// As long as this lives, `module` calls `replacement` instead of the function that it imports under that name.
class RedirectedImport {
  public:
    template <class Function>
    RedirectedImport(HMODULE module, const char* name, Function* replacement) : m_slot(ImportSlot(module, name)) {
        if (m_slot == nullptr) {
            throw std::runtime_error(std::string("not imported: ") + name);
        }
        m_original = Exchange(reinterpret_cast<ULONG_PTR>(replacement));
    }
    RedirectedImport(const RedirectedImport&) = delete;
    RedirectedImport& operator=(const RedirectedImport&) = delete;
    ~RedirectedImport() { Exchange(m_original); }

  private:
    ULONG_PTR Exchange(ULONG_PTR function) const {
        DWORD before = 0;
        VirtualProtect(m_slot, sizeof(*m_slot), PAGE_READWRITE, &before);
        const ULONG_PTR old = std::exchange(*m_slot, function);
        VirtualProtect(m_slot, sizeof(*m_slot), before, &before);
        return old;
    }

    ULONG_PTR* m_slot;
    ULONG_PTR m_original = 0;
};

} // namespace support
