#include "automation/nxexceptions.h"

HRESULT CopyToBstr(const CNKString& text, BSTR* pbsCopy) noexcept {
    try {
        *pbsCopy = text.copy();
        return S_OK;
    } catch (const _com_error& error) {
        return error.Error();
    }
}
