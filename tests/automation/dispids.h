/// DISPIDs of the members. Compiled scripts contain them, so they never change.
#pragma once

#include <oaidl.h>

namespace support {

struct StringId {
    static constexpr DISPID TrimLeft = 0x60020000;
    static constexpr DISPID TrimRight = 0x60020001;
    static constexpr DISPID Trim = 0x60020002;
    static constexpr DISPID Left = 0x60020003;
    static constexpr DISPID Right = 0x60020004;
    static constexpr DISPID Mid = 0x60020005;
    static constexpr DISPID Clear = 0x60020006;
    static constexpr DISPID Value = 0x60020007;
    static constexpr DISPID Length = 0x60020009;
};

struct TokenStringId {
    static constexpr DISPID Value = 0x60020000;
    static constexpr DISPID Separator = 0x60020002;
    static constexpr DISPID MultiCharacter = 0x60020004;
    static constexpr DISPID Add = 0x60020006;
    static constexpr DISPID Count = 0x60020007;
    static constexpr DISPID Token = DISPID_VALUE;
};

struct StringListId {
    static constexpr DISPID Item = 0x60020000;
    static constexpr DISPID New = 0x60020002;
    static constexpr DISPID Remove = 0x60020004;
    static constexpr DISPID Count = 0x60020005;
    static constexpr DISPID DefaultItem = DISPID_VALUE;
    static constexpr DISPID Add = 1;
};

struct FileStreamId {
    static constexpr DISPID Clear = 0x60020000;
    static constexpr DISPID Close = 0x60020001;
    static constexpr DISPID Flush = 0x60020002;
    static constexpr DISPID IsCommentLine = 0x60020003;
    static constexpr DISPID IsEOF = 0x60020004;
    static constexpr DISPID IsOpen = 0x60020005;
    static constexpr DISPID ReadNextLine = 0x60020006;
    static constexpr DISPID Open = 0x60020007;
    static constexpr DISPID UngetLine = 0x60020008;
    static constexpr DISPID WriteLine = 0x60020009;
    static constexpr DISPID FileName = 0x6002000A;
};

struct CollectionId {
    static constexpr DISPID Add = 0x60020000;
    static constexpr DISPID Remove = 0x60020001;
    static constexpr DISPID Count = 0x60020002;
    static constexpr DISPID Item = DISPID_VALUE;
};

} // namespace support
