/// Entry points and class table of nuvolex.dll.

#include <atlcom.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "module/resource.h"

CComModule _Module;

namespace __gnu_cxx {
/// Frees libstdc++'s emergency memory for exceptions. libstdc++ is linked statically, so it would leak with each
/// unload.
void __freeres(); // NOLINT(bugprone-reserved-identifier): libstdc++'s name
} // namespace __gnu_cxx

namespace {

/// A class with its registry script.
template <class Class, UINT script> struct Registered : Class { DECLARE_REGISTRY_RESOURCEID(script) };

using String = Registered<CNXString, IDR_NXSTRING>;
using TokenString = Registered<CNXTokenString, IDR_NXTOKENSTRING>;
using StringList = Registered<CNXStringList, IDR_NXSTRINGLIST>;
using FileStream = Registered<CNXFileStream, IDR_NXFILESTREAM>;
using TokenStringList = Registered<CNXTokenStringList, IDR_NXTOKENSTRINGLIST>;
using FileStreamList = Registered<CNXFileStreamList, IDR_NXFILESTREAMLIST>;
using VariantCollection = Registered<CNXVariantCollection, IDR_NXVARIANTCOLLECTION>;

// Classes are registered and looked up in this order.
BEGIN_OBJECT_MAP(objectMap)
    OBJECT_ENTRY(CLSID_NXString, String)
    OBJECT_ENTRY(CLSID_NXTokenString, TokenString)
    OBJECT_ENTRY(CLSID_NXStringList, StringList)
    OBJECT_ENTRY(CLSID_NXFileStream, FileStream)
    OBJECT_ENTRY(CLSID_NXTokenStringList, TokenStringList)
    OBJECT_ENTRY(CLSID_NXFileStreamList, FileStreamList)
    OBJECT_ENTRY(CLSID_NXVariantCollection, VariantCollection)
END_OBJECT_MAP()

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        _Module.Init(objectMap, instance, &LIBID_NUVOLEXLib);
        DisableThreadLibraryCalls(instance);
        break;
    case DLL_PROCESS_DETACH:
        _Module.Term();
        __gnu_cxx::__freeres();
        break;
    default:
        break;
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() {
    return _Module.GetLockCount() == 0 ? S_OK : S_FALSE;
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
    return _Module.GetClassObject(rclsid, riid, ppv);
}

STDAPI DllRegisterServer() {
    return _Module.RegisterServer(TRUE);
}

STDAPI DllUnregisterServer() {
    return _Module.UnregisterServer(TRUE);
}
