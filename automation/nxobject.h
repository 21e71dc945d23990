/// The frame that all automation classes share.
#pragma once

#include <atlcom.h>
#include <nuvolex.h>

#include "automation/exceptions.h"
#include "automation/nxtypeinfo.h"

/// Base of every automation class: the object root, creation and error reporting under *pclsid, ISupportErrorInfo for
/// its one interface, and dual dispatch of that interface. A class adds its interface map, its core member and its
/// methods:
///
///     class CNXString : public CNXObject<CNXString, INXString, &CLSID_NXString, &IID_INXString> {
///       public:
///         BEGIN_COM_MAP(CNXString) ... END_COM_MAP()
///         HRESULT STDMETHODCALLTYPE Clear() override;
///       private:
///         CNKString m_text;
///     };
///
/// Both ways to call lead to the same methods. A client that calls through the vtable knows the contract of each, and
/// gets it to the letter, exceptions included. A late-bound caller knows only the general rules of automation, so
/// Invoke marks the object as called late-bound, and the members that would break those rules ask. The mark is one
/// call's: it is off while RunMember runs a body, which may call foreign code that calls the object again. (What
/// converts arguments before the member is reached may be foreign code too. For what it calls then, the mark is still
/// on.)
template <class Class, class Interface, const CLSID* pclsid, const IID* piid>
class CNXObject : public CComObjectRootEx<CComSingleThreadModel>,
                  public CComCoClass<Class, pclsid>,
                  public ISupportErrorInfoImpl<piid>,
                  public IDispatchImpl<Interface, piid, &LIBID_NUVOLEXLib, 1, 0, CNXTypeInfoHolder> {
    using Dispatch = IDispatchImpl<Interface, piid, &LIBID_NUVOLEXLib, 1, 0, CNXTypeInfoHolder>;

  public:
    /// Calls a member late-bound. No C++ exception comes out: one that a member raises becomes its HRESULT.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                                     VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) override {
        // Some engines flag a property read as a method call and nothing else (for _NewEnum, or when nobody uses the
        // value), which the platform's dispatcher refuses. No DISPID here is both, so allowing either is safe.
        if (wFlags == DISPATCH_METHOD) {
            wFlags |= DISPATCH_PROPERTYGET;
        }

        LateBoundCall call(*this);
        try {
            const HRESULT hr =
                Dispatch::Invoke(dispidMember, riid, lcid, wFlags, pdispparams, pvarResult, pexcepinfo, puArgErr);
            return FAILED(call.raised) ? call.raised : hr;
        } catch (...) {
            return HResultOfCurrentException();
        }
    }

  protected:
    /// Tells whether the member that runs was called through IDispatch. To be asked before RunMember.
    [[nodiscard]] bool IsCalledLateBound() const noexcept { return m_call != nullptr; }

    /// Runs the body of a member that may throw, or that runs foreign code. Through the vtable its exceptions reach the
    /// caller. Late-bound they end here: on the way to Invoke lies the platform's dispatcher, which would leave its
    /// temporaries behind.
    template <class Body> HRESULT RunMember(const Body& body) {
        LateBoundCall* const call = std::exchange(m_call, nullptr);
        if (call == nullptr) {
            return body();
        }
        try {
            return body();
        } catch (...) {
            call->raised = HResultOfCurrentException();
            return call->raised;
        }
    }

    /// Tells whether `index` is one of the container's. Indices are signed 32-bit numbers, and the count that they are
    /// compared with is taken as one.
    template <class Container> [[nodiscard]] static bool IsIndexOf(long index, const Container& container) noexcept {
        return index >= 0 && index < static_cast<long>(container.size());
    }

    /// Empties a container from FinalRelease, while the object is still whole: an element may call back when it goes,
    /// and even add others.
    template <class Container> static void LetGo(Container& container) noexcept {
        while (!container.empty()) {
            const Container leaving = std::exchange(container, {});
        }
    }

    /// Refuses an index: leaves the error record that says so and returns E_FAIL.
    static HRESULT ReportIndexError() noexcept { return Class::Error(L"Index out of bounds!", *piid, E_FAIL); }

    /// A late-bound call under way: the object's mark until the member is reached. Calls may lie within calls.
    struct LateBoundCall {
        explicit LateBoundCall(CNXObject& object) noexcept
            : self(static_cast<Interface*>(&object)), m_object(object), m_outer(std::exchange(object.m_call, this)) {}
        LateBoundCall(const LateBoundCall&) = delete;
        LateBoundCall& operator=(const LateBoundCall&) = delete;
        ~LateBoundCall() { m_object.m_call = m_outer; }

        /// What a member may release can be the caller's last reference to the object itself.
        const CComPtr<Interface> self;
        /// The HRESULT of the exception that a member raised.
        HRESULT raised = S_OK;

      private:
        CNXObject& m_object;
        LateBoundCall* const m_outer;
    };

  private:
    LateBoundCall* m_call = nullptr; ///< the call that is on its way to a member; null when called through the vtable
};
