#include "automation/exceptions.h"

HRESULT CopyText(const CNKString& text, BSTR* pbsCopy) noexcept {
    try {
        *pbsCopy = text.copy();
        return S_OK;
    } catch (const _com_error& error) {
        return error.Error();
    }
}
