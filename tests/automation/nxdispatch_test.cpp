// Late-bound calls, compared with those of the platform's dispatcher. Every member of all seven classes is called in
// every way that a script may use. Where our dispatcher differs on purpose, RefusalOf says so.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <algorithm>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxtokenstring.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispatchcall.h"
#include "tests/automation/dispatchworld.h"
#include "tests/automation/localobject.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/wine.h"

namespace comparison {
namespace {

using support::CountLiveAllocations;
using support::LiveAllocations;
using support::PrintedHr;
using support::Require;

class NXDispatchTest : public ::testing::TestWithParam<Class> {
  protected:
    NXDispatchTest() {
        support::WriteBytes(path, linesOfFile);
        static_cast<void>(CountLiveAllocations());
        for (const Class& any : Classes()) { // load each type once, or it counts as a leak
            static_cast<void>(TypeInfoOf(any));
        }
        const Shape nothing = {.member = DISPID_UNKNOWN};
        static_cast<void>(Observe(nothing, tested.createOurs));
        static_cast<void>(Observe(nothing, tested.createPlatforms));
    }
    ~NXDispatchTest() override { SetErrorInfo(0, nullptr); }

    /// Makes the call in both worlds. The results and the object's state must be the same, unless our dispatcher
    /// refuses the call by one of its rules.
    void Compare(const std::string& member, Shape shape) {
        shape.filled = shape.filled && ++m_calls % tested.sparing == 0;
        const std::string ours = Observe(shape, tested.createOurs);
        std::string wanted = WantedOf(shape);
        if (const std::size_t place = wanted.find(emptyText); place != std::string::npos && IsNullText(ours)) {
            wanted.replace(place, emptyText.size(), nullText); // Wine returns a null BSTR as an empty string
        }
        Check(ours == wanted, member, shape, ours, wanted);
    }

    const Class& tested = GetParam();
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    const std::vector<Member> members = MembersOf(tested);

    static void TearDownTestSuite() {
        if (GTEST_FLAG_GET(filter) == "*" && support::RunningUnderWine()) { // fewer rules may differ on Windows
            for (std::size_t i = 0; i < std::size(rules); ++i) {
                EXPECT_GT(differences.at(i), 0) << "the platform does the same: " << rules[i];
            }
        }
    }

  private:
    static constexpr std::string_view nullText = "\nresult VARTYPE 8 null BSTR\n";
    static constexpr std::string_view emptyText = "\nresult VARTYPE 8 L\"\" (0 units)\n";
    static bool IsNullText(const std::string& observed) { return observed.find(nullText) != std::string::npos; }

    /// The expected record of the call.
    std::string WantedOf(const Shape& shape) {
        std::optional<Refusal> refusal = RefusalOf(shape);
        if (Reached(shape) != nullptr && IsConsistent(shape) && (!refusal.has_value() || refusal->parameter > 0)) {
            refusal = ConversionFailure(shape, refusal);
        }
        if (!refusal.has_value()) {
            return ObservePlatform(shape);
        }
        const std::string refused = Observe(shape, tested.createOurs, refusal);
        // Wine leaks references to objects that it refuses, so those are not passed to it.
        const bool isDifferent = refusal->rule == Rule::OtherObject || refused != ObservePlatform(shape);
        differences.at(static_cast<std::size_t>(refusal->rule)) += isDifferent ? 1 : 0;
        return refused;
    }

    static bool IsConsistent(const Shape& shape) {
        return !shape.noParameters && shape.names.size() <= shape.arguments.size();
    }

    /// The record of the platform's call. Arguments that Wine converts by reference are passed by value: it would make
    /// a null BSTR an empty string, and a missing argument a value.
    std::string ObservePlatform(Shape shape) const {
        for (Argument& argument : shape.arguments) {
            const Value& value = *argument.value;
            const bool isNullText = value.type == VT_BSTR && value.bits == 0 && value.text.data() == nullptr;
            const bool isLeftOut = value.type == VT_ERROR && value.bits == DISP_E_PARAMNOTFOUND;
            if ((isNullText || isLeftOut) && argument.passing <= Passing::VariableReference) {
                argument.passing = Passing::ByValue;
            }
        }
        return Observe(shape, tested.createPlatforms);
    }

