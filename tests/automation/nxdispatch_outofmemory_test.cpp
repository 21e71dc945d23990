// Late-bound calls that run out of memory.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/dispatch.h"
#include "tests/automation/dispatchworld.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"

namespace comparison {
namespace {

using namespace std::string_literals;
using support::AllocationFault;
using support::DispatchObject;
using support::ExpectNoLeaks;
using support::FileStreamId;
using support::Invocation;
using support::Reply;
using support::Require;
using support::StringId;
using support::StringListId;
using support::TokenStringId;

/// A call of a member that needs memory.
struct NeedyCall {
    const char* type;
    const char* member;
    Invocation call;
    bool filled = true;
};

const NeedyCall needyCalls[] = {
    {"NXString", "Value", {.member = StringId::Value, .flags = DISPATCH_PROPERTYGET}},
    {"NXString",
     "put Value",
     {.member = StringId::Value, .flags = DISPATCH_PROPERTYPUT, .arguments = {L"new"}, .names = {DISPID_PROPERTYPUT}}},
    {"NXString", "Left", {.member = StringId::Left, .arguments = {3}}},
    {"NXTokenString", "Value", {.member = TokenStringId::Value, .flags = DISPATCH_PROPERTYGET}},
    {"NXTokenString", "Add", {.member = TokenStringId::Add, .arguments = {L"three"}}},
    {"NXTokenString", "Token", {.member = TokenStringId::Token, .flags = DISPATCH_PROPERTYGET, .arguments = {1}}},
    {"NXStringList", "Item", {.member = StringListId::Item, .flags = DISPATCH_PROPERTYGET, .arguments = {2}}},
    {"NXStringList", "Add", {.member = StringListId::Add, .arguments = {L"three"}}},
    {"NXFileStream", "ReadNextLine", {.member = FileStreamId::ReadNextLine}},
    {"NXFileStream", "fileName", {.member = FileStreamId::FileName, .flags = DISPATCH_PROPERTYGET}},
    {"NXFileStream",
     "WriteLine",
     {.member = FileStreamId::WriteLine, .arguments = {L"more than a string holds in itself"}}},
};

class NXDispatchOutOfMemoryTest : public ::testing::Test {
  protected:
    std::unique_ptr<World> WorldFor(const NeedyCall& needy) const {
        auto world = std::make_unique<World>(path);
        const Class& type = *std::ranges::find(Classes(), std::string_view(needy.type), &Class::name);
        Require(type.createOurs(&world->object), type.name);
        if (needy.filled) {
            type.fill(*world);
        }
        return world;
    }

    /// Calls the member. An exception becomes E_UNEXPECTED.
    static Reply Call(const World& world, const NeedyCall& needy) {
        try {
            return DispatchObject(world.object).Invoke(needy.call);
        } catch (...) {
            return {};
        }
    }

    /// Makes the call once, so that it allocates only what each call does.
    void WarmUp(const NeedyCall& needy) const {
        EXPECT_HR(Call(*WorldFor(needy), needy).hr, S_OK);
        support::WriteBytes(path, linesOfFile);
    }

    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    const bool fileIsMade = (support::WriteBytes(path, linesOfFile), true);
};

TEST_F(NXDispatchOutOfMemoryTest, AnyAllocationFailing_IsAnHresult) {
    for (const NeedyCall& needy : needyCalls) {
        SCOPED_TRACE(needy.type + "."s + needy.member);
        WarmUp(needy);
        support::ForEachAllocationFailure(
            [&] { return WorldFor(needy); },
            [&](const std::unique_ptr<World>& world) { return Call(*world, needy).Failure(); },
            [](const std::unique_ptr<World>&) {});
    }
}

TEST_F(NXDispatchOutOfMemoryTest, InvalidIndex_IsRefusedWithoutMemoryToo) {
    const NeedyCall refused = {
        "NXStringList", "Item", {.member = StringListId::Item, .flags = DISPATCH_PROPERTYGET, .arguments = {99}}};
    static_cast<void>(Call(*WorldFor(refused), refused));
    bool fired = true;
    for (std::size_t number = 1; fired; ++number) {
        const ExpectNoLeaks noLeaks;
        const auto world = WorldFor(refused);
        support::LeaveErrorRecord(L"source", L"earlier");
        const Reply reply = [&] {
            const AllocationFault fault(number);
            Reply given = Call(*world, refused);
            fired = fault.Fired();
            return given;
        }();
        EXPECT_HR(reply.hr, DISP_E_EXCEPTION) << number;
        EXPECT_HR(reply.exception->scode, E_FAIL) << number;
        EXPECT_STRNE(reply.exception->bstrDescription, L"earlier") << number;
        SetErrorInfo(0, nullptr);
    }
}

} // namespace
} // namespace comparison
