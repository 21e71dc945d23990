#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using namespace std::literals;
using support::AllocationFault;
using support::Bstr;
using support::CountLiveAllocations;
using support::CountRequests;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::LiveAllocations;
using support::OutOfMemory;

namespace {

TEST(LiveAllocationsTest, ObjectsAndBstrs_AreCounted) {
    const LiveAllocations before = CountLiveAllocations();
    auto object = std::make_unique<int>(1);
    Bstr text(L"abc");
    EXPECT_EQ(CountLiveAllocations(), (LiveAllocations{before.objects + 1, before.bstrs + 1}));
    object.reset();
    text = Bstr();
    EXPECT_EQ(CountLiveAllocations(), before);
}

TEST(ExpectNoLeaksTest, LeakedBstr_IsReported) {
    static BSTR leaked;
    EXPECT_NONFATAL_FAILURE(
        {
            const ExpectNoLeaks noLeaks;
            leaked = SysAllocString(L"leaked");
        },
        "objects by 0, BSTRs by 1");
    SysFreeString(leaked);
}

TEST(ExpectNoLeaksTest, LeakedObject_IsReported) {
    static std::unique_ptr<int> leaked;
    EXPECT_NONFATAL_FAILURE(
        {
            const ExpectNoLeaks noLeaks;
            leaked = std::make_unique<int>(1);
        },
        "objects by 1, BSTRs by 0");
    leaked.reset();
}

TEST(ExpectNoLeaksTest, FirstTraceOfAThread_IsNoLeak) {
    std::thread([] {
        const ExpectNoLeaks noLeaks;
        SCOPED_TRACE("first");
    }).join();
}

TEST(AllocationFaultTest, Allocation_OfThatNumber_FailsAndNoOther) {
    const AllocationFault fault(2);
    const Bstr first(SysAllocString(L"1"));
    EXPECT_FALSE(fault.Fired());
    const Bstr second(SysAllocString(L"2"));
    EXPECT_TRUE(fault.Fired());
    const Bstr third(SysAllocString(L"3"));
    EXPECT_BSTR(first, L"1");
    EXPECT_NULL_BSTR(second);
    EXPECT_BSTR(third, L"3");
}

TEST(AllocationFaultTest, EachFormOfOperatorNew_Fails) {
    const auto fails = [](auto allocate) {
        const AllocationFault fault(1);
        try {
            return allocate() == nullptr;
        } catch (const std::bad_alloc&) {
            return true;
        }
    };
    EXPECT_TRUE(fails([] { return std::make_unique<int>(); }));
    EXPECT_TRUE(fails([] { return std::make_unique<int[]>(2); }));
    EXPECT_TRUE(fails([] { return std::unique_ptr<int>(new (std::nothrow) int); }));
    EXPECT_TRUE(fails([] { return std::unique_ptr<int[]>(new (std::nothrow) int[2]); }));
}

TEST(AllocationFaultTest, Fault_EndsWithItsScope) {
    std::optional<AllocationFault> fault(std::in_place, 1);
    fault.reset();
    EXPECT_BSTR(Bstr(L"a"), L"a");
}

TEST(CountRequestsTest, FreedAllocations_AreCounted) {
    EXPECT_EQ(CountRequests([] {
                  const Bstr text(L"a");
                  const auto object = std::make_unique<int>(1);
              }),
              2u);
}

TEST(ForEachAllocationFailureTest, EachAllocation_FailsOnce) {
    int checks = 0;
    std::vector<int> reached;
    reached.reserve(10);
    ForEachAllocationFailure([] { return 1; },
                             [&](int) {
                                 reached.push_back(0);
                                 for (int& step = reached.back(); step < 3; ++step) {
                                     if (Bstr(SysAllocString(L"a")) == nullptr) {
                                         return E_OUTOFMEMORY;
                                     }
                                 }
                                 return S_OK;
                             },
                             [&](int) { ++checks; });
    EXPECT_EQ(reached, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(checks, 3);
}

TEST(ForEachAllocationFailureTest, IgnoredFailure_IsReported) {
    EXPECT_NONFATAL_FAILURE(ForEachAllocationFailure([] { return Bstr(SysAllocString(L"a")); }), "was not reported");
}

TEST(ForEachAllocationFailureTest, OperationWithoutAllocations_IsReported) {
    EXPECT_NONFATAL_FAILURE(ForEachAllocationFailure([] {}), "allocates nothing");
}

TEST(ForEachAllocationFailureTest, BadAlloc_IsReportedUnlessAllowed) {
    static const auto allocate = [] { return std::make_unique<int>(1); };
    EXPECT_NONFATAL_FAILURE(ForEachAllocationFailure(allocate), "std::bad_alloc");
    ForEachAllocationFailure(allocate, OutOfMemory::ComErrorOrBadAlloc);
}

TEST(ForEachAllocationFailureTest, OtherException_IsReported) {
    EXPECT_NONFATAL_FAILURE(ForEachAllocationFailure([] {
                                if (Bstr(SysAllocString(L"a")) == nullptr) {
                                    throw std::exception();
                                }
                            }),
                            "A failure other than");
}

TEST(ForEachAllocationFailureTest, Leak_IsReported) {
    static std::vector<Bstr> leaked;
    ::testing::TestPartResultArray failures;
    {
        const ::testing::ScopedFakeTestPartResultReporter reporter(&failures);
        ForEachAllocationFailure([] { leaked.emplace_back(L"a"); }, OutOfMemory::ComErrorOrBadAlloc);
    }
    leaked.clear();
    leaked.shrink_to_fit();
    ASSERT_GE(failures.size(), 1);
    EXPECT_NE(std::string_view(failures.GetTestPartResult(0).message()).find("Live allocations changed"),
              std::string_view::npos);
}

TEST(IsBstrTest, NullAndZeroLength_Differ) {
    EXPECT_TRUE(support::IsBstr("", "", Bstr(L""), L""));
    EXPECT_FALSE(support::IsBstr("", "", nullptr, L""));
    EXPECT_TRUE(support::IsNullBstr("", nullptr));
    EXPECT_FALSE(support::IsNullBstr("", Bstr(L"")));
}

TEST(IsBstrTest, TextWithNul_IsComparedWhole) {
    EXPECT_TRUE(support::IsBstr("", "", Bstr(L"a\0b"sv), L"a\0b"sv));
    EXPECT_FALSE(support::IsBstr("", "", Bstr(L"a\0b"sv), L"a\0c"sv));
    EXPECT_FALSE(support::IsBstr("", "", Bstr(L"a\0b"sv), L"a"));
}

TEST(IsBstrTest, Failure_ShowsBothTexts) {
    EXPECT_STREQ(support::IsBstr("code", "", Bstr(L"a\0\x00e4"sv), L"b").message(),
                 "code\n    is: L\"a\\x0000\\x00e4\" (3 units)\nwanted: L\"b\" (1 units)");
    EXPECT_STREQ(support::IsBstr("code", "", nullptr, L"").message(),
                 "code\n    is: a null BSTR\nwanted: L\"\" (0 units)");
    EXPECT_STREQ(support::IsNullBstr("code", Bstr(L"")).message(),
                 "code\n    is: L\"\" (0 units)\nwanted: a null BSTR");
}

} // namespace
