// NXFileStreamList: what differs from the other list of automation objects.

#include <climits>
#include <string>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/core/textfiles.h"
#include "tests/support/bstr.h"

namespace {

using support::AreSame;
using support::Binding;
using support::Bstr;
using support::IsClosed;
using support::ReferencesOf;

using FileStreamList = support::ObjectList<support::FileStreams>;
using Stream = CComPtr<INXFileStream>;

/// Opens a file that exists.
void Open(INXFileStream* stream, const std::wstring& path) {
    VARIANT_BOOL open = VARIANT_FALSE;
    EXPECT_HR(stream->Open(Bstr(path), VARIANT_FALSE, &open), S_OK);
    EXPECT_EQ(open, VARIANT_TRUE);
}

class NXFileStreamListTest : public support::BothBindingsTest<FileStreamList> {
  protected:
    NXFileStreamListTest() { support::WriteBytes(path, "line\r\n"); }

  private:
    const support::TemporaryFolder m_folder;

  protected:
    const std::wstring path = m_folder / L"file.txt";
    FileStreamList list{GetParam()};
    const Stream a = FileStreamList::NewElement();
    const Stream b = FileStreamList::NewElement();
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXFileStreamListTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

TEST_P(NXFileStreamListTest, Item_WrittenAfterTheLast_IsRefused) {
    EXPECT_TRUE(list.RefusesIndex([&] { list.SetItem(0, a); }));
    EXPECT_EQ(list.Count(), 0);
    list.Add(a);
    EXPECT_TRUE(list.RefusesIndex([&] { list.SetItem(1, b); }));
    EXPECT_TRUE(list.RefusesIndex([&] { list.SetItem(1, nullptr); }));
    EXPECT_TRUE(list.Holds({a}));
    EXPECT_EQ(ReferencesOf(b), 1u);
}

TEST_P(NXFileStreamListTest, DefaultItem_OfAnInvalidIndex_IsRefusedLikeItem) {
    EXPECT_TRUE(list.RefusesIndex([&] { list.DefaultItem(0); }));
    list.Add(a);
    for (const long index : {1L, 2L, -1L, LONG_MIN, LONG_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(list.RefusesIndex([&] { list.DefaultItem(index); }));
    }
    EXPECT_TRUE(list.Holds({a}));
}

TEST_P(NXFileStreamListTest, AddNewAndNew_GiveClosedStreamsWithoutAName) {
    list.AddNew();
    list.New();
    for (const long index : {0L, 1L}) {
        VARIANT_BOOL open = VARIANT_TRUE;
        EXPECT_HR(list.Item(index)->IsOpen(&open), S_OK);
        EXPECT_EQ(open, VARIANT_FALSE);
        Bstr name;
        EXPECT_HR(list.Item(index)->get_fileName(name.Out()), S_OK);
        EXPECT_NULL_BSTR(name);
    }
}

TEST_P(NXFileStreamListTest, Streams_KeepTheirPlaceInTheFile) {
    Open(list.AddNew(), path);
    for (const wchar_t* const expected : {L"line", L""}) {
        BSTR lent = nullptr;
        EXPECT_HR(list.Item(0)->ReadNextLine(&lent), S_OK);
        EXPECT_BSTR(lent, expected);
    }
}

TEST_P(NXFileStreamListTest, Files_StayOpenWhileTheListHoldsTheirStreams) {
    Open(list.AddNew(), path);
    EXPECT_FALSE(IsClosed(path));
    list.Remove(0);
    EXPECT_TRUE(IsClosed(path));

    Open(list.New(), path);
    EXPECT_FALSE(IsClosed(path));
    list.SetItem(0, a);
    EXPECT_TRUE(IsClosed(path));

    Open(list.AddNew(), path);
    EXPECT_FALSE(IsClosed(path));
    list.Release();
    EXPECT_TRUE(IsClosed(path));
}

TEST_P(NXFileStreamListTest, Files_OfStreamsThatOthersHold_StayOpen) {
    Open(a, path);
    list.Add(a);
    list.Release();
    EXPECT_FALSE(IsClosed(path));
    EXPECT_HR(a->Close(), S_OK);
    EXPECT_TRUE(IsClosed(path));
}

// ---------------------------------------------------------------------------------------------------------------------
// Through the vtable

class NXFileStreamListVtableTest : public support::ClassTest<FileStreamList> {
  protected:
    const FileStreamList list{Binding::Vtable};
};

TEST_F(NXFileStreamListVtableTest, AddNew_GivesTheCallerAReference) {
    Stream added;
    EXPECT_HR(list.Raw()->AddNew(&added), S_OK);
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(ReferencesOf(added), 2u) << "the list's and the caller's";
    EXPECT_TRUE(AreSame(list.Item(0), added));
    EXPECT_HR(list.Raw()->Remove(0), S_OK);
    EXPECT_EQ(ReferencesOf(added), 1u);
}

TEST_F(NXFileStreamListVtableTest, AddNew_WithoutAResult_IsRefusedAndAppendsNothing) {
    SetErrorInfo(0, nullptr);
    EXPECT_HR(list.Raw()->AddNew(nullptr), E_POINTER);
    EXPECT_EQ(list.Count(), 0);
    CComPtr<IErrorInfo> record;
    EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);
}

} // namespace
