// GetIDsOfNames of all seven classes, compared with the platform's type information.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cwctype>
#include <string>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/dispatch.h"
#include "tests/automation/dispatchcall.h"
#include "tests/automation/dispatchworld.h"
#include "tests/support/bstr.h"

namespace comparison {
namespace {

std::wstring InAsciiLowerCase(std::wstring name) {
    for (wchar_t& c : name) {
        c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c | 0x20) : c;
    }
    return name;
}

/// The name with letters of other cases, and similar names.
std::vector<std::wstring> NamesLike(const std::wstring& name) {
    std::vector<std::wstring> names(4, name);
    const auto convert = [](std::wstring& text, auto function) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            text[i] = static_cast<wchar_t>(function(text[i], i));
        }
    };
    convert(names[1], [](wchar_t c, std::size_t) { return std::towupper(c); });
    convert(names[2], [](wchar_t c, std::size_t) { return std::towlower(c); });
    convert(names[3], [](wchar_t c, std::size_t i) { return i % 2 == 0 ? std::towlower(c) : std::towupper(c); });
    names.insert(names.end(),
                 {name + L"x", L"x" + name, name.substr(1), name.substr(0, name.size() - 1), name + L" ", L" " + name,
                  name + L"\x00AD", name + L"\x0301", name + name, name + L"0123456789012345"});
    const std::pair<wchar_t, wchar_t> others[] = {{L'k', 0x212A}, {L'i', 0x0131}, {L'i', 0x0130}, {L's', 0x017F},
                                                  {L'a', 0x00C5}, {L'e', 0x00E9}, {L'n', 0xFF4E}, {L't', 0x24E3},
                                                  {L'_', 0xFF3F}, {L'm', L'\r'},  {L'l', L'1'}};
    for (const auto& other : others) {
        std::wstring changed = name;
        convert(changed, [&](wchar_t c, std::size_t) { return (c | 0x20) == other.first ? other.second : c; });
        names.push_back(changed);
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        std::wstring changed = name;
        changed[i] ^= 0x20; // the other case of a letter; another character otherwise
        names.push_back(changed);
        changed[i] = static_cast<wchar_t>(name[i] | 0x100);
        names.push_back(changed);
    }
    return names;
}

class NXDispatchPlatformNamesTest : public ::testing::TestWithParam<Class> {
  protected:
    /// Whether a member has this name, except for the case of ASCII letters.
    [[nodiscard]] bool IsOwnName(const std::wstring& name) const {
        return std::ranges::any_of(members, [&](const Member& member) {
            return member.own && InAsciiLowerCase(member.names[0]) == InAsciiLowerCase(name);
        });
    }

    const Class& tested = GetParam();
    const std::vector<Member> members = MembersOf(tested);
};

INSTANTIATE_TEST_SUITE_P(Classes, NXDispatchPlatformNamesTest, ::testing::ValuesIn(Classes().begin(), Classes().end()),
                         [](const ::testing::TestParamInfo<Class>& tested) { return tested.param.name; });

TEST_P(NXDispatchPlatformNamesTest, Names_AreThoseOfThePlatform_ExceptByLocale) {
    CComPtr<IDispatch> object;
    ASSERT_HR(tested.createOurs(&object), S_OK);
    const CComPtr<ITypeInfo> platform = TypeInfoOf(tested);
    int unknownHere = 0;
    // In some locales the platform also equates names that differ in more than the case of ASCII letters. Our
    // dispatcher does not, and it finds no members of IUnknown and IDispatch.
    const auto compare = [&](std::vector<const wchar_t*> names, UINT count, bool mayBeUnknown = false,
                             REFIID iid = IID_NULL) {
        auto** const given = const_cast<LPOLESTR*>(names.data());
        std::array<DISPID, 4> ours = {77, 77, 77, 77};
        std::array<DISPID, 4> wanted = ours;
        const HRESULT ourResult = object->GetIDsOfNames(iid, given, count, LOCALE_USER_DEFAULT, ours.data());
        HRESULT result = platform->GetIDsOfNames(given, count, wanted.data());
        if (mayBeUnknown && wanted[0] != DISPID_UNKNOWN && count > 0) {
            std::fill_n(wanted.begin(), count, DISPID_UNKNOWN);
            result = DISP_E_UNKNOWNNAME;
            ++unknownHere;
        }
        if (ourResult != result || ours != wanted) {
            EXPECT_HR(ourResult, result);
            EXPECT_EQ(ours, wanted);
            ADD_FAILURE() << tested.name << ", names: " << support::Printed(names.empty() ? L"" : names[0]) << " and "
                          << count - 1 << " more";
        }
    };
    for (const Member& member : members) {
        for (const std::wstring& name : member.names) {
            for (const std::wstring& tried : NamesLike(name)) {
                compare({tried.c_str()}, 1, !IsOwnName(tried));
            }
            compare({name.c_str()}, 1, !member.own, IID_IDispatch);
            if (member.own && name == member.names[0]) {
                compare({name.c_str()}, 0);
            }
            for (const std::wstring& second : member.names) {
                compare({name.c_str(), second.c_str()}, 2, !member.own);
                compare({name.c_str(), second.c_str(), L"nonsense"}, 3, !member.own);
                compare({name.c_str(), L"nonsense", second.c_str()}, 3, !member.own);
            }
            ASSERT_FALSE(HasFailure());
        }
    }
    EXPECT_GT(unknownHere, 0) << "the platform does the same";
    compare({L""}, 1);
    compare({L"nonsense"}, 1);
    compare({L"nonsense", L"Count"}, 2);
    compare({L"0123456789012345678901234567890123456789"}, 1);
    compare({L"GetTypeInfoCountAndMore"}, 1);
}

TEST_P(NXDispatchPlatformNamesTest, Names_Missing_AreRefused) {
    CComPtr<IDispatch> object;
    ASSERT_HR(tested.createOurs(&object), S_OK);
    auto* name = const_cast<LPOLESTR>(members.front().names[0].c_str());
    DISPID id = 77;
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_POINTER);
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, &name, 1, 0, nullptr), E_POINTER);
    EXPECT_EQ(id, 77);
    name = nullptr;
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, DISPID_UNKNOWN);
}

} // namespace
} // namespace comparison
