/// Lists of automation objects.
#pragma once

#include <vector>

#include <atlcom.h>

/// A list of automation objects: one counted reference per entry, null allowed.
///
/// Taking an entry out, or asking it for an interface, runs the object's own code, which may change the list again. So
/// every operation has the list in order, and the entry in hand, before it does that.
template <class Interface> class CNXInterfaceList : public std::vector<CAdapt<CComPtr<Interface>>> {
  public:
    /// Gives entry `index` to the caller in *ppEntry with a reference; null for a null entry.
    void HandOut(std::size_t index, Interface** ppEntry) const {
        const CComPtr<Interface> entry = (*this)[index].m_T;
        if (entry == nullptr) {
            *ppEntry = nullptr;
        } else {
            entry->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(ppEntry));
        }
    }

    /// Puts `entry` in place of entry `index`.
    void Replace(std::size_t index, CComPtr<Interface> entry) noexcept { std::swap((*this)[index].m_T.p, entry.p); }

    /// Removes entry `index`; the later ones move down by one.
    void Remove(std::size_t index) noexcept {
        const CComPtr<Interface> removed = std::move((*this)[index].m_T);
        this->erase(this->begin() + static_cast<std::ptrdiff_t>(index));
    }
};
