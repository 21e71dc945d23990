#include "doctor/files.h"

#include <array>
#include <optional>
#include <vector>

#include "doctor/handle.h"
#include "doctor/text.h"

namespace doctor {

namespace {

struct MachineRow {
    WORD machine;
    int bits;
    const wchar_t* name;
};

constexpr std::array<MachineRow, 3> machineRows = {{
    {IMAGE_FILE_MACHINE_AMD64, 64, L"x64"},
    {IMAGE_FILE_MACHINE_I386, 32, L"x86"},
    {0xAA64, 64, L"ARM64"}, // IMAGE_FILE_MACHINE_ARM64
}};

/// Reads a structure at an offset of a file; none if the file is too short.
template <class Structure> std::optional<Structure> ReadAt(HANDLE file, LONGLONG offset) {
    LARGE_INTEGER position = {};
    position.QuadPart = offset;
    Structure structure = {};
    DWORD count = 0;
    const bool complete = SetFilePointerEx(file, position, nullptr, FILE_BEGIN) != FALSE &&
                          ::ReadFile(file, &structure, sizeof(structure), &count, nullptr) != FALSE &&
                          count == sizeof(structure);
    return complete ? std::optional(structure) : std::nullopt;
}

void ReadMachine(HANDLE file, FileFacts& facts) {
    struct Headers {
        DWORD signature;
        IMAGE_FILE_HEADER header;
    };
    const auto dos = ReadAt<IMAGE_DOS_HEADER>(file, 0);
    if (!dos.has_value() || dos->e_magic != IMAGE_DOS_SIGNATURE) {
        return;
    }
    const auto headers = ReadAt<Headers>(file, dos->e_lfanew);
    if (!headers.has_value() || headers->signature != IMAGE_NT_SIGNATURE) {
        return;
    }
    for (const MachineRow& row : machineRows) {
        if (row.machine == headers->header.Machine) {
            facts.bits = row.bits;
            facts.machine = row.name;
        }
    }
}

/// Returns part of a version resource; null if there is none.
template <class Part> const Part* QueryVersion(const std::vector<BYTE>& resource, const std::wstring& name) {
    void* part = nullptr;
    UINT size = 0;
    const bool found = VerQueryValueW(resource.data(), name.c_str(), &part, &size) != FALSE && size > 0;
    return found ? static_cast<const Part*>(part) : nullptr;
}

/// A string of the version resource, in its first language.
std::wstring VersionString(const std::vector<BYTE>& resource, const wchar_t* name) {
    struct Translation {
        WORD language;
        WORD codePage;
    };
    const auto* const translation = QueryVersion<Translation>(resource, L"\\VarFileInfo\\Translation");
    if (translation == nullptr) {
        return {};
    }
    std::array<wchar_t, 9> block = {};
    swprintf_s(block.data(), block.size(), L"%04x%04x", translation->language, translation->codePage);
    const auto* const text =
        QueryVersion<wchar_t>(resource, std::wstring(L"\\StringFileInfo\\") + block.data() + L"\\" + name);
    return text != nullptr ? text : L"";
}

void ReadVersion(FileFacts& facts) {
    const DWORD size = GetFileVersionInfoSizeW(facts.path.c_str(), nullptr);
    if (size == 0) {
        return;
    }
    std::vector<BYTE> resource(size);
    if (GetFileVersionInfoW(facts.path.c_str(), 0, size, resource.data()) == FALSE) {
        return;
    }
    if (const auto* const fixed = QueryVersion<VS_FIXEDFILEINFO>(resource, L"\\"); fixed != nullptr) {
        facts.version = std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L'.' +
                        std::to_wstring(LOWORD(fixed->dwFileVersionMS)) + L'.' +
                        std::to_wstring(HIWORD(fixed->dwFileVersionLS)) + L'.' +
                        std::to_wstring(LOWORD(fixed->dwFileVersionLS));
    }
    facts.product = VersionString(resource, L"ProductName");
    facts.isNuvolex = EqualNoCase(VersionString(resource, L"OriginalFilename"), L"nuvolex.dll");
}

/// Opens an existing file; on failure returns null, with the reason in GetLastError().
HandleOwner OpenFile(const std::wstring& path, DWORD access) {
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE const opened = CreateFileW(path.c_str(), access, shareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    return HandleOwner(opened != INVALID_HANDLE_VALUE ? opened : nullptr);
}

/// Identifies an open file.
std::optional<std::array<DWORD, 3>> IdentityOf(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION info = {};
    if (file == nullptr || GetFileInformationByHandle(file, &info) == FALSE) {
        return std::nullopt;
    }
    return std::array{info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow};
}

} // namespace

bool IsFullPath(std::wstring_view path) noexcept {
    constexpr std::wstring_view slashes = L"\\/";
    const bool hasDrive = path.size() > 2 && path[1] == L':' && slashes.find(path[2]) != std::wstring_view::npos;
    const std::size_t lastSlash = path.find_last_of(slashes);
    return (hasDrive || path.starts_with(L"\\\\")) && path.find(L'.', lastSlash) != std::wstring_view::npos;
}

FileFacts ReadFile(const std::wstring& path) {
    FileFacts facts;
    facts.path = path;
    const HandleOwner file = OpenFile(path, GENERIC_READ);
    if (file == nullptr) {
        facts.error = GetLastError();
        const DWORD attributes = GetFileAttributesW(path.c_str());
        facts.isFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        return facts;
    }
    ReadMachine(file.get(), facts);
    ReadVersion(facts);
    return facts;
}

bool IsSameFile(const std::wstring& left, const std::wstring& right) {
    const HandleOwner leftFile = OpenFile(left, 0);
    const HandleOwner rightFile = OpenFile(right, 0);
    const auto identity = IdentityOf(leftFile.get());
    return identity.has_value() && identity == IdentityOf(rightFile.get());
}

std::wstring PathOfModule(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(2 * path.size());
    }
}

} // namespace doctor
