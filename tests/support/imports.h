/// Redirects the imports of a loaded module for a while.
///
///     const support::RedirectedImport failing(module, "MultiByteToWideChar", &FailingConversion);
#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include <windows.h>

namespace support {

/// The value at an address, aligned or not: lld aligns import tables to 4 bytes.
template <class T> T ValueAt(const unsigned char* address) {
    T value;
    std::memcpy(&value, address, sizeof(value));
    return value;
}

/// The slot with the address of the function `name` that `module` imports; null if it does not import it.
inline unsigned char* ImportSlot(HMODULE module, const char* name) {
    auto* const base = reinterpret_cast<unsigned char*>(module);
    const auto header = static_cast<std::size_t>(ValueAt<IMAGE_DOS_HEADER>(base).e_lfanew);
    const IMAGE_DATA_DIRECTORY imports =
        ValueAt<IMAGE_NT_HEADERS>(base + header).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const unsigned char* dll = base + imports.VirtualAddress;; dll += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        const auto descriptor = ValueAt<IMAGE_IMPORT_DESCRIPTOR>(dll);
        if (descriptor.Name == 0) {
            return nullptr;
        }
        for (std::size_t i = 0;; i += sizeof(IMAGE_THUNK_DATA)) {
            const auto wanted = ValueAt<IMAGE_THUNK_DATA>(base + descriptor.OriginalFirstThunk + i).u1;
            if (wanted.AddressOfData == 0) {
                break;
            }
            if (IMAGE_SNAP_BY_ORDINAL(wanted.Ordinal)) {
                continue;
            }
            const unsigned char* imported = base + wanted.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name);
            if (std::strcmp(reinterpret_cast<const char*>(imported), name) == 0) {
                return base + descriptor.FirstThunk + i;
            }
        }
    }
}

/// While this lives, `module` calls `replacement` instead of the imported function `name`.
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
        VirtualProtect(m_slot, sizeof(function), PAGE_READWRITE, &before);
        const auto old = ValueAt<ULONG_PTR>(m_slot);
        std::memcpy(m_slot, &function, sizeof(function));
        VirtualProtect(m_slot, sizeof(function), before, &before);
        return old;
    }

    unsigned char* m_slot;
    ULONG_PTR m_original = 0;
};

} // namespace support
