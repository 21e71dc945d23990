/// Identifiers of the module's resources.
#pragma once

// Type library (TYPELIB). LoadTypeLibEx loads resource 1.
#define IDR_TYPELIB 1

// Strings (German).
#define IDS_PROJNAME 100
#define IDS_NXTOKENSTRINGLIST_DESC 106

// Registry scripts (REGISTRY).
#define IDR_NXSTRING 101
#define IDR_NXTOKENSTRING 102
#define IDR_NXSTRINGLIST 103
#define IDR_NXFILESTREAM 104
#define IDR_NXTOKENSTRINGLIST 107
#define IDR_NXFILESTREAMLIST 108
#define IDR_NXVARIANTCOLLECTION 110
