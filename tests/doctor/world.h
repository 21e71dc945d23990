/// Sets up a registry without the library and copies of the library, and runs the doctor.
#pragma once

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include "doctor/entries.h"
#include "doctor/handle.h"
#include "doctor/text.h"
#include "tests/doctor/jsonvalue.h"
#include "tests/module/dll.h"
#include "tests/module/registry.h"

/// The result of a run of the doctor.
struct Report {
    DWORD exitCode = STILL_ACTIVE;
    std::string output; ///< standard output and error

    [[nodiscard]] bool Says(const std::string& part) const { return output.find(part) != std::string::npos; }
    [[nodiscard]] JsonValue Json() const { return JsonParser::Parse(output); }
    /// The identifiers of the errors, or of the notes.
    [[nodiscard]] std::vector<std::string> Findings(const std::string& severity) const {
        std::vector<std::string> ids;
        const JsonValue json = Json();
        for (const JsonValue& finding : json["findings"].items) {
            if (finding["severity"].string == severity) {
                ids.push_back(finding["id"].string);
            }
        }
        return ids;
    }
};

/// The lines of the registration below Software\Classes of a scope.
inline RegistryLines LinesOf(doctor::Scope scope) {
    RegistryLines lines;
    for (const std::wstring& key : doctor::OwnedKeys()) {
        HKEY opened = nullptr;
        const std::wstring path = std::wstring(doctor::classesKey) + L"\\" + key;
        if (RegOpenKeyExW(doctor::RootOf(scope), path.c_str(), 0, KEY_READ, &opened) == ERROR_SUCCESS) {
            lines.insert(key);
            std::vector<wchar_t> name(0x4000);
            detail::AddLines(opened, key, name, lines);
            RegCloseKey(opened);
        }
    }
    return lines;
}

/// The content of the user's Software\Classes.
inline RegistryLines AllOfUser() {
    RegistryLines lines;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, doctor::classesKey, 0, KEY_READ, &opened) == ERROR_SUCCESS) {
        std::vector<wchar_t> name(0x4000);
        detail::AddLines(opened, L"", name, lines);
        RegCloseKey(opened);
    }
    return lines;
}

/// The library is not registered before and after each test, neither for the user nor for the machine.
class WithDoctor : public testing::Test {
  protected:
    void SetUp() override {
        RemoveEverything();
        std::filesystem::create_directories(m_folder);
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    }
    void TearDown() override {
        CoUninitialize();
        RemoveEverything();
        std::error_code error;
        std::filesystem::remove_all(m_folder, error);
        EXPECT_FALSE(error) << error.message();
    }

    /// A copy of the library in a folder of that name.
    [[nodiscard]] std::wstring Copy(const std::wstring& name) const {
        const std::filesystem::path path = m_folder / name / L"nuvolex.dll";
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::copy_file(DllPath(), path, std::filesystem::copy_options::overwrite_existing);
        return path.wstring();
    }

    /// A copy with some bytes replaced.
    [[nodiscard]] std::wstring ChangedCopy(const std::wstring& name, const std::string& from,
                                           const std::string& to) const {
        const std::wstring path = Copy(name);
        std::ifstream in(std::filesystem::path(path), std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(in), {}};
        in.close();
        const std::size_t at = bytes.find(from);
        EXPECT_NE(at, std::string::npos);
        bytes.replace(at, from.size(), to);
        std::ofstream(std::filesystem::path(path), std::ios::binary) << bytes;
        return path;
    }

    /// Registers a file for the machine with its own code, as regsvr32 does.
    static void RegisterByItself(const std::wstring& path) {
        ASSERT_EQ(Result(Dll(path).RegisterServer()), Result(S_OK));
    }

    [[nodiscard]] Report Doctor(const std::wstring& arguments = L"") const { return DoctorAt(Program(), arguments); }

    [[nodiscard]] static std::filesystem::path Program() {
        return std::filesystem::absolute(Environment("NUVOLEX_DOCTOR")).make_preferred();
    }

    [[nodiscard]] Report DoctorAt(const std::filesystem::path& program, const std::wstring& arguments) const {
        const std::filesystem::path outputPath = m_folder / L"output.txt";
        SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
        doctor::HandleOwner output(CreateFileW(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                               CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        std::wstring commandLine = L"\"" + program.wstring() + L"\" " + arguments;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output.get();
        startup.hStdError = output.get();
        PROCESS_INFORMATION started = {};
        if (CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                           &started) == FALSE) {
            throw std::runtime_error("cannot start the doctor, error " + std::to_string(GetLastError()));
        }
        CloseHandle(started.hThread);
        const doctor::HandleOwner process(started.hProcess);
        WaitForSingleObject(process.get(), INFINITE);
        Report run;
        GetExitCodeProcess(process.get(), &run.exitCode);
        output.reset();
        std::ifstream in(outputPath, std::ios::binary);
        run.output = {std::istreambuf_iterator<char>(in), {}};
        return run;
    }

    // The registry; keys are relative to Software\Classes of the machine.

    static void SetText(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
        SetTextOf(doctor::Scope::machine, key, name, text);
    }
    static void SetTextOf(doctor::Scope scope, const std::wstring& key, const std::wstring& name,
                          const std::wstring& text) {
        ASSERT_EQ(RegSetKeyValueW(doctor::RootOf(scope), Path(key).c_str(), name.c_str(), REG_SZ, text.c_str(),
                                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    static void Remove(const std::wstring& key) {
        ASSERT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, Path(key).c_str()), ERROR_SUCCESS);
    }
    static std::wstring Path(const std::wstring& key) { return std::wstring(doctor::classesKey) + L"\\" + key; }
    static std::wstring ServerKey(const Class& row) { return doctor::ClassKey(*row.clsid) + L"\\InprocServer32"; }

    /// Registers another file for all classes.
    static void SetServers(const std::wstring& path) {
        for (const Class& row : classes) {
            SetText(ServerKey(row), L"", path);
        }
    }

    const std::filesystem::path m_folder = std::filesystem::temp_directory_path() / L"nuvolex-doctor";

  private:
    static void RemoveEverything() {
        for (const doctor::Scope scope : doctor::scopes) {
            std::vector<std::wstring> keys = doctor::OwnedKeys();
            keys.push_back(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib));
            for (const std::wstring& key : keys) {
                RegDeleteTreeW(doctor::RootOf(scope), Path(key).c_str());
                RegDeleteTreeW(doctor::RootOf(scope), Path(doctor::view32 + key).c_str());
            }
        }
        for (const wchar_t* const key : {L"AppID", L"CLSID", L"Interface", L"TypeLib", L"Wow6432Node\\CLSID",
                                         L"Wow6432Node\\Interface", L"Wow6432Node"}) {
            RegDeleteKeyW(HKEY_CURRENT_USER, Path(key).c_str()); // fails if it has subkeys
        }
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, Path(L"AppID\\{00000000-0000-0000-0000-00000000ABCD}").c_str());
    }
};
