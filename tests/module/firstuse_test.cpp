// What is done once per loaded DLL, by several threads at the same time: objects of one class in several apartments
// share the class factory, the table of members and the type information.

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/module/threads.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/module_faults.h"

namespace {

constexpr std::size_t threadCount = 8;

std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// The results of a thread's first late-bound calls.
struct FirstAnswers {
    HRESULT names = E_UNEXPECTED;
    DISPID id = DISPID_UNKNOWN;
    HRESULT call = E_UNEXPECTED;
    long value = -1;
    HRESULT type = E_UNEXPECTED;
    CComPtr<ITypeInfo> info;
};

void AskForName(IDispatch* object, const Class& row, FirstAnswers& answers) {
    std::wstring name = row.member;
    OLECHAR* names[] = {name.data()};
    answers.names = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &answers.id);
}

void CallMember(IDispatch* object, DISPID id, FirstAnswers& answers) {
    VARIANT result;
    VariantInit(&result);
    DISPPARAMS none = {};
    answers.call = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none,
                                  &result, nullptr, nullptr);
    if (answers.call == S_OK) {
        answers.value = V_VT(&result) == VT_BOOL ? V_BOOL(&result) : V_I4(&result);
    }
}

void AskForType(IDispatch* object, FirstAnswers& answers) {
    answers.type = object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &answers.info);
}

class FirstUseOf : public testing::TestWithParam<Class> {
  protected:
    /// Makes eight threads each call an object for the first time at the same time, in a newly loaded DLL.
    /// `makeCalls(number, object, id, answers)` makes the calls of one thread.
    template <class MakeCalls> static void AtTheSameTime(const MakeCalls& makeCalls) {
        const Class& row = GetParam();
        const DISPID id = IdOfMember(row);
        auto dll = std::make_unique<Dll>();
        support::TrackAllocations(dll->Module());
        std::array<FirstAnswers, threadCount> answers;
        std::ptrdiff_t made = 0;
        {
            const support::SlowModuleAllocations slow;
            MeetingPoint created(threadCount, [&] { made = -support::CountLiveAllocations().objects; });
            MeetingPoint called(threadCount, [&] { made += support::CountLiveAllocations().objects; });
            RunInApartments(threadCount, [&](std::size_t number) {
                const CComPtr<IDispatch> object = dll->Object(row);
                created.ArriveAndWait();
                if (object != nullptr) {
                    makeCalls(number, object.p, id, answers[number]);
                }
                called.ArriveAndWait();
            });
        }
        EXPECT_EQ(made, 1) << "the DLL's termination function for the type information";
        for (const FirstAnswers& answer : answers) {
            EXPECT_EQ(Result(answer.names), Result(S_OK));
            EXPECT_EQ(answer.id, id);
            EXPECT_EQ(Result(answer.call), Result(S_OK));
            EXPECT_EQ(answer.value, 0);
            EXPECT_EQ(Result(answer.type), Result(S_OK));
            EXPECT_EQ(answer.info, answers[0].info);
        }
        ASSERT_NE(answers[0].info, nullptr);
        EXPECT_EQ(CountOf(answers[0].info), threadCount + 1) << "one reference per caller and the DLL's own";
        EXPECT_EQ(Result(dll->CanUnloadNow()), Result(S_OK));
        dll.reset();
        EXPECT_EQ(GetModuleHandleW(DllPath().c_str()), nullptr);
        EXPECT_EQ(CountOf(answers[0].info), threadCount) << "the DLL has released its own";
    }

    static constexpr int rounds = 10;

  private:
    /// The member's DISPID from the type library.
    static DISPID IdOfMember(const Class& row) {
        CComPtr<ITypeLib> library;
        LoadTypeLibEx(DllPath().c_str(), REGKIND_NONE, &library);
        CComPtr<ITypeInfo> type;
        library->GetTypeInfoOfGuid(*row.iid, &type);
        std::wstring name = row.member;
        OLECHAR* names[] = {name.data()};
        DISPID id = DISPID_UNKNOWN;
        EXPECT_EQ(Result(type->GetIDsOfNames(names, 1, &id)), Result(S_OK));
        return id;
    }

    const ApartmentOf m_apartment{ApartmentOf::SingleThreaded};
};

TEST_P(FirstUseOf, FromManyThreads_InTheSameOrder_IsAsFromOne) {
    for (int round = 0; round < rounds; ++round) {
        AtTheSameTime([](std::size_t, IDispatch* object, DISPID, FirstAnswers& answers) {
            AskForName(object, GetParam(), answers);
            CallMember(object, answers.id, answers);
            AskForType(object, answers);
        });
    }
}

/// One thread loads the type information while another one looks up a name and a third makes a call.
TEST_P(FirstUseOf, FromManyThreads_InDifferentOrders_IsAsFromOne) {
    for (int round = 0; round < rounds; ++round) {
        AtTheSameTime([](std::size_t number, IDispatch* object, DISPID id, FirstAnswers& answers) {
            for (std::size_t step = 0; step < 3; ++step) {
                switch ((number + step) % 3) {
                case 0:
                    AskForType(object, answers);
                    break;
                case 1:
                    AskForName(object, GetParam(), answers);
                    break;
                default:
                    CallMember(object, id, answers);
                    break;
                }
            }
        });
    }
}

/// Factories belong to all apartments, so their references may change on many threads at the same time. A lost update
/// would show in the reference count and in the DLL's lock count.
TEST_P(FirstUseOf, References_OfAFactory_AreCountedOnAllThreads) {
    constexpr int changes = 50'000;
    const Dll dll;
    CComPtr<IClassFactory> factory = dll.Factory(GetParam());
    ASSERT_NE(factory, nullptr);
    MeetingPoint start(threadCount);
    RunInApartments(threadCount, [&](std::size_t) {
        start.ArriveAndWait();
        for (int i = 0; i < changes; ++i) {
            factory->AddRef();
            factory->Release();
        }
    });
    EXPECT_EQ(CountOf(factory), 2u) << "this test's and the DLL's own";
    EXPECT_EQ(Result(dll.CanUnloadNow()), Result(S_FALSE));
    factory.Release();
    EXPECT_EQ(Result(dll.CanUnloadNow()), Result(S_OK));
}

INSTANTIATE_TEST_SUITE_P(Classes, FirstUseOf, testing::ValuesIn(classes), NameOf);

} // namespace
