/// Fixtures for tests of both lists of automation objects.
#pragma once

#include <string>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/objectlist.h"

namespace support {

struct ListNames {
    template <class Type> static std::string GetName(int index) {
        return index == 0 ? "TokenStringList" : "FileStreamList";
    }
};
using ListKinds = ::testing::Types<TokenStrings, FileStreams>;

/// A list class and the binding of its objects.
template <class TheKind, Binding theBinding> struct ListCase {
    using Kind = TheKind;
    static constexpr Binding binding = theBinding;
};

struct ListCaseNames {
    template <class Type> static std::string GetName(int index) {
        constexpr const char* names[] = {"TokenStringListVtable", "TokenStringListLateBound", "FileStreamListVtable",
                                         "FileStreamListLateBound"};
        return names[index];
    }
};
using ListCases = ::testing::Types<ListCase<TokenStrings, Binding::Vtable>, ListCase<TokenStrings, Binding::LateBound>,
                                   ListCase<FileStreams, Binding::Vtable>, ListCase<FileStreams, Binding::LateBound>>;

/// A list of one of the cases, and objects for it.
template <class Case> class ObjectListTest : public ClassTest<ObjectList<typename Case::Kind>> {
  protected:
    using Kind = typename Case::Kind;
    using Element = typename Kind::Element;
    using StackElement = typename Kind::StackElement;
    using List = ObjectList<Kind>;

    List list{Case::binding};
    const CComPtr<Element> a = List::NewElement();
    const CComPtr<Element> b = List::NewElement();
    const CComPtr<Element> c = List::NewElement();
};

} // namespace support
