// The DLL as a file: headers, exports and imports.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/module/dll.h"

namespace {

/// The bytes of an image file.
class Image {
  public:
    Image() {
        std::ifstream file(DllPath(), std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        if (At<IMAGE_DOS_HEADER>(0)->e_magic != IMAGE_DOS_SIGNATURE || Headers().Signature != IMAGE_NT_SIGNATURE) {
            throw std::runtime_error("not an image file");
        }
    }

    [[nodiscard]] const IMAGE_NT_HEADERS64& Headers() const {
        return *At<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }

    [[nodiscard]] std::size_t Size() const { return m_bytes.size(); }

    [[nodiscard]] std::span<const IMAGE_SECTION_HEADER> Sections() const {
        const IMAGE_NT_HEADERS64& headers = Headers();
        return {reinterpret_cast<const IMAGE_SECTION_HEADER*>(reinterpret_cast<const char*>(&headers.OptionalHeader) +
                                                              headers.FileHeader.SizeOfOptionalHeader),
                headers.FileHeader.NumberOfSections};
    }

    [[nodiscard]] const IMAGE_DATA_DIRECTORY& Directory(std::size_t index) const {
        return Headers().OptionalHeader.DataDirectory[index];
    }

    /// The data that the loader maps at a relative virtual address.
    template <class T> [[nodiscard]] const T* Loaded(DWORD address) const {
        const std::span<const IMAGE_SECTION_HEADER> sections = Sections();
        const auto found = std::ranges::find_if(sections, [address](const IMAGE_SECTION_HEADER& candidate) {
            return address >= candidate.VirtualAddress && address - candidate.VirtualAddress < candidate.SizeOfRawData;
        });
        if (found == sections.end()) {
            throw std::runtime_error("an address outside all sections");
        }
        return At<T>(address - found->VirtualAddress + found->PointerToRawData);
    }

    [[nodiscard]] std::string Text(DWORD address) const { return Loaded<char>(address); }

  private:
    template <class T> [[nodiscard]] const T* At(std::size_t offset) const {
        if (offset + sizeof(T) > m_bytes.size()) {
            throw std::runtime_error("the file is too short");
        }
        return reinterpret_cast<const T*>(m_bytes.data() + offset);
    }

    std::vector<char> m_bytes;
};

/// Section names of 8 characters have no terminating NUL.
std::string SectionName(const IMAGE_SECTION_HEADER& section) {
    const auto* const name = reinterpret_cast<const char*>(section.Name);
    return {name, std::find(name, name + IMAGE_SIZEOF_SHORT_NAME, '\0')};
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// The imports: for each DLL, in lower case, the names of the functions; "#7" is one imported by ordinal.
std::map<std::string, std::set<std::string>> Imports(const Image& image) {
    std::map<std::string, std::set<std::string>> imports;
    const auto* dll =
        image.Loaded<IMAGE_IMPORT_DESCRIPTOR>(image.Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress);
    for (; dll->Name != 0; ++dll) {
        std::set<std::string>& functions = imports[LowerCase(image.Text(dll->Name))];
        const auto* function = image.Loaded<IMAGE_THUNK_DATA64>(dll->OriginalFirstThunk);
        for (; function->u1.AddressOfData != 0; ++function) {
            const ULONGLONG value = function->u1.AddressOfData;
            functions.insert(IMAGE_SNAP_BY_ORDINAL64(value)
                                 ? "#" + std::to_string(IMAGE_ORDINAL64(value))
                                 : image.Loaded<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(value))->Name);
        }
    }
    return imports;
}

TEST(Image, IsADllFor64BitWindows) {
    const Image image;
    EXPECT_EQ(image.Headers().FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(image.Headers().OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    EXPECT_NE(image.Headers().FileHeader.Characteristics & IMAGE_FILE_DLL, 0);
}

TEST(Image, MayBeLoadedAnywhereAndRunsNoData) {
    const Image image;
    const WORD flags = image.Headers().OptionalHeader.DllCharacteristics;
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, 0);
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA, 0);
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT, 0);
    // The flags have no effect without relocations and an address above 4 GB.
    EXPECT_EQ(image.Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_NE(image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size, 0u);
    EXPECT_GT(image.Headers().OptionalHeader.ImageBase, 0xFFFFFFFFu);
}

TEST(Image, HasAtMost280000Bytes) {
    if (Environment("NUVOLEX_CONFIG") != "Release") {
        GTEST_SKIP() << "the limit is for the release preset: this DLL has debug information or counts its lines";
    }
    EXPECT_LE(Image().Size(), 280'000u);
}

/// Wine maps such sections from the file, and reads all others into memory.
TEST(Image, SectionsBeginAtPagesOfTheFile) {
    constexpr DWORD pageSize = 4096;
    const Image image;
    EXPECT_EQ(image.Headers().OptionalHeader.FileAlignment, pageSize);
    std::size_t withData = 0;
    for (const IMAGE_SECTION_HEADER& section : image.Sections()) {
        EXPECT_EQ(section.PointerToRawData % pageSize, 0u) << SectionName(section);
        withData += section.SizeOfRawData != 0 ? 1 : 0;
    }
    EXPECT_GT(withData, 0u);
}

TEST(Image, ContainsNoBuildTime) {
    EXPECT_EQ(Image().Headers().FileHeader.TimeDateStamp, 0u);
}

/// It fails because every DLL of this compiler has thread-local storage. DllMain calls it nevertheless.
TEST(Image, DisableThreadLibraryCalls_FailsForItsThreadLocalMemory) {
    EXPECT_NE(Image().Directory(IMAGE_DIRECTORY_ENTRY_TLS).Size, 0u);
    const Dll dll;
    EXPECT_FALSE(DisableThreadLibraryCalls(dll.Module()));
}

TEST(Image, ImportsNothingThatReachesIntoOtherThreads) {
    for (const auto& [dll, functions] : Imports(Image())) {
        for (const char* const function :
             {"SuspendThread", "ResumeThread", "SetThreadContext", "OpenProcess", "AddVectoredExceptionHandler"}) {
            EXPECT_FALSE(functions.contains(function)) << dll << " " << function;
        }
    }
}

TEST(Image, ExportsTheFourEntryPointsAndNothingElse) {
    const Image image;
    const auto* const exports =
        image.Loaded<IMAGE_EXPORT_DIRECTORY>(image.Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
    std::set<std::string> names;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        names.insert(image.Text(image.Loaded<DWORD>(exports->AddressOfNames)[i]));
    }
    EXPECT_EQ(names, (std::set<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                            "DllUnregisterServer"}));
    EXPECT_EQ(exports->NumberOfNames, 4u);
    EXPECT_EQ(exports->NumberOfFunctions, 4u) << "something is exported only by ordinal";
    EXPECT_EQ(image.Text(exports->Name), "nuvolex.dll");
}

TEST(Image, ImportsOnlyWhatEveryWindowsHas) {
    const std::set<std::string> system = {"advapi32.dll", "kernel32.dll", "msvcrt.dll",
                                          "ole32.dll",    "oleaut32.dll", "user32.dll"};
    const Image image;
    const auto imports = Imports(image);
    std::set<std::string> foreign;
    for (const auto& [dll, functions] : imports) {
        if (!system.contains(dll)) {
            foreign.insert(dll);
        }
        EXPECT_FALSE(functions.empty()) << dll;
    }
    EXPECT_EQ(foreign, std::set<std::string>());
    EXPECT_FALSE(imports.empty());
    EXPECT_EQ(image.Directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT).Size, 0u);
}

TEST(Image, ImportsEveryFunctionByName) {
    for (const auto& [dll, functions] : Imports(Image())) {
        for (const std::string& function : functions) {
            EXPECT_NE(function.front(), '#') << dll << " " << function;
        }
    }
}

// ole32.dll exports them too, but they are documented for oleaut32.dll only.
TEST(Image, ImportsErrorInfoFunctionsFromOleaut32Only) {
    const auto imports = Imports(Image());
    for (const char* const function : {"CreateErrorInfo", "GetErrorInfo", "SetErrorInfo"}) {
        std::set<std::string> dlls;
        for (const auto& [dll, functions] : imports) {
            if (functions.contains(function)) {
                dlls.insert(dll);
            }
        }
        EXPECT_EQ(dlls, std::set<std::string>{"oleaut32.dll"}) << function;
    }
}

} // namespace