    /// The failure for the first argument that does not convert, if it precedes the one of `refusal`; otherwise
    /// `refusal`. Wine does not report which argument it is, so each is converted in a call of its own.
    std::optional<Refusal> ConversionFailure(const Shape& shape, const std::optional<Refusal>& refusal) {
        const Member& member = *Reached(shape);
        const std::vector<Argument> plain = PlainCall(tested, member).arguments;
        const std::size_t count = refusal.has_value() ? refusal->parameter : plain.size();
        const auto given = ArgumentsOf(shape, member);
        for (std::size_t parameter = 0; parameter < count; ++parameter) {
            if (!given[parameter].has_value()) {
                continue;
            }
            Shape alone = PlainCall(tested, member);
            alone.arguments.at(parameter) = shape.arguments.at(shape.arguments.size() - 1 - *given[parameter]);
            alone.locale = shape.locale;
            const std::string platforms = ObservePlatform(alone);
            for (const HRESULT hr : {DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW, DISP_E_BADVARTYPE}) {
                if (platforms.starts_with("HRESULT " + PrintedHr(hr))) {
                    return Refusal{Rule::Conversion, hr == DISP_E_OVERFLOW ? hr : DISP_E_TYPEMISMATCH,
                                   static_cast<UINT>(*given[parameter]), parameter};
                }
            }
        }
        return refusal;
    }

    /// The own member that this call reaches, or null.
    [[nodiscard]] const Member* Reached(const Shape& shape) const {
        int flags = shape.flags;
        flags |= flags == DISPATCH_METHOD ? DISPATCH_PROPERTYGET : 0;
        flags |= (flags & DISPATCH_PROPERTYPUTREF) != 0 ? DISPATCH_PROPERTYPUT : 0;
        const auto found = std::ranges::find_if(members, [&](const Member& member) {
            return member.own && member.id == shape.member && (member.kind & flags) != 0;
        });
        return found != members.end() ? &*found : nullptr;
    }

    /// For each parameter, which of rgvarg is its argument.
    using ArgumentIndices = std::vector<std::optional<std::size_t>>;

    /// An additional last entry is an argument with a wrong name.
    static ArgumentIndices ArgumentsOf(const Shape& shape, const Member& member) {
        ArgumentIndices given(member.parameters.size());
        const bool isPut = member.kind == DISPATCH_PROPERTYPUT;
        const std::size_t names = member.parameters.size() - (isPut ? 1 : 0);
        const std::size_t count = shape.arguments.size();
        for (std::size_t i = 0; i < count - shape.names.size(); ++i) {
            given[i] = count - 1 - i;
        }
        if (isPut && given.back().has_value()) {
            given.emplace_back(0);
            return given;
        }
        for (std::size_t i = shape.names.size(); i-- > 0;) {
            const bool isNewValue = isPut && shape.names[i] == DISPID_PROPERTYPUT;
            const auto parameter = isNewValue ? names : static_cast<std::size_t>(shape.names[i]);
            if ((parameter >= names && !isNewValue) || given[parameter].has_value()) {
                given.emplace_back(i);
                return given;
            }
            given[parameter] = i;
        }
        return given;
    }

    /// The rule by which our dispatcher refuses the call, if one does.
    [[nodiscard]] std::optional<Refusal> RefusalOf(const Shape& shape) const {
        if (shape.iid != IID_NULL) {
            return Refusal{Rule::ReservedIid, DISP_E_UNKNOWNINTERFACE};
        }
        const std::size_t count = shape.arguments.size();
        const Member* const member = Reached(shape);
        if (member == nullptr || !IsConsistent(shape)) {
            return std::nullopt;
        }
        if (count > member->parameters.size() || count < member->required) {
            return Refusal{Rule::ArgumentCount, DISP_E_BADPARAMCOUNT};
        }

        const ArgumentIndices given = ArgumentsOf(shape, *member);
        if (given.size() > member->parameters.size()) {
            return Refusal{Rule::ArgumentName, DISP_E_PARAMNOTFOUND, static_cast<UINT>(*given.back())};
        }
        for (std::size_t parameter = 0; parameter < given.size(); ++parameter) {
            std::optional<Refusal> refusal;
            if (given[parameter].has_value()) {
                const std::size_t index = *given[parameter];
                refusal = RefusalOf(shape.arguments[count - 1 - index], *member, parameter);
                if (refusal.has_value() && refusal->hr == DISP_E_TYPEMISMATCH) {
                    refusal->badArgument = static_cast<UINT>(index);
                }
            } else if (parameter < member->required) {
                refusal = Refusal{Rule::ArgumentLeftOut, DISP_E_PARAMNOTOPTIONAL, {}, parameter};
            }
            if (refusal.has_value()) {
                return refusal;
            }
        }
        return std::nullopt;
    }

