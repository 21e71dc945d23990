/// The DLL: its size, and the time for the first object in a process.
#include <filesystem>
#include <string>

#include "bench/automation.h"
#include "bench/measure.h"
#include "bench/process.h"

namespace bench {

namespace {

constexpr const wchar_t* ourClass = L"Nuvolex.NXStringList";

Side FirstObject(const std::wstring& progId) {
    return [=](std::size_t) { return [=] { return AskChild(L"--first-object " + progId); }; };
}

/// The size of the registered DLL in bytes.
Round DllSize(std::size_t) {
    const auto object = Create(ourClass);
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(GetModuleHandleW(L"nuvolex.dll"), path, MAX_PATH);
    Check(length != 0 && length < MAX_PATH);
    return [size = static_cast<double>(std::filesystem::file_size(path))] { return size; };
}

Round SizeLimit(std::size_t) {
    return [] { return 280'000.0; };
}

} // namespace

std::vector<Case> ModuleCases() {
    return {
        {"dll.first object", "a Dictionary: load, create, first name and call", FirstObject(ourClass),
         FirstObject(L"Scripting.Dictionary"), 1.0},
        {"dll.size", "the limit", DllSize, SizeLimit, 1.0, 1, "bytes"},
    };
}

} // namespace bench
