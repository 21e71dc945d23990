// The doctor as a program: what it reports for each kind of broken set-up, and that `register` repairs it.
//
// These tests change the real registry, so they need their own Wine prefix.

#include <string>
#include <vector>

#include "doctor/files.h"
#include "tests/doctor/world.h"

using doctor::Scope;
using doctor::ToUtf8;

namespace {

using Ids = std::vector<std::string>;

/// A class of the system in scrrun.dll.
constexpr const wchar_t* foreignClass = L"{0D43FE01-F093-11CF-8940-00A0C9054228}";

class Diagnosis : public WithDoctor {
  protected:
    /// Expects one error, in the text and in the JSON, with all `words` in the text.
    void ExpectError(const std::string& id, const std::vector<std::string>& words) {
        const Report text = Doctor();
        EXPECT_EQ(text.exitCode, 1u);
        EXPECT_TRUE(text.Says("[" + id + "]")) << text.output;
        EXPECT_TRUE(text.Says("Verdict: something is wrong (1 fault).")) << text.output;
        for (const std::string& word : words) {
            EXPECT_TRUE(text.Says(word)) << "missing: " << word << "\n" << text.output;
        }
        const Report json = Doctor(L"--json");
        EXPECT_EQ(json.exitCode, 1u);
        EXPECT_EQ(json.Findings("error"), Ids{id});
        EXPECT_EQ(json.Json()["verdict"].string, "faulty");
    }

    /// Expects that the doctor created no object of the class.
    void ExpectNotTried(std::size_t classIndex) {
        const JsonValue json = Doctor(L"--json").Json();
        EXPECT_EQ(json["facts"]["classes"][classIndex]["createResult"].kind, JsonValue::Kind::nothing);
        EXPECT_EQ(json["facts"]["classes"][classIndex]["servedBy"].kind, JsonValue::Kind::nothing);
    }

