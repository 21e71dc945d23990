// The report as text and JSON, and the command line.

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "doctor/arguments.h"
#include "doctor/files.h"
#include "doctor/json.h"
#include "doctor/report.h"
#include "doctor/text.h"
#include "tests/doctor/facts.h"
#include "tests/doctor/jsonvalue.h"

using namespace doctor;

namespace {

JsonValue JsonOf(const Facts& facts) {
    return JsonParser::Parse(ToUtf8(JsonReport(facts, Judge(facts))));
}

std::vector<std::string> MemberNames(const JsonValue& object) {
    std::vector<std::string> names;
    for (const auto& [name, value] : object.members) {
        names.push_back(name);
    }
    return names;
}

TEST(JsonText, QuotesBackslashesAndControlCharacters_AreEscaped) {
    JsonWriter json;
    json.String(L"a\"b\\c\td\x1f\u00E4");
    EXPECT_EQ(json.Text(), L"\"a\\\"b\\\\c\\u0009d\\u001f\u00E4\"");
}

TEST(JsonText, NestedValues_AreSeparatedAndIndented) {
    JsonWriter json;
    json.BeginObject();
    json.Name(L"empty").BeginArray();
    json.EndArray();
    json.Name(L"list").BeginArray();
    json.Number(-1);
    json.Bool(true);
    json.Null();
    json.EndArray();
    json.EndObject();
    EXPECT_EQ(json.Text(), L"{\n  \"empty\": [],\n  \"list\": [\n    -1,\n    true,\n    null\n  ]\n}");
}

TEST(Utf8, AnyText_IsValid) {
    EXPECT_EQ(ToUtf8(L""), "");
    EXPECT_EQ(ToUtf8(L"\u00E4\u0394\U0001D11E"), "\xC3\xA4\xCE\x94\xF0\x9D\x84\x9E");
    EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0xD834))), "\xEF\xBF\xBD");
}

/// Programs rely on these names: none may be removed.
TEST(Json, Members_AreTheDocumentedOnes) {
    using Names = std::vector<std::string>;
    const JsonValue json = JsonOf(HealthyFacts());
    const JsonValue& facts = json["facts"];
    EXPECT_EQ(MemberNames(json), (Names{"facts", "findings", "tool", "verdict"}));
    EXPECT_EQ(MemberNames(json["tool"]), (Names{"name", "version"}));
    EXPECT_EQ(MemberNames(facts), (Names{"classes", "elevated", "files", "registration", "typeLibrary"}));
    EXPECT_EQ(MemberNames(facts["registration"]), (Names{"inUse", "machine", "user"}));
    EXPECT_EQ(MemberNames(facts["registration"]["user"]),
              (Names{"access32", "changed", "denied", "files", "missing", "state"}));
    EXPECT_EQ(MemberNames(facts["files"][0]),
              (Names{"bits", "error", "isNuvolex", "loadError", "machine", "path", "product", "version"}));
    EXPECT_EQ(MemberNames(facts["typeLibrary"]), (Names{"path", "result"}));
    EXPECT_EQ(MemberNames(facts["classes"][0]),
              (Names{"clsid", "createResult", "member", "memberResult", "name", "nameResult", "servedBy", "works"}));
    EXPECT_EQ(MemberNames(json["findings"][0]), (Names{"cure", "id", "scope", "severity", "subject", "text"}));
}

TEST(Json, HealthyFacts_AreOk) {
    const JsonValue json = JsonOf(HealthyFacts());
    EXPECT_EQ(json["verdict"].string, "ok");
    EXPECT_EQ(json["tool"]["version"].string, "1.0.0");
    const JsonValue& registration = json["facts"]["registration"];
    EXPECT_EQ(registration["inUse"].string, "machine");
    EXPECT_EQ(registration["machine"]["state"].string, "complete");
    EXPECT_EQ(registration["machine"]["files"]["NXString"].string, ToUtf8(registeredPath));
    EXPECT_EQ(registration["user"]["state"].string, "none");
    EXPECT_TRUE(registration["user"]["missing"].items.empty());
    EXPECT_EQ(registration["user"]["files"]["NXString"].kind, JsonValue::Kind::nothing);
    EXPECT_EQ(json["facts"]["files"][0]["bits"].number, 64);
    ASSERT_EQ(json["facts"]["classes"].items.size(), 7u);
    EXPECT_TRUE(json["facts"]["classes"][6]["works"].truth);
    EXPECT_EQ(json["findings"][0]["severity"].string, "note");
}

