/// ATL's enumerators. A part of atlcom.h, which clients include.
#pragma once

#include <cstddef>
#include <cstring>

#include <atlcom.h>

/// How an enumerator copies elements of type T to the caller.
template <class T> class _Copy;

template <> class _Copy<VARIANT> {
  public:
    static void init(VARIANT* p) noexcept { VariantInit(p); }
    static HRESULT copy(VARIANT* p1, const VARIANT* p2) noexcept {
        VariantInit(p1);
        return VariantCopy(p1, const_cast<VARIANT*>(p2)); // NOLINT(cppcoreguidelines-pro-type-const-cast): only read
    }
    static void destroy(VARIANT* p) noexcept { VariantClear(p); }
};

/// The enumerator Base (IID *piid, elements of type T) over the live container of another object, which it keeps alive.
/// `Copy` copies an element of the container to a T.
///
/// The position is an index, compared with the container's size at every step. So if the container changes, the
/// enumerator continues with what is there or ends.
template <class Base, const IID* piid, class T, class Copy, class CollType, class ThreadModel>
class CComEnumOnSTL : public Base, public CComObjectRootEx<ThreadModel> {
  public:
    BEGIN_COM_MAP(CComEnumOnSTL)
        COM_INTERFACE_ENTRY_IID(*piid, Base)
    END_COM_MAP()

    /// Starts at the first element of `collection`, which must live as long as `pUnkForRelease` has references.
    HRESULT Init(IUnknown* pUnkForRelease, CollType& collection) noexcept {
        m_spUnk = pUnkForRelease;
        m_pcollection = &collection;
        m_position = 0;
        return S_OK;
    }

    /// Copies up to `celt` elements to the caller, who owns them. `rgelt` may be misaligned. S_FALSE if there are
    /// fewer. If a copy fails, clears the others and stays at the element that failed.
    HRESULT STDMETHODCALLTYPE Next(ULONG celt, T* rgelt, ULONG* pceltFetched) override {
        if (rgelt == nullptr || (celt > 1 && pceltFetched == nullptr)) {
            return E_POINTER;
        }
        if (pceltFetched != nullptr) {
            *pceltFetched = 0;
        }
        if (m_pcollection == nullptr) {
            return E_FAIL;
        }

        ULONG fetched = 0;
        for (; fetched < celt && m_position < m_pcollection->size(); ++fetched) {
            T element;
            Copy::init(&element);
            const HRESULT hr = Copy::copy(&element, &*Element());
            std::memcpy(rgelt + fetched, &element, sizeof(element));
            if (FAILED(hr)) {
                while (fetched > 0) {
                    std::memcpy(&element, rgelt + --fetched, sizeof(element));
                    Copy::destroy(&element);
                    std::memcpy(rgelt + fetched, &element, sizeof(element));
                }
                return hr;
            }
            ++m_position;
        }
        if (pceltFetched != nullptr) {
            *pceltFetched = fetched;
        }
        return fetched == celt ? S_OK : S_FALSE;
    }

    /// Skips `celt` elements. S_FALSE if there are fewer.
    HRESULT STDMETHODCALLTYPE Skip(ULONG celt) override {
        if (m_pcollection == nullptr) {
            return E_FAIL;
        }
        const std::size_t size = m_pcollection->size();
        const std::size_t left = m_position < size ? size - m_position : 0;
        if (celt > left) {
            m_position += left;
            return S_FALSE;
        }
        m_position += celt;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Reset() override {
        if (m_pcollection == nullptr) {
            return E_FAIL;
        }
        m_position = 0;
        return S_OK;
    }

    /// Creates an enumerator over the same container at the same position.
    HRESULT STDMETHODCALLTYPE Clone(Base** ppEnum) override {
        if (ppEnum == nullptr) {
            return E_POINTER;
        }
        *ppEnum = nullptr;
        if (m_pcollection == nullptr) {
            return E_FAIL;
        }
        CComObject<CComEnumOnSTL>* created = nullptr;
        HRESULT hr = CComObject<CComEnumOnSTL>::CreateInstance(&created);
        if (FAILED(hr)) {
            return hr;
        }
        const CComPtr<Base> clone(created);
        hr = created->Init(m_spUnk, *m_pcollection);
        created->m_position = m_position;
        return SUCCEEDED(hr) ? created->QueryInterface(*piid, reinterpret_cast<void**>(ppEnum)) : hr;
    }

  private:
    using Position = typename CollType::difference_type;
    auto Element() const noexcept { return m_pcollection->begin() + static_cast<Position>(m_position); }

    CComPtr<IUnknown> m_spUnk;
    CollType* m_pcollection = nullptr;
    std::size_t m_position = 0;
};