    /// Registers, and expects a healthy diagnosis.
    void ExpectRepaired(const std::wstring& path = {}) {
        const Report repair = Doctor(path.empty() ? L"register" : L"register \"" + path + L"\"");
        EXPECT_EQ(repair.exitCode, 0u) << repair.output;
        const Report after = Doctor(L"--json");
        EXPECT_EQ(after.exitCode, 0u) << after.output;
        EXPECT_EQ(after.Findings("error"), Ids{});
        const JsonValue json = after.Json();
        EXPECT_EQ(json["verdict"].string, "ok");
        const std::string wanted = ToUtf8(path.empty() ? DllPath().wstring() : path);
        for (const JsonValue& row : json["facts"]["classes"].items) {
            EXPECT_TRUE(row["works"].truth) << row["name"].string;
            EXPECT_EQ(row["servedBy"].string, wanted);
        }
    }
};

TEST_F(Diagnosis, RegisteredByRegsvr32_AllIsWell) {
    RegisterByItself(DllPath().wstring());
    const Report text = Doctor();
    EXPECT_EQ(text.exitCode, 0u);
    EXPECT_TRUE(text.Says("Verdict: all is well.")) << text.output;
    EXPECT_TRUE(text.Says("Nuvolex " + Environment("NUVOLEX_VERSION") + ".0, 64-bit (x64)")) << text.output;
    const Report run = Doctor(L"--json");
    EXPECT_EQ(run.Findings("error"), Ids{});
    EXPECT_EQ(run.Findings("note"), (Ids{"machine-entries-only", "no-32-bit-access"}));
    const JsonValue json = run.Json();
    EXPECT_EQ(json["tool"]["version"].string, Environment("NUVOLEX_VERSION"));
    EXPECT_EQ(json["facts"]["registration"]["machine"]["state"].string, "complete");
    EXPECT_EQ(json["facts"]["files"][0]["version"].string, Environment("NUVOLEX_VERSION") + ".0");
}

TEST_F(Diagnosis, NotRegistered_IsRepaired) {
    ExpectError("not-registered", {"0x80040154 (class not registered)", "nuvolex-doctor register --user"});
    ExpectRepaired();
}

TEST_F(Diagnosis, RegisteredFor32BitProgramsOnly_IsRepaired) {
    for (const Class& row : classes) {
        SetText(doctor::view32 + ServerKey(row), L"", L"C:\\Nuvolex\\nuvolex.dll");
    }
    ExpectError("registered-for-32-bit-only", {"32-bit programs only", "0x80040154"});
    ExpectRepaired();
}

TEST_F(Diagnosis, MovedFile_IsRepairedWithItsNewPath) {
    const std::wstring before = Copy(L"before");
    RegisterByItself(before);
    const std::wstring now = (m_folder / L"now.dll").wstring();
    std::filesystem::rename(before, now);
    ExpectError("file-missing", {ToUtf8(before), "was moved, renamed or deleted", "nuvolex-doctor register \"C:"});
    ExpectRepaired(now);
}

TEST_F(Diagnosis, HalfRemovedClasses_AreRepaired) {
    RegisterByItself(DllPath().wstring());
    Remove(doctor::ClassKey(*classes[1].clsid));
    Remove(classes[2].ProgId());
    ExpectError("entries-damaged", {"of 111 entries", "are missing", "nuvolex-doctor unregister"});
    ExpectRepaired();
}

TEST_F(Diagnosis, InterfacesLeftBehind_AreRepaired) {
    RegisterByItself(DllPath().wstring());
    for (const Class& row : classes) {
        Remove(doctor::ClassKey(*row.clsid));
        Remove(row.ProgId());
        Remove(row.VersionedProgId());
    }
    ExpectError("entries-damaged", {"The registration for the machine is damaged"});
    ExpectRepaired();
}

TEST_F(Diagnosis, NameOfAnotherClass_IsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetText(classes[0].ProgId() + L"\\CLSID", L"", foreignClass);
    ExpectError("entries-damaged", {"1 is changed", "Nuvolex.NXString\\CLSID", "its name leads to another class"});
    ExpectNotTried(0);
    ExpectRepaired();
}

TEST_F(Diagnosis, RedirectedClass_IsNotRunAndIsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetText(doctor::ClassKey(*classes[0].clsid) + L"\\TreatAs", L"", foreignClass);
    ExpectError("served-by-other-file", {"TreatAs", "Nuvolex.NXString", "nuvolex-doctor register"});
    ExpectNotTried(0);
    ExpectRepaired();
}

TEST_F(Diagnosis, ClassRedirectedForTheUser_IsNotRunAndIsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetTextOf(Scope::user, doctor::ClassKey(*classes[0].clsid) + L"\\TreatAs", L"", foreignClass);
    ExpectError("served-by-other-file", {"TreatAs", "for this user", "nuvolex-doctor unregister --user"});
    ExpectNotTried(0);
    EXPECT_EQ(Doctor(L"unregister --user").exitCode, 0u);
    EXPECT_EQ(Doctor().exitCode, 0u);
}

/// COM would search for the file in its own folders or in the doctor's.
TEST_F(Diagnosis, FileWithoutFolder_IsNotRunAndIsRepaired) {
    for (const wchar_t* const name : {L"scrrun.dll", L"nuvolex.dll"}) {
        RegisterByItself(DllPath().wstring());
        SetServers(name);
        ExpectError("entries-damaged", {"7 are changed", "InprocServer32", "not tried"});
        ExpectNotTried(0);
        EXPECT_TRUE(Doctor(L"--json").Json()["facts"]["files"].items.empty());
        ExpectRepaired();
    }
}

TEST_F(Diagnosis, Folder_IsNamedAsSuch) {
    RegisterByItself(DllPath().wstring());
    SetServers(L"C:\\windows\\system.dll");
    std::filesystem::create_directory(L"C:\\windows\\system.dll");
    ExpectError("file-unreadable", {"it is a folder"});
    std::filesystem::remove(L"C:\\windows\\system.dll");
    ExpectRepaired();
}

TEST_F(Diagnosis, ForeignFile_IsNotRunAndIsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetServers(L"C:\\windows\\system32\\scrrun.dll");
    ExpectError("foreign-file", {"C:\\windows\\system32\\scrrun.dll", "is not the Nuvolex library", "not tried"});
    ExpectRepaired();
}

TEST_F(Diagnosis, WrongBitness_IsRepaired) {
    using namespace std::string_literals;
    RegisterByItself(DllPath().wstring());
    const std::wstring copy = ChangedCopy(L"x86", "PE\0\0\x64\x86"s, "PE\0\0\x4C\x01"s);
    SetServers(copy);
    ExpectError("wrong-bitness", {"x86, needed: x64", ToUtf8(copy)});
    EXPECT_EQ(Doctor(L"--json").Json()["facts"]["files"][0]["bits"].number, 32);
    ExpectRepaired();
}

TEST_F(Diagnosis, FileWithoutVersion_IsReplaced) {
    struct Row {
        const wchar_t* name;
        std::uintmax_t size;
    };
    for (const Row& row : {Row{L"empty", 0}, Row{L"truncated", 5000}}) {
        const std::wstring copy = Copy(row.name);
        RegisterByItself(copy);
        std::filesystem::resize_file(copy, row.size);
        SetText(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib) + L"\\1.0\\409\\win64", L"", DllPath().wstring());
        ExpectError("file-unidentified",
                    {"damaged, or not the Nuvolex library", "What to do: Replace it", "not tried"});
        const Report run = Doctor(L"register \"" + copy + L"\"");
        EXPECT_EQ(run.exitCode, 1u);
        EXPECT_TRUE(run.Says("damaged, or not the Nuvolex library")) << run.output;
        ExpectRepaired();
    }
}

TEST_F(Diagnosis, FileThatCannotBeLoaded_IsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetServers(ChangedCopy(L"damaged", "ole32.dll", "ole99.dll"));
    ExpectError("file-not-loaded", {"0x8007007E", "It is damaged", "cannot be created"});
    ExpectRepaired();
}