TEST(Json, WhatWasNotTried_IsNull) {
    Facts facts = HealthyFacts();
    facts.typeLibrary = {E_UNEXPECTED, L"C:\\other.dll", LibraryFile::foreign};
    facts.classes[0] = Untried(Trial::redirected);
    const JsonValue json = JsonOf(facts);
    EXPECT_EQ(json["facts"]["typeLibrary"]["result"].kind, JsonValue::Kind::nothing);
    EXPECT_EQ(json["facts"]["classes"][0]["createResult"].kind, JsonValue::Kind::nothing);
    EXPECT_FALSE(json["facts"]["classes"][0]["works"].truth);
}

TEST(Json, FaultyFacts_AreFaulty) {
    const JsonValue json = JsonOf(UnregisteredFacts());
    EXPECT_EQ(json["verdict"].string, "faulty");
    EXPECT_EQ(json["findings"][0]["id"].string, "not-registered");
    EXPECT_EQ(json["findings"][0]["severity"].string, "error");
    EXPECT_EQ(json["findings"][0]["scope"].kind, JsonValue::Kind::nothing);
    EXPECT_EQ(json["facts"]["registration"]["inUse"].kind, JsonValue::Kind::nothing);
    EXPECT_EQ(json["facts"]["typeLibrary"]["result"].string, "0x8002801D");
    EXPECT_EQ(json["facts"]["classes"][0]["createResult"].string, "0x80040154");
    EXPECT_EQ(json["facts"]["classes"][0]["memberResult"].kind, JsonValue::Kind::nothing);
}

TEST(Json, ForeignLetters_AreUtf8) {
    Facts facts = HealthyFacts();
    facts.files[0].path = L"C:\\Gr\u00F6\u00DFe \"\U0001D11E\"\\nuvolex.dll";
    EXPECT_EQ(JsonOf(facts)["facts"]["files"][0]["path"].string, "C:\\Gr\xC3\xB6\xC3\x9F"
                                                                 "e \"\xF0\x9D\x84\x9E\"\\nuvolex.dll");
}

TEST(Text, Verdict_IsTheLastLine) {
    const Facts healthy = HealthyFacts();
    EXPECT_TRUE(TextReport(healthy, Judge(healthy))
                    .ends_with(L"\nVerdict: all is well. Nuvolex is registered, and all classes work.\n"));
    const Facts unregistered = UnregisteredFacts();
    EXPECT_TRUE(TextReport(unregistered, Judge(unregistered))
                    .ends_with(L"\nVerdict: something is wrong (1 fault). See above for what to do.\n"));
}

TEST(Text, Finding_ComesWithItsIdentifierAndCure) {
    const Facts facts = UnregisteredFacts();
    const std::vector<Finding> findings = Judge(facts);
    const std::wstring text = TextReport(facts, findings);
    EXPECT_NE(text.find(L"[not-registered] " + findings[0].text), std::wstring::npos) << text;
    EXPECT_NE(text.find(L"What to do: " + findings[0].cure), std::wstring::npos) << text;
}

// ---------------------------------------------------------------------------------------------- command line

Command CommandOf(const std::vector<std::wstring>& arguments) {
    const auto parsed = ParseArguments(arguments);
    if (const auto* const command = std::get_if<Command>(&parsed); command != nullptr) {
        return *command;
    }
    ADD_FAILURE() << "rejected: " << std::get<UsageError>(parsed).message;
    return {};
}