    /// The same for one argument.
    [[nodiscard]] std::optional<Refusal> RefusalOf(const Argument& argument, const Member& member,
                                                   std::size_t parameter) const {
        const Value& value = *argument.value;
        const bool isReference =
            argument.passing == Passing::Reference || argument.passing == Passing::VariableReference;
        if (argument.passing >= Passing::VariableOfVariable ||
            (isReference && (value.type == VT_EMPTY || value.type == VT_NULL))) {
            return Refusal{Rule::BadReference, DISP_E_TYPEMISMATCH, {}, parameter};
        }
        if (value.type == VT_ERROR && value.bits == DISP_E_PARAMNOTFOUND) {
            return parameter < member.required
                       ? std::optional(Refusal{Rule::ArgumentLeftOut, DISP_E_PARAMNOTOPTIONAL, {}, parameter})
                       : std::nullopt;
        }
        if (member.parameters[parameter] == VT_PTR) {
            const bool isObject = value.type == VT_DISPATCH || value.type == VT_UNKNOWN;
            if (!isObject || (value.bits != None && value.bits != ValueOf(tested.object)->bits)) {
                return Refusal{Rule::OtherObject, DISP_E_TYPEMISMATCH, {}, parameter};
            }
        }
        return std::nullopt;
    }

    /// Makes a world and the call, and returns the record of both.
    [[nodiscard]] std::string Observe(const Shape& shape, HRESULT (*create)(IDispatch**),
                                      const std::optional<Refusal>& refusal = {}) const {
        std::string text(64, ' ');
        const LiveAllocations before = CountLiveAllocations();
        {
            World world{path};
            world.tokens = support::New<CNXTokenString>().p;
            world.stream = support::New<CNXFileStream>().p;
            Require(create(&world.object), tested.name);
            if (shape.filled) {
                tested.fill(world);
            }
            Record record(world);
            try {
                Call(world, shape, refusal, record);
            } catch (...) {
                record << "An exception came out.";
            }
            record << "\nobject ";
            tested.write(world, record);
            world.object.Release();
            if (record.Text().starts_with("HRESULT " + PrintedHr(S_OK))) { // a failed call may stop anywhere
                record << "\ncalls of the other object " << static_cast<long long>(world.foreign.calls);
            }
            if (world.foreign.references != 0) {
                record << "\nleft references: " << static_cast<long long>(world.foreign.references);
            }
            text = record.Take();
        }
        const LiveAllocations after = CountLiveAllocations();
        if (after.objects != before.objects) {
            text += "\nleft objects: " + std::to_string(after.objects - before.objects);
        }
        if (after.bstrs != before.bstrs) {
            text += "\nleft BSTRs: " + std::to_string(after.bstrs - before.bstrs);
        }
        return text;
    }

    void Check(bool isRight, const std::string& member, const Shape& shape, const std::string& actual,
               const std::string& expected) {
        constexpr int enough = 10;
        if (!isRight && ++m_failures <= enough) {
            ADD_FAILURE() << tested.name << ", " << member << ", " << PrintedShape(shape) << "\n"
                          << actual << "\n--- wanted:\n"
                          << expected;
        }
    }

    /// For each rule, the number of refused calls that the platform does not refuse in the same way.
    static inline std::array<int, std::size(rules)> differences = {};

