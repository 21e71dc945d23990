// GetIDsOfNames: members and parameters in any case.

#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxdispatch.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"

namespace {

using support::DispatchObject;
using support::english;
using support::NewLateBound;
using support::StringId;

using NXDispatchNamesTest = support::DispatchTest;

HRESULT IdsOf(const DispatchObject& object, std::vector<const wchar_t*> names, std::vector<DISPID>& ids,
              REFIID iid = IID_NULL, LCID locale = english) {
    ids.assign(names.size(), 77);
    return object.Raw()->GetIDsOfNames(iid, const_cast<LPOLESTR*>(names.data()), static_cast<UINT>(names.size()),
                                       locale, ids.data());
}

struct NamesRow {
    const char* name;
    std::vector<const wchar_t*> names;
    HRESULT hr;
    std::vector<DISPID> ids;
};

const NamesRow namesRows[] = {
    {"Member", {L"Mid"}, S_OK, {StringId::Mid}},
    {"Upper case", {L"MID"}, S_OK, {StringId::Mid}},
    {"Lower case", {L"mid"}, S_OK, {StringId::Mid}},
    {"Mixed case", {L"tRiMlEfT"}, S_OK, {0x60020000}},
    {"Parameters", {L"Mid", L"nStart", L"nLength"}, S_OK, {StringId::Mid, 0, 1}},
    {"Parameters in another order and case", {L"mid", L"NLENGTH", L"nstart"}, S_OK, {StringId::Mid, 1, 0}},
    {"Parameter of another member", {L"Left", L"nStart"}, DISP_E_UNKNOWNNAME, {StringId::Left, DISPID_UNKNOWN}},
    {"Unknown member", {L"Middle"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Prefix of a member's name", {L"Mi"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Empty name", {L""}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Null name", {nullptr}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Letter that looks like another",
     {L"M\x0131"
      L"d"},
     DISP_E_UNKNOWNNAME,
     {DISPID_UNKNOWN}},
    {"Parameter as member", {L"nStart"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Name of the result", {L"Mid", L"pbsPart"}, DISP_E_UNKNOWNNAME, {StringId::Mid, DISPID_UNKNOWN}},
    {"Empty parameter", {L"Value", L""}, DISP_E_UNKNOWNNAME, {StringId::Value, DISPID_UNKNOWN}},
    {"Unknown parameter among others", {L"Mid", L"x", L"nLength"}, DISP_E_UNKNOWNNAME, {StringId::Mid, -1, 1}},
    {"Parameters of an unknown member", {L"x", L"nStart"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN, DISPID_UNKNOWN}},
    {"Members of IUnknown", {L"QueryInterface"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Members of IDispatch", {L"Invoke"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
};

TEST_F(NXDispatchNamesTest, Names_AreThoseOfMembersAndParametersInAnyCase) {
    const DispatchObject object = NewLateBound<CNXString>();
    for (const NamesRow& row : namesRows) {
        std::vector<DISPID> ids;
        EXPECT_HR(IdsOf(object, row.names, ids), row.hr) << row.name;
        EXPECT_EQ(ids, row.ids) << row.name;
    }
}

TEST_F(NXDispatchNamesTest, Names_IgnoreTheCaseOfLettersOnly) {
    const DispatchObject list = NewLateBound<CNXStringList>();
    std::vector<DISPID> ids;
    EXPECT_HR(IdsOf(list, {L"_iTEM"}, ids), S_OK);
    EXPECT_EQ(ids, std::vector<DISPID>{DISPID_VALUE});
    EXPECT_HR(IdsOf(list, {L"\x7FItem"}, ids), DISP_E_UNKNOWNNAME) << "it differs from an underscore as 'a' from 'A'";
}

TEST_F(NXDispatchNamesTest, Names_IgnoreIidAndLocale) {
    std::vector<DISPID> ids;
    EXPECT_HR(IdsOf(NewLateBound<CNXString>(), {L"TRIM"}, ids, IID_IDispatch, 0x041F), S_OK);
    EXPECT_EQ(ids, std::vector<DISPID>{0x60020002});
}

TEST_F(NXDispatchNamesTest, Names_NullArrays_AreRefused) {
    const DispatchObject object = NewLateBound<CNXString>();
    auto* name = const_cast<LPOLESTR>(L"Mid");
    DISPID id = 77;
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, nullptr, 1, english, &id), E_POINTER);
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, &name, 1, english, nullptr), E_POINTER);
    EXPECT_EQ(id, 77);
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, &name, 0, english, &id), S_OK);
    EXPECT_EQ(id, 77) << "no name, no DISPID";
}

/// A class whose member has a digit in its name, as no class of the library has.
class Probe : public IDispatch {
  public:
    HRESULT Run() { return S_OK; }
};

DISPID IdInProbe(const wchar_t* name) {
    static constexpr CNXMember members[] = {NXMethod<&Probe::Run>(7, L"Run2")};
    auto* given = const_cast<LPOLESTR>(name);
    DISPID id = 77;
    NXGetIDsOfNames(members, &given, 1, &id);
    return id;
}

/// Upper and lower case of a letter differ in one bit, which is not ignored in other characters.
TEST_F(NXDispatchNamesTest, Digit_EqualsOnlyItself) {
    EXPECT_EQ(IdInProbe(L"Run2"), 7);
    EXPECT_EQ(IdInProbe(L"rUN2"), 7);
    EXPECT_EQ(IdInProbe(L"Run\x12"), DISPID_UNKNOWN);
    EXPECT_EQ(IdInProbe(L"Run3"), DISPID_UNKNOWN);
}

} // namespace
