// Which findings follow from which facts.

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "doctor/findings.h"
#include "tests/doctor/facts.h"

using namespace doctor;

namespace {

using Names = std::vector<std::string>;

Names NamesOf(const Facts& facts) {
    Names names;
    for (const Finding& finding : Judge(facts)) {
        names.push_back(finding.name);
    }
    return names;
}

Finding FindingOf(const Facts& facts, FindingId id) {
    for (Finding& finding : Judge(facts)) {
        if (finding.id == id) {
            return finding;
        }
    }
    ADD_FAILURE() << "no such finding";
    return {};
}

bool Contains(const std::wstring& text, const std::wstring& part) {
    return text.find(part) != std::wstring::npos;
}

/// Marks the entries of a key and its subkeys as missing.
void Remove(ScopeFacts& scope, const std::wstring& key) {
    for (EntryFact& fact : scope.entries) {
        if (fact.entry.key.starts_with(key)) {
            fact.status = ERROR_FILE_NOT_FOUND;
            fact.value.clear();
        }
    }
}

struct FaultRow {
    const char* name;
    void (*breakIt)(Facts& facts);
    Names wanted; ///< without no-32-bit-access, which is last whenever anything is registered

    friend std::ostream& operator<<(std::ostream& out, const FaultRow& row) { return out << row.name; }
};

void MoveFile(Facts& facts) {
    facts.files[0] = {};
    facts.files[0].path = registeredPath;
    facts.files[0].error = ERROR_FILE_NOT_FOUND;
    facts.typeLibrary.result = TYPE_E_CANTLOADLIBRARY;
    FailAllClasses(facts, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
}

void RegisterForUserOnly(Facts& facts) {
    std::swap(facts.user, facts.machine);
}

const FaultRow faultRows[] = {
    {"Healthy", [](Facts&) {}, {"machine-entries-only"}},
    {"FileMoved", MoveFile, {"file-missing", "machine-entries-only"}},
    {"FolderGone",
     [](Facts& facts) {
         MoveFile(facts);
         facts.files[0].error = ERROR_PATH_NOT_FOUND;
     },
     {"file-missing", "machine-entries-only"}},
    {"FileInUse",
     [](Facts& facts) {
         MoveFile(facts);
         facts.files[0].error = ERROR_SHARING_VIOLATION;
     },
     {"file-unreadable", "machine-entries-only"}},
    {"FileForbidden",
     [](Facts& facts) {
         MoveFile(facts);
         facts.files[0].error = ERROR_ACCESS_DENIED;
     },
     {"access-denied", "machine-entries-only"}},
    {"ForeignFile",
     [](Facts& facts) {
         facts.files[0].isNuvolex = false;
         facts.classes.fill({});
     },
     {"foreign-file", "machine-entries-only"}},
    {"FileWithoutVersion",
     [](Facts& facts) {
         facts.files[0] = {};
         facts.files[0].path = registeredPath;
         facts.classes.fill({});
     },
     {"file-unidentified", "machine-entries-only"}},
    {"Folder",
     [](Facts& facts) {
         MoveFile(facts);
         facts.files[0].error = ERROR_ACCESS_DENIED;
         facts.files[0].isFolder = true;
     },
     {"file-unreadable", "machine-entries-only"}},
    {"File32Bit",
     [](Facts& facts) {
         facts.files[0].bits = 32;
         facts.files[0].machine = L"x86";
         FailAllClasses(facts, HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT));
     },
     {"wrong-bitness", "machine-entries-only"}},
    {"FileDamaged",
     [](Facts& facts) {
         facts.files[0].loadError = ERROR_MOD_NOT_FOUND;
         FailAllClasses(facts, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
     },
     {"file-not-loaded", "machine-entries-only"}},
    {"LoadingForbidden",
     [](Facts& facts) {
         facts.files[0].loadError = ERROR_ACCESS_DENIED;
         FailAllClasses(facts, E_ACCESSDENIED);
     },
     {"access-denied", "machine-entries-only"}},
    {"MixedFiles",
     [](Facts& facts) {
         facts.machine.servers[3] = L"D:\\nuvolex.dll";
         facts.files.push_back(GoodFile(L"D:\\nuvolex.dll"));
     },
     {"mixed-files", "machine-entries-only"}},
    {"ClassKeysRemoved",
     [](Facts& facts) {
         Remove(facts.machine, L"CLSID\\");
         facts.machine.servers.fill(std::nullopt);
         facts.files.clear();
         FailAllClasses(facts, REGDB_E_CLASSNOTREG);
     },
     {"entries-damaged", "machine-entries-only"}},
    {"NameRemoved",
     [](Facts& facts) {
         Remove(facts.machine, L"Nuvolex.NXString");
         facts.classes[0].nameResult = CO_E_CLASSSTRING;
     },
     {"entries-damaged", "machine-entries-only"}},
    {"EntryChanged",
     [](Facts& facts) { facts.machine.entries[1].value = L"{other}"; },
     {"entries-damaged", "machine-entries-only"}},
    {"EntryOfAnotherType",
     [](Facts& facts) { facts.machine.entries[1].status = ERROR_UNSUPPORTED_TYPE; },
     {"entries-damaged", "machine-entries-only"}},
    {"FileWithoutFolder",
     [](Facts& facts) {
         facts.machine.entries[7].value = L"nuvolex.dll";
         facts.machine.servers.fill(L"nuvolex.dll");
         facts.files.clear();
         facts.classes.fill({});
     },
     {"entries-damaged", "machine-entries-only"}},
    {"KeyForbidden",
     [](Facts& facts) { facts.machine.entries[7].status = ERROR_ACCESS_DENIED; },
     {"access-denied", "machine-entries-only"}},
    {"TypeLibraryRemoved",
     [](Facts& facts) {
         Remove(facts.machine, L"TypeLib\\");
         facts.typeLibrary = {TYPE_E_LIBNOTREGISTERED, L""};
     },
     {"type-library-not-registered", "machine-entries-only"}},
    {"TypeLibraryMoved",
     [](Facts& facts) { facts.typeLibrary.result = TYPE_E_CANTLOADLIBRARY; },
     {"type-library-not-loaded", "machine-entries-only"}},
    {"TypeLibraryForeign",
     [](Facts& facts) {
         facts.typeLibrary = {E_UNEXPECTED, L"C:\\other.dll", LibraryFile::foreign};
     },
     {"type-library-not-loaded", "machine-entries-only"}},
    {"ClassNotRegisteredForNoReason",
     [](Facts& facts) { FailAllClasses(facts, REGDB_E_CLASSNOTREG); },
     {"class-not-registered", "machine-entries-only"}},
    {"CreationForbidden",
     [](Facts& facts) { FailAllClasses(facts, E_ACCESSDENIED); },
     {"access-denied", "machine-entries-only"}},
    {"CreationFails",
     [](Facts& facts) { FailAllClasses(facts, E_OUTOFMEMORY); },
     {"class-not-created", "machine-entries-only"}},
    {"MemberFails",
     [](Facts& facts) { facts.classes[2].memberResult = E_FAIL; },
     {"member-failed", "machine-entries-only"}},
    {"MemberReturnsAnotherValue",
     [](Facts& facts) { facts.classes[2].memberResult = S_FALSE; },
     {"member-failed", "machine-entries-only"}},
    {"ServedByAnotherFile",
     [](Facts& facts) { facts.classes[2].servedBy = L"C:\\other.dll"; },
     {"served-by-other-file", "machine-entries-only"}},
    {"ServedByAnotherFileThatFails",
     [](Facts& facts) {
         facts.classes[2].servedBy = L"C:\\other.dll";
         facts.classes[2].memberResult = DISP_E_UNKNOWNNAME;
     },
     {"served-by-other-file", "machine-entries-only"}},
    {"ClassRedirected",
     [](Facts& facts) {
         facts.machine.treatAs[2] = true;
         facts.classes[2] = Untried(Trial::redirected);
     },
     {"served-by-other-file", "machine-entries-only"}},
    {"NameOfAnotherClass",
     [](Facts& facts) { facts.classes[2] = Untried(Trial::otherName); },
     {"served-by-other-file", "machine-entries-only"}},
    {"UserOnly", RegisterForUserOnly, {"user-entries-only"}},
    {"UserOnlyButElevated",
     [](Facts& facts) {
         RegisterForUserOnly(facts);
         facts.elevated = true;
         FailAllClasses(facts, REGDB_E_CLASSNOTREG);
         facts.typeLibrary = {TYPE_E_LIBNOTREGISTERED, L""};
     },
     {"user-entries-unseen"}},
    {"Both", [](Facts& facts) { facts.user = CompleteScope(); }, {"both-registered"}},
    {"BothButUsersFileMoved",
     [](Facts& facts) {
         facts.user = CompleteScope(L"D:\\gone.dll");
         facts.files.push_back({});
         facts.files[1].path = L"D:\\gone.dll";
         facts.files[1].error = ERROR_FILE_NOT_FOUND;
         FailAllClasses(facts, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
     },
     {"file-missing", "both-registered"}},
};

class Judging : public testing::TestWithParam<FaultRow> {};

TEST_P(Judging, Facts_GiveTheFindings) {
    Facts facts = HealthyFacts();
    GetParam().breakIt(facts);
    Names wanted = GetParam().wanted;
    wanted.emplace_back("no-32-bit-access");
    EXPECT_EQ(NamesOf(facts), wanted);
}

INSTANTIATE_TEST_SUITE_P(Faults, Judging, testing::ValuesIn(faultRows),
                         [](const testing::TestParamInfo<FaultRow>& row) { return std::string(row.param.name); });

TEST(JudgingNothing, NotRegistered_IsTheOnlyFinding) {
    EXPECT_EQ(NamesOf(UnregisteredFacts()), Names{"not-registered"});
}

TEST(JudgingNothing, RegisteredFor32BitProgramsOnly_SaysSo) {
    Facts facts = UnregisteredFacts();
    facts.machine.access32 = Access32::inProcess;
    EXPECT_EQ(NamesOf(facts), Names{"registered-for-32-bit-only"});
}

TEST(JudgingNotes, Surrogate_IsNoted) {
    Facts facts = HealthyFacts();
    facts.machine.access32 = Access32::surrogate;
    EXPECT_EQ(NamesOf(facts), (Names{"machine-entries-only", "surrogate-access"}));
}

TEST(JudgingNotes, Notes_AreNoErrors) {
    EXPECT_FALSE(HasErrors(Judge(HealthyFacts())));
    EXPECT_TRUE(HasErrors(Judge(UnregisteredFacts())));
}

TEST(JudgingTexts, Finding_NamesFileScopeAndCommand) {
    Facts facts = HealthyFacts();
    MoveFile(facts);
    const Finding machine = FindingOf(facts, FindingId::fileMissing);
    EXPECT_EQ(machine.subject, registeredPath);
    EXPECT_TRUE(Contains(machine.text, registeredPath)) << machine.text;
    EXPECT_TRUE(Contains(machine.text, L"for the machine")) << machine.text;
    EXPECT_TRUE(Contains(machine.cure, L"nuvolex-doctor register \"C:")) << machine.cure;

    RegisterForUserOnly(facts);
    const Finding user = FindingOf(facts, FindingId::fileMissing);
    EXPECT_TRUE(Contains(user.text, L"for this user")) << user.text;
    EXPECT_TRUE(Contains(user.cure, L"nuvolex-doctor register --user \"C:")) << user.cure;
}

TEST(JudgingTexts, PathWithBraces_StaysAsItIs) {
    const std::wstring path = L"C:\\{scope} {detail}\\{\\nuvolex.dll";
    Facts facts = HealthyFacts();
    facts.machine = CompleteScope(path);
    facts.files = {GoodFile(path)};
    facts.files[0].isNuvolex = false;
    EXPECT_TRUE(Contains(FindingOf(facts, FindingId::foreignFile).text, path));
}

TEST(JudgingTexts, ClassesThatFailInTheSameWay_AreOneFinding) {
    Facts facts = HealthyFacts();
    facts.classes[1].memberResult = E_FAIL;
    facts.classes[4].memberResult = E_FAIL;
    EXPECT_EQ(FindingOf(facts, FindingId::memberFailed).subject, L"Nuvolex.NXTokenString, Nuvolex.NXTokenStringList");
}

TEST(JudgingTexts, DamagedEntries_AreCounted) {
    Facts facts = HealthyFacts();
    Remove(facts.machine, L"Nuvolex.NXString.1");
    facts.machine.entries[4].value = L"changed";
    const Finding finding = FindingOf(facts, FindingId::entriesDamaged);
    EXPECT_TRUE(Contains(finding.text, L"2 are missing and 1 is changed")) << finding.text;
    EXPECT_EQ(finding.subject, L"Nuvolex.NXString.1");
}

TEST(JudgingTexts, DamagedEntriesOfOneKind_AreCountedAlone) {
    Facts facts = HealthyFacts();
    facts.machine.entries[4].value = L"changed";
    const std::wstring one = FindingOf(facts, FindingId::entriesDamaged).text;
    EXPECT_TRUE(Contains(one, L"entries, 1 is changed. ")) << one;
    facts.machine.entries[4].status = ERROR_FILE_NOT_FOUND;
    const std::wstring other = FindingOf(facts, FindingId::entriesDamaged).text;
    EXPECT_TRUE(Contains(other, L"entries, 1 is missing. ")) << other;
}

TEST(JudgingTexts, FileWithoutVersion_IsReplacedFirst) {
    Facts facts = HealthyFacts();
    facts.files[0].isNuvolex = false;
    facts.files[0].version.clear();
    const Finding finding = FindingOf(facts, FindingId::fileUnidentified);
    EXPECT_TRUE(Contains(finding.text, L"damaged, or not the Nuvolex library")) << finding.text;
    EXPECT_TRUE(finding.cure.starts_with(L"Replace it")) << finding.cure;
}

TEST(JudgingTexts, RedirectedClass_NamesTheScopeOfTheRedirection) {
    Facts facts = HealthyFacts();
    facts.user.treatAs[2] = true;
    facts.classes[2] = Untried(Trial::redirected);
    const Finding finding = FindingOf(facts, FindingId::servedByOtherFile);
    EXPECT_EQ(finding.scope, Scope::user);
    EXPECT_EQ(finding.subject, L"Nuvolex.NXStringList");
    EXPECT_TRUE(Contains(finding.text, L"TreatAs")) << finding.text;
    EXPECT_TRUE(Contains(finding.cure, L"unregister --user")) << finding.cure;
}

TEST(JudgingEntries, OptionalEntries_MayBeMissing) {
    Facts facts = HealthyFacts();
    Remove(facts.machine, L"Wow6432Node\\Interface\\");
    EXPECT_EQ(NamesOf(facts), NamesOf(HealthyFacts()));
}

TEST(JudgingEntries, Case_DoesNotMatter) {
    Facts facts = HealthyFacts();
    std::wstring& threadingModel = facts.machine.entries[8].value;
    ASSERT_EQ(threadingModel, L"Apartment");
    threadingModel = L"APARTMENT";
    EXPECT_EQ(NamesOf(facts), NamesOf(HealthyFacts()));
}

TEST(Winner, BothRegistered_IsTheUserUnlessElevated) {
    Facts facts = HealthyFacts();
    facts.user = CompleteScope();
    EXPECT_EQ(facts.Winner(), Scope::user);
    facts.elevated = true;
    EXPECT_EQ(facts.Winner(), Scope::machine);
}

TEST(Winner, OneRegistered_IsThatOne) {
    Facts facts = HealthyFacts();
    EXPECT_EQ(facts.Winner(), Scope::machine);
    RegisterForUserOnly(facts);
    EXPECT_EQ(facts.Winner(), Scope::user);
    facts.elevated = true;
    EXPECT_EQ(facts.Winner(), std::nullopt);
    EXPECT_EQ(UnregisteredFacts().Winner(), std::nullopt);
}

} // namespace
