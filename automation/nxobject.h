/// The base class of all automation classes.
#pragma once

#include <atlcom.h>
#include <nuvolex.h>

#include "automation/nxdispatch.h"
#include "automation/nxexceptions.h"

/// Base of an automation class: object root, creation and error reporting for *pclsid, ISupportErrorInfo and IDispatch
/// for its interface. The class adds the table of its members, the core object and the methods:
///
///     class CNXString : public CNXObject<CNXString, INXString, &CLSID_NXString, &IID_INXString> {
///         static std::span<const CNXMember> Members() noexcept;
///         HRESULT STDMETHODCALLTYPE Clear() override;
///     };
///
/// Methods called through the vtable may raise exceptions; Invoke does not. Where a method breaks a rule of automation,
/// such as who owns a result, Members lists another function for late-bound callers.
template <class Class, class Interface, const CLSID* pclsid, const IID* piid>
class CNXObject : public CComObjectRootEx<CComSingleThreadModel>,
                  public CComCoClass<Class, pclsid>,
                  public ISupportErrorInfoImpl<piid>,
                  public IDispatchImpl<Interface, piid, &LIBID_NUVOLEXLib, 1, 0> {
  public:
    BEGIN_COM_MAP(CNXObject)
        COM_INTERFACE_ENTRY_IID(*piid, Interface)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID /*riid*/, LPOLESTR* rgszNames, UINT cNames, LCID /*lcid*/,
                                            DISPID* rgdispid) override {
        return NXGetIDsOfNames(Class::Members(), rgszNames, cNames, rgdispid);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                                     VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) override {
        return NXInvoke(Class::Members(), static_cast<Interface*>(this), dispidMember, riid, lcid, wFlags, pdispparams,
                        pvarResult, pexcepinfo, puArgErr);
    }

  protected:
    static VARIANT_BOOL VariantBool(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }

    /// Whether the container has an element `index`. The size is compared as a signed 32-bit number, like the index.
    template <class Container> [[nodiscard]] static bool IsIndexOf(long index, const Container& container) noexcept {
        return index >= 0 && index < static_cast<long>(container.size());
    }

    /// Empties a container. For FinalRelease, when the object is still complete: an element may call back while it is
    /// released, and even add others.
    template <class Container> static void ReleaseAll(Container& container) noexcept {
        while (!container.empty()) {
            const Container released = std::exchange(container, {});
        }
    }

    /// Sets the error record for an invalid index and returns E_FAIL.
    static HRESULT ReportIndexError() noexcept { return Class::Error(L"Index out of bounds!", *piid, E_FAIL); }
};
