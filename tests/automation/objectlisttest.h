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

/// A list class and the way to call its objects.
template <class TheKind, Way theWay> struct ListCase {
    using Kind = TheKind;
    static constexpr Way way = theWay;
};

struct ListCaseNames {
    template <class Type> static std::string GetName(int index) {
        constexpr const char* names[] = {"TokenStringListVtable", "TokenStringListLateBound", "FileStreamListVtable",
                                         "FileStreamListLateBound"};
        return names[index];
    }
};
using ListCases = ::testing::Types<ListCase<TokenStrings, Way::Vtable>, ListCase<TokenStrings, Way::LateBound>,
                                   ListCase<FileStreams, Way::Vtable>, ListCase<FileStreams, Way::LateBound>>;

/// A list of one of the cases, and objects for it.
template <class Case> class ObjectListTest : public ClassTest<ObjectList<typename Case::Kind>> {
  protected:
    using Kind = typename Case::Kind;
    using Element = typename Kind::Element;
    using StackElement = typename Kind::StackElement;
    using List = ObjectList<Kind>;

    List list{Case::way};
    const CComPtr<Element> a = List::NewElement();
    const CComPtr<Element> b = List::NewElement();
    const CComPtr<Element> c = List::NewElement();
};

} // namespace support
