/// The frame that all automation classes share.
#pragma once

#include <atlcom.h>
#include <nuvolex.h>

#include "automation/nxdispatch.h"
#include "automation/nxexceptions.h"

/// Base of every automation class: the object root, creation and error reporting under *pclsid, ISupportErrorInfo for
/// its one interface, and dual dispatch of that interface. A class adds the table of its members, its core member and
/// its methods:
///
///     class CNXString : public CNXObject<CNXString, INXString, &CLSID_NXString, &IID_INXString> {
///         static std::span<const CNXMember> Members() noexcept;
///         HRESULT STDMETHODCALLTYPE Clear() override;
///     };
///
/// A client that calls through the vtable gets the contract to the letter, exceptions included. A late-bound caller
/// knows only the general rules of automation: for it, Members names another function where a method departs from
/// those, and no exception leaves Invoke.
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

    /// Whether `index` is one of the container's. Indices are signed 32-bit numbers, and the count that they are
    /// compared with is taken as one.
    template <class Container> [[nodiscard]] static bool IsIndexOf(long index, const Container& container) noexcept {
        return index >= 0 && index < static_cast<long>(container.size());
    }

    /// Empties a container from FinalRelease, while the object is still whole: an element may call back when it goes,
    /// and even add others.
    template <class Container> static void ReleaseAll(Container& container) noexcept {
        while (!container.empty()) {
            const Container leaving = std::exchange(container, {});
        }
    }

    /// Refuses an index: leaves the error record that says so and returns E_FAIL.
    static HRESULT ReportIndexError() noexcept { return Class::Error(L"Index out of bounds!", *piid, E_FAIL); }
};
