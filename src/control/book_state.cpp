// Probing the Windows Address Book.
#include "control/book_state.h"

#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "sources/wab5.h"

namespace control {

bool IsAddressBookLibrarySource(const IAB* source) noexcept {
    return dynamic_cast<const CWAB5*>(source) != nullptr;
}

HRESULT ProbeWindowsAddressBook(bool vistaOrLater) {
    const std::wstring path = CWAB5::LocateLibrary(vistaOrLater);
    if (path.empty()) return REGDB_E_CLASSNOTREG;
    com::UniqueModule library(::LoadLibraryW(path.c_str()));
    if (!library) return HRESULT_FROM_WIN32(::GetLastError());
    const auto open =
        reinterpret_cast<LPWABOPEN>(reinterpret_cast<void*>(::GetProcAddress(library.get(), kWABOpenName)));
    if (!open) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    // Released before the library goes (declared after it).
    com::ComPtr<IAddrBook> book;
    com::ComPtr<IWABObject> object;
    WAB_PARAM param{};
    param.cbSize = kWABParamSize;
    param.ulFlags = kWABOpenFlags;
    const HRESULT hr = open(book.put(), object.put(), &param, 0);
    if (FAILED(hr)) return hr;
    return book && object ? S_OK : E_FAIL;
}

}  // namespace control