TEST(Arguments, None_Diagnose) {
    EXPECT_EQ(CommandOf({}).action, Action::diagnose);
    EXPECT_FALSE(CommandOf({}).json);
    EXPECT_TRUE(CommandOf({L"--json"}).json);
}

TEST(Arguments, Register_TakesUserAndPathInAnyOrder) {
    for (const auto& arguments : std::vector<std::vector<std::wstring>>{{L"register", L"--user", L"C:\\x.dll"},
                                                                        {L"register", L"C:\\x.dll", L"--user"}}) {
        const Command command = CommandOf(arguments);
        EXPECT_EQ(command.action, Action::registerLibrary);
        EXPECT_EQ(command.scope, Scope::user);
        EXPECT_EQ(command.path, L"C:\\x.dll");
    }
    EXPECT_EQ(CommandOf({L"register"}).scope, Scope::machine);
    EXPECT_EQ(CommandOf({L"register"}).path, L"");
}

/// "C:\\folder\\" on the command line ends with a quote: the backslash escapes it.
TEST(Arguments, QuoteAtTheEndOfAPath_IsRemoved) {
    EXPECT_EQ(CommandOf({L"register", L"C:\\folder\""}).path, L"C:\\folder");
    EXPECT_TRUE(std::holds_alternative<UsageError>(ParseArguments({L"register", L"\""})));
}

TEST(FullPath, DriveOrShareAndExtension_AreNeeded) {
    for (const wchar_t* const path : {L"C:\\a\\nuvolex.dll", L"c:/a/nuvolex.dll", L"\\\\server\\a\\nuvolex.dll"}) {
        EXPECT_TRUE(IsFullPath(path)) << ToUtf8(path);
    }
    for (const wchar_t* const path : {L"", L"nuvolex.dll", L"a\\nuvolex.dll", L"\\nuvolex.dll", L"C:nuvolex.dll",
                                      L"script:nuvolex.dll", L"C:\\a.b\\nuvolex"}) {
        EXPECT_FALSE(IsFullPath(path)) << ToUtf8(path);
    }
}

TEST(Arguments, Unregister_TakesUser) {
    EXPECT_EQ(CommandOf({L"unregister"}).scope, Scope::machine);
    EXPECT_EQ(CommandOf({L"unregister", L"--user"}).scope, Scope::user);
    EXPECT_EQ(CommandOf({L"unregister", L"--user"}).action, Action::unregisterLibrary);
}

TEST(Arguments, Help_HasPrecedence) {
    EXPECT_EQ(CommandOf({L"--help"}).action, Action::help);
    EXPECT_EQ(CommandOf({L"register", L"--help"}).action, Action::help);
    for (const wchar_t* const word : {L"-h", L"/?", L"help"}) {
        EXPECT_EQ(CommandOf({word}).action, Action::help);
    }
    EXPECT_EQ(CommandOf({L"unregister", L"/?"}).action, Action::help);
    EXPECT_EQ(CommandOf({L"--version"}).action, Action::version);
}

TEST(Arguments, UnknownOnes_AreNamed) {
    const std::vector<std::vector<std::wstring>> rows = {
        {L"bogus"},
        {L"--json", L"bogus"},
        {L"register", L"a.dll", L"bogus"},
        {L"--version", L"bogus"},
        {L"unregister", L"bogus"},
        {L"register", L"--user", L"a.dll", L"bogus"},
    };
    for (const std::vector<std::wstring>& arguments : rows) {
        const auto parsed = ParseArguments(arguments);
        ASSERT_TRUE(std::holds_alternative<UsageError>(parsed));
        EXPECT_EQ(std::get<UsageError>(parsed).message, L"Unknown argument: bogus");
    }
    EXPECT_TRUE(std::holds_alternative<UsageError>(ParseArguments({L""})));
    EXPECT_TRUE(std::holds_alternative<UsageError>(ParseArguments({L"register", L"--json"})));
    EXPECT_TRUE(std::holds_alternative<UsageError>(ParseArguments({L"register", L""})));
}

} // namespace
