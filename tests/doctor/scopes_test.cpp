// `register` and `unregister` for the user and for the machine: what they write, and that they do not mix.
//
// These tests change the real registry, so they need their own Wine prefix.

#include <string>
#include <vector>

#include "tests/doctor/world.h"

using doctor::Scope;
using doctor::ToUtf8;

namespace {

class Scopes : public WithDoctor {
  protected:
    /// Compares, and prints only differences.
    static void ExpectSame(const RegistryLines& now, const RegistryLines& wanted) {
        EXPECT_EQ(Without(now, wanted), RegistryLines()) << "unexpected";
        EXPECT_EQ(Without(wanted, now), RegistryLines()) << "missing";
    }

    /// The entries that the library itself writes for the machine.
    static RegistryLines LinesOfLibrary(const std::wstring& path) {
        RegisterByItself(path);
        RegistryLines lines = LinesOf(Scope::machine);
        EXPECT_GT(lines.size(), 200u);
        EXPECT_EQ(Result(Dll(path).UnregisterServer()), Result(S_OK));
        EXPECT_EQ(LinesOf(Scope::machine), RegistryLines());
        return lines;
    }

    const std::wstring m_path = DllPath().wstring();
};

TEST_F(Scopes, RegisterForTheMachine_WritesWhatTheLibraryWrites) {
    const RegistryLines wanted = LinesOfLibrary(m_path);
    const RegistryLines user = AllOfUser();
    const Report run = Doctor(L"register");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_TRUE(run.Says("Registered for the machine: " + ToUtf8(m_path))) << run.output;
    ExpectSame(LinesOf(Scope::machine), wanted);
    ExpectSame(AllOfUser(), user);
}

TEST_F(Scopes, RegisterForTheUser_WritesTheSameForTheUserAlone) {
    const RegistryLines wanted = LinesOfLibrary(m_path);
    const Report run = Doctor(L"register --user");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_TRUE(run.Says("Registered for this user: " + ToUtf8(m_path))) << run.output;
    EXPECT_TRUE(run.Says("levated programs")) << run.output;
    ExpectSame(LinesOf(Scope::user), wanted);
    EXPECT_EQ(LinesOf(Scope::machine), RegistryLines());
}

TEST_F(Scopes, UnregisterForTheUser_LeavesNothingAndTheMachineAlone) {
    const std::wstring copy = Copy(L"user's");
    RegisterByItself(m_path);
    const RegistryLines machine = LinesOf(Scope::machine);
    const RegistryLines before = AllOfUser();

    ASSERT_EQ(Doctor(L"register --user \"" + copy + L"\"").exitCode, 0u);
    ExpectSame(LinesOf(Scope::machine), machine);
    EXPECT_NE(AllOfUser(), before);
    const Report run = Doctor(L"unregister --user");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_TRUE(run.Says("no longer registered for this user")) << run.output;
    EXPECT_TRUE(run.Says("still registered for the machine")) << run.output;
    ExpectSame(AllOfUser(), before);
    ExpectSame(LinesOf(Scope::machine), machine);
}

TEST_F(Scopes, UnregisterForTheMachine_LeavesTheUserAlone) {
    ASSERT_EQ(Doctor(L"register --user").exitCode, 0u);
    ASSERT_EQ(Doctor(L"register").exitCode, 0u);
    const RegistryLines user = AllOfUser();
    const Report run = Doctor(L"unregister");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_TRUE(run.Says("still registered for this user")) << run.output;
    EXPECT_EQ(LinesOf(Scope::machine), RegistryLines());
    EXPECT_FALSE(KeyExists(L"TypeLib\\" + doctor::FormatGuid(LIBID_NUVOLEXLib)));
    EXPECT_TRUE(KeyExists(L"CLSID"));
    ExpectSame(AllOfUser(), user);
}

TEST_F(Scopes, UnregisterForTheUser_KeepsKeysThatOthersUse) {
    SetTextOf(Scope::user, L"CLSID\\{00000000-0000-0000-0000-00000000ABCD}", L"", L"another");
    const RegistryLines before = AllOfUser();
    ASSERT_EQ(Doctor(L"register --user").exitCode, 0u);
    EXPECT_EQ(Doctor(L"unregister --user").exitCode, 0u);
    ExpectSame(AllOfUser(), before);
    RegDeleteTreeW(HKEY_CURRENT_USER, Path(L"CLSID\\{00000000-0000-0000-0000-00000000ABCD}").c_str());
}

TEST_F(Scopes, Unregister_NeedsNoFile) {
    const std::wstring copy = Copy(L"deleted");
    RegisterByItself(copy);
    std::filesystem::remove(copy);
    EXPECT_EQ(Doctor(L"unregister").exitCode, 0u);
    EXPECT_EQ(LinesOf(Scope::machine), RegistryLines());
}

TEST_F(Scopes, UnregisterOfNothing_Succeeds) {
    const Report machine = Doctor(L"unregister");
    EXPECT_EQ(machine.exitCode, 0u);
    EXPECT_EQ(machine.output, "Nuvolex was not registered for the machine.\r\n");
    const Report user = Doctor(L"unregister --user");
    EXPECT_EQ(user.exitCode, 0u);
    EXPECT_EQ(user.output, "Nuvolex was not registered for this user.\r\n");
}

/// The classes as surrogate.reg leaves them.
TEST_F(Scopes, AccessOf32BitPrograms_IsKeptByRegisterAndRemovedByUnregister) {
    for (const Scope scope : doctor::scopes) {
        const std::wstring option = scope == Scope::user ? L" --user" : L"";
        const RegistryLines before = AllOfUser();
        ASSERT_EQ(Doctor(L"register" + option).exitCode, 0u);
        for (const Class& row : classes) {
            SetTextOf(scope, doctor::ClassKey(*row.clsid), L"AppID", doctor::surrogateAppId);
        }
        SetTextOf(scope, std::wstring(L"AppID\\") + doctor::surrogateAppId, L"DllSurrogate", L"");
        const RegistryLines enabled = LinesOf(scope);
        EXPECT_EQ(Doctor(L"register" + option).exitCode, 0u);
        ExpectSame(LinesOf(scope), enabled);
        EXPECT_EQ(Doctor(L"unregister" + option).exitCode, 0u);
        EXPECT_EQ(LinesOf(scope), RegistryLines());
        ExpectSame(AllOfUser(), before);
    }
}

TEST_F(Scopes, AppIdOfAnotherLibrary_IsRemovedByRegister) {
    const RegistryLines wanted = LinesOfLibrary(m_path);
    SetText(doctor::ClassKey(*classes[0].clsid), L"AppID", L"{00000000-0000-0000-0000-00000000ABCD}");
    EXPECT_EQ(Doctor(L"register").exitCode, 0u);
    ExpectSame(LinesOf(Scope::machine), wanted);
}

TEST_F(Scopes, RegisterOfAFolder_SaysThatItIsAFolder) {
    for (const std::wstring& path : {m_folder.wstring(), m_folder.wstring() + L"\\", std::wstring(L".")}) {
        const Report run = Doctor(L"register \"" + path + L"\"");
        EXPECT_EQ(run.exitCode, 1u);
        EXPECT_TRUE(run.Says("This is a folder, not the file")) << run.output;
    }
}

TEST_F(Scopes, RegisterOfALongPath_ReportsTheResultWithoutGuessing) {
    const std::wstring copy = Copy(std::wstring(120, L'a') + L"\\" + std::wstring(120, L'b'));
    ASSERT_GT(copy.size(), std::size_t{MAX_PATH});
    const Report run = Doctor(L"register \"" + copy + L"\"");
    for (std::filesystem::path path = copy; path != m_folder; path = path.parent_path()) { // too long for remove_all
        const std::wstring extended = L"\\\\?\\" + path.wstring();
        EXPECT_TRUE(DeleteFileW(extended.c_str()) != FALSE || RemoveDirectoryW(extended.c_str()) != FALSE);
    }
    EXPECT_EQ(run.exitCode, 1u) << run.output;
    EXPECT_TRUE(run.Says("0x80029C4A") || run.Says("There is no such file")) << run.output; // Wine, Windows
    EXPECT_FALSE(run.Says("damaged")) << run.output;
}

TEST_F(Scopes, Register_RemovesWhatAnotherLibraryLeftBelowTheClass) {
    SetText(doctor::ClassKey(*classes[0].clsid) + L"\\TreatAs", L"", L"{00020424-0000-0000-C000-000000000046}");
    const RegistryLines wanted = [&] {
        EXPECT_EQ(Doctor(L"register").exitCode, 0u);
        return LinesOf(Scope::machine);
    }();
    ExpectSame(wanted, LinesOfLibrary(m_path));
}

TEST_F(Scopes, RegisterWithoutAPath_TakesTheFileBesideTheProgram) {
    const std::filesystem::path library = Copy(L"beside");
    const std::filesystem::path program = library.parent_path() / L"nuvolex-doctor.exe";
    std::filesystem::copy_file(Program(), program);
    EXPECT_EQ(DoctorAt(program, L"register").exitCode, 0u);
    EXPECT_EQ(DefaultValue(ServerKey(classes[0])), library.wstring());
}

TEST_F(Scopes, RegisterOfAnotherFile_IsRefusedAndWritesNothing) {
    struct Row {
        std::wstring path;
        std::string message;
    };
    using namespace std::string_literals;
    const std::vector<Row> rows = {
        {(m_folder / L"missing.dll").wstring(), "There is no such file"},
        {L"C:\\windows\\system32\\scrrun.dll", "This is not the Nuvolex library"},
        {ChangedCopy(L"x86", "PE\0\0\x64\x86"s, "PE\0\0\x4C\x01"s), "not the library for 64-bit programs"},
    };
    for (const Row& row : rows) {
        const Report run = Doctor(L"register \"" + row.path + L"\"");
        EXPECT_EQ(run.exitCode, 1u) << run.output;
        EXPECT_TRUE(run.Says(row.message)) << run.output;
        EXPECT_TRUE(run.Says(ToUtf8(row.path))) << run.output;
    }
    EXPECT_EQ(LinesOf(Scope::machine), RegistryLines());
}

TEST_F(Scopes, RegisterWithoutPermission_SaysWhatToDo) {
    RegisterByItself(m_path);
    const RestrictedKey readOnly(classes[0].ProgId(), KEY_READ);
    const Report run = Doctor(L"register");
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_TRUE(run.Says("0x80070005 (access denied)")) << run.output;
    EXPECT_TRUE(run.Says("Run as administrator")) << run.output;
    EXPECT_TRUE(run.Says("--user")) << run.output;
}

/// Under Wine all programs are elevated, and COM uses only the machine's entries. On Windows this depends on how the
/// tests were started.
TEST_F(Scopes, RegisteredForTheUserOnly_IsSeenByProgramsThatAreNotElevated) {
    ASSERT_EQ(Doctor(L"register --user").exitCode, 0u);
    const Report run = Doctor(L"--json");
    const JsonValue json = run.Json();
    const bool elevated = json["facts"]["elevated"].truth;
    EXPECT_EQ(json["facts"]["registration"]["user"]["state"].string, "complete");
    EXPECT_EQ(run.exitCode, elevated ? 1u : 0u);
    EXPECT_EQ(json["findings"][0]["id"].string, elevated ? "user-entries-unseen" : "user-entries-only");
    EXPECT_EQ(json["facts"]["classes"][0]["works"].truth, !elevated);
}

TEST_F(Scopes, RegisteredForBoth_SaysWhichIsUsed) {
    const std::wstring copy = Copy(L"user's");
    ASSERT_EQ(Doctor(L"register").exitCode, 0u);
    ASSERT_EQ(Doctor(L"register --user \"" + copy + L"\"").exitCode, 0u);
    const Report run = Doctor(L"--json");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    const JsonValue json = run.Json();
    const bool elevated = json["facts"]["elevated"].truth;
    EXPECT_EQ(json["facts"]["registration"]["inUse"].string, elevated ? "machine" : "user");
    EXPECT_EQ(json["facts"]["classes"][0]["servedBy"].string, ToUtf8(elevated ? m_path : copy));
    EXPECT_EQ(json["findings"][0]["id"].string, "both-registered");
    EXPECT_EQ(json["findings"][0]["subject"].string, ToUtf8(copy));
}

TEST_F(Scopes, BrokenEntriesOfTheUser_AreReportedBesideThoseOfTheMachine) {
    const std::wstring copy = Copy(L"user's");
    ASSERT_EQ(Doctor(L"register").exitCode, 0u);
    ASSERT_EQ(Doctor(L"register --user \"" + copy + L"\"").exitCode, 0u);
    std::filesystem::remove(copy);
    const Report broken = Doctor(L"--json");
    EXPECT_EQ(broken.exitCode, 1u);
    EXPECT_EQ(broken.Findings("error"), std::vector<std::string>{"file-missing"});
    EXPECT_EQ(broken.Json()["findings"][0]["scope"].string, "user");
    EXPECT_EQ(Doctor(L"register").exitCode, 1u) << "registering for the machine does not repair the user's entries";
    EXPECT_EQ(Doctor(L"unregister --user").exitCode, 0u);
    EXPECT_EQ(Doctor().exitCode, 0u);
}

} // namespace