    int m_calls = 0;
    int m_failures = 0;
};

INSTANTIATE_TEST_SUITE_P(Classes, NXDispatchTest, ::testing::ValuesIn(Classes().begin(), Classes().end()),
                         [](const ::testing::TestParamInfo<Class>& tested) { return tested.param.name; });

TEST_P(NXDispatchTest, EveryArgument_IsTakenAsOnThePlatform_OrRefusedByARule) {
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        for (std::size_t place = 0; member.own && place < member.parameters.size(); ++place) {
            for (const Value& value : values) {
                for (std::size_t passing = 0; passing < std::size(passings); ++passing) {
                    const Argument argument = {&value, static_cast<Passing>(passing)};
                    const bool isFirstOfType = &value == values || (&value)[-1].type != value.type;
                    if (argument.passing >= Passing::NullReference && !isFirstOfType) {
                        continue; // the value makes no difference
                    }
                    Shape shape = plain;
                    shape.arguments[place] = argument;
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, TwoArguments_AreTakenAsOnThePlatform_OrRefusedByARule) {
    std::vector<Argument> arguments;
    for (const char* const name :
         {"I2 1", "I4 0", "I4 3", "BOOL -1", "null BSTR", "BSTR 1", "BSTR text", "missing", "null DISPATCH",
          tested.object != nullptr ? tested.object : "DISPATCH of another object"}) {
        for (const Passing passing : {Passing::ByValue, Passing::Variable}) {
            arguments.push_back({ValueOf(name), passing});
        }
    }
    for (const Member& member : members) {
        if (member.own && member.parameters.size() == 2) {
            Shape shape = PlainCall(tested, member);
            for (const Argument& first : arguments) {
                for (const Argument& second : arguments) {
                    shape.arguments = {first, second};
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, EveryFlag_DoesWhatItDoesOnThePlatform_OrIsRefusedByARule) {
    for (const Member& member : members) {
        Shape shape = PlainCall(tested, member);
        std::vector<Argument> arguments = shape.arguments;
        arguments.push_back({ValueOf("I4 1")});
        for (const int flags : {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 15, 0x4000}) {
            for (std::size_t count = 0; count <= arguments.size(); ++count) {
                for (const bool named : {false, true}) {
                    for (const bool filled : {false, true}) {
                        shape.flags = static_cast<WORD>(flags);
                        shape.arguments.assign(arguments.begin(),
                                               arguments.begin() + static_cast<std::ptrdiff_t>(count));
                        shape.names.assign(named ? 1 : 0, DISPID_PROPERTYPUT);
                        shape.filled = filled;
                        Compare(member.name, shape);
                    }
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, NamedArguments_AreTakenAsOnThePlatform_OrRefusedByARule) {
    const std::vector<DISPID> names[] = {{},
                                         {DISPID_PROPERTYPUT},
                                         {-99},
                                         {0},
                                         {1},
                                         {2},
                                         {0, 1},
                                         {1, 0},
                                         {0, 0},
                                         {DISPID_PROPERTYPUT, 0}, // not the other way round: the platform refuses that
                                         {DISPID_PROPERTYPUT, DISPID_PROPERTYPUT}};
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        for (const WORD flags : {member.kind, static_cast<WORD>(DISPATCH_METHOD | DISPATCH_PROPERTYGET),
                                 static_cast<WORD>(DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)}) {
            for (const std::vector<DISPID>& named : names) {
                for (std::size_t count = 0; count <= plain.arguments.size(); ++count) {
                    Shape shape = plain;
                    shape.flags = flags;
                    shape.names = named;
                    shape.arguments.resize(count);
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, Results_AreThoseOfThePlatform_WhicheverTheCallerWants) {
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        std::vector<Shape> shapes = {plain};
        for (const char* const wrong : {"BSTR text", "I4 -1"}) {
            for (std::size_t place = 0; place < plain.arguments.size(); ++place) {
                shapes.push_back(plain);
                shapes.back().arguments[place].value = ValueOf(wrong);
            }
        }
        for (Shape& shape : shapes) {
            for (int wants = 0; wants < 16; ++wants) {
                for (const Result result : {Result::Absent, Result::Number, Result::Text}) {
                    shape.filled = (wants & 1) != 0;
                    shape.wantsException = (wants & 2) != 0;
                    shape.wantsBadArgument = (wants & 4) != 0;
                    shape.earlierError = (wants & 8) != 0;
                    shape.result = result;
                    Compare(member.name, shape);
                }
            }
        }
        Shape shape = plain;
        shape.noParameters = true;
        Compare(member.name, shape);
    }
}

TEST_P(NXDispatchTest, Locale_ChangesNothing_AndAnIidIsRefused) {
    for (const Member& member : members) {
        Shape shape = PlainCall(tested, member);
        for (const LCID locale : {0x0000u, 0x0407u, 0x0409u, 0x0411u, 0xFFFFu}) {
            for (const IID& iid : {IID_NULL, IID_IDispatch}) {
                shape.locale = locale;
                shape.iid = iid;
                Compare(member.name, shape);
            }
        }
    }
}

TEST_P(NXDispatchTest, UnknownMembers_AreRefusedAsOnThePlatform) {
    for (const DISPID id : {DISPID_UNKNOWN, -2, DISPID_PROPERTYPUT, DISPID_NEWENUM, DISPID_EVALUATE, DISPID_VALUE, 1, 2,
                            0x5FFFFFFF, 0x60010004, 0x6002000A, 0x6002000B, 0x60020FFF, 0x60030000}) {
        for (const int flags : {1, 2, 3, 4, 8, 12, 15}) {
            for (const std::size_t count : {0u, 1u, 2u}) {
                const Shape shape = {.member = id,
                                     .flags = static_cast<WORD>(flags),
                                     .arguments = std::vector<Argument>(count, {ValueOf("I4 1")})};
                Compare("member " + std::to_string(id), shape);
            }
        }
    }
}

} // namespace
} // namespace comparison