TEST_F(Diagnosis, FileInUse_CannotBeRead) {
    const std::wstring copy = Copy(L"in use");
    RegisterByItself(copy);
    HANDLE const exclusive =
        CreateFileW(copy.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
    ExpectError("file-unreadable", {"error 32", ToUtf8(copy)});
    CloseHandle(exclusive);
    EXPECT_EQ(Doctor().exitCode, 0u);
}

TEST_F(Diagnosis, DifferentFiles_AreRepaired) {
    RegisterByItself(DllPath().wstring());
    const std::wstring copy = Copy(L"other");
    SetText(ServerKey(classes[3]), L"", copy);
    ExpectError("mixed-files", {ToUtf8(DllPath().wstring()) + "; " + ToUtf8(copy)});
    ExpectRepaired();
}

TEST_F(Diagnosis, MissingTypeLibrary_IsRepaired) {
    RegisterByItself(DllPath().wstring());
    Remove(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib));
    ExpectError("type-library-not-registered", {"0x8002801D", "Register again: nuvolex-doctor register."});
    ExpectRepaired();
}

TEST_F(Diagnosis, MovedTypeLibrary_IsRepaired) {
    RegisterByItself(DllPath().wstring());
    SetText(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib) + L"\\1.0\\409\\win64", L"", L"C:\\gone.dll");
    ExpectError("type-library-not-loaded", {"0x80029C4A", "C:\\gone.dll"});
    ExpectRepaired();
}

TEST_F(Diagnosis, ForeignTypeLibrary_IsNotLoadedAndIsRepaired) {
    RegisterByItself(DllPath().wstring());
    for (const wchar_t* const path : {L"C:\\windows\\system32\\scrrun.dll", L"scrrun.dll", L"nuvolex.dll"}) {
        SetText(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib) + L"\\1.0\\409\\win64", L"", path);
        ExpectError("type-library-not-loaded", {"not the Nuvolex library", ToUtf8(path)});
        EXPECT_EQ(Doctor(L"--json").Json()["facts"]["typeLibrary"]["result"].kind, JsonValue::Kind::nothing);
        ExpectRepaired();
    }
}

TEST_F(Diagnosis, KeyThatMayNotBeRead_IsNamed) {
    RegisterByItself(DllPath().wstring());
    {
        const RestrictedKey forbidden(ServerKey(classes[0]), WRITE_DAC);
        ExpectError("access-denied", {"0x80070005", "CLSID\\", "Ask an administrator"});
    }
    EXPECT_EQ(Doctor().exitCode, 0u);
}

TEST_F(Diagnosis, SurrogateFor32BitPrograms_IsNoted) {
    RegisterByItself(DllPath().wstring());
    const std::wstring appId = L"{00000000-0000-0000-0000-00000000ABCD}";
    SetText(doctor::ClassKey(*classes[0].clsid), L"AppID", appId);
    EXPECT_EQ(Doctor(L"--json").Findings("note"), (Ids{"machine-entries-only", "no-32-bit-access"}));
    SetText(L"AppID\\" + appId, L"DllSurrogate", L"");
    const Report run = Doctor(L"--json");
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Findings("note"), (Ids{"machine-entries-only", "surrogate-access"}));
}

TEST_F(Diagnosis, ForeignLetters_AreUtf8InTextAndJson) {
    const std::wstring copy = Copy(L"Gr\u00F6\u00DFe \u0394\u03BF\u03BA\u03B9\u03BC\u03AE \U0001D11E 'n'");
    ExpectRepaired(copy);
    EXPECT_TRUE(Doctor().Says(ToUtf8(copy)));
    EXPECT_EQ(Doctor(L"--json").Json()["facts"]["typeLibrary"]["path"].string, ToUtf8(copy));
}

TEST_F(Diagnosis, Help_ListsTheCommands) {
    const Report help = Doctor(L"--help");
    EXPECT_EQ(help.exitCode, 0u);
    for (const char* const word :
         {"register [--user] [PATH]", "unregister [--user]", "--json", "--version", "Exit code"}) {
        EXPECT_TRUE(help.Says(word)) << help.output;
    }
    EXPECT_EQ(Doctor(L"--version").output, "nuvolex-doctor " + Environment("NUVOLEX_VERSION") + "\r\n");
}

TEST_F(Diagnosis, Program_HasTheVersionOfTheProject) {
    const doctor::FileFacts program = doctor::ReadFile(Program().wstring());
    EXPECT_EQ(ToUtf8(program.version), Environment("NUVOLEX_VERSION") + ".0");
    EXPECT_EQ(program.product, L"Nuvolex");
    EXPECT_EQ(program.bits, 64);
    EXPECT_FALSE(program.isNuvolex);
}

TEST_F(Diagnosis, UnknownArgument_IsWrongUsage) {
    const Report run = Doctor(L"--\u0394");
    EXPECT_EQ(run.exitCode, 2u);
    EXPECT_TRUE(run.Says("Unknown argument: --\xCE\x94")) << run.output;
    EXPECT_TRUE(run.Says("--help")) << run.output;
}

} // namespace
