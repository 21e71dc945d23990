// Names of members that no class has today.

#include <gtest/gtest.h>

#include "automation/nxdispatch.h"
#include "tests/automation/hresult.h"

namespace {

class Probe : public IDispatch {
  public:
    HRESULT Run() { return S_OK; }
};

DISPID IdOf(const wchar_t* name) {
    static constexpr CNXMember members[] = {NXMethod<&Probe::Run>(7, L"Run2")};
    auto* given = const_cast<LPOLESTR>(name);
    DISPID id = 77;
    NXGetIDsOfNames(members, &given, 1, &id);
    return id;
}

/// Letters differ from their other case in one bit. Other characters must not be compared without it.
TEST(NXDispatchNames, Digit_EqualsOnlyItself) {
    EXPECT_EQ(IdOf(L"Run2"), 7);
    EXPECT_EQ(IdOf(L"rUN2"), 7);
    EXPECT_EQ(IdOf(L"Run\x12"), DISPID_UNKNOWN);
    EXPECT_EQ(IdOf(L"Run3"), DISPID_UNKNOWN);
}

} // namespace
