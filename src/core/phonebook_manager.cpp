// Creating, connecting and replacing the current address-book source.
#include "core/phonebook_manager.h"

#include "com/unique_any.h"
#include "localization/language.h"
#include "sources/mru_ab.h"
#include "sources/oab.h"
#include "sources/wab5.h"
#include "sources/wab6.h"

#include <new>

namespace {

constexpr wchar_t kRecipientsKeyPath[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";
constexpr wchar_t kPreferredBookValue[] = L"AddressBook";

template <class Source>
std::unique_ptr<IAB> MakeSource() {
    return std::unique_ptr<IAB>(new (std::nothrow) Source());
}

}  // namespace

// The owner is gone by now, so its hooks cannot be called: an owner that
// listens to Outlook closes the source itself first (as the controls do).
// What is left is only disconnected, so that nothing stays connected.
CPhonebookManager::~CPhonebookManager() {
    if (m_source) m_source->Disconnect();
}

bool CPhonebookManager::SystemHasWindowsContacts() {
    return localization::CurrentWindowsVersion().major >= 6;
}

HRESULT CPhonebookManager::OpenSource() {
    CloseSource();
    switch (m_kind) {
    case kOutlookBook: {
        std::unique_ptr<IAB> source = MakeSource<COAB>();
        if (!source) return E_OUTOFMEMORY;
        HRESULT hr = source->Connect();
        if (FAILED(hr)) return hr;
        // The owner's sink must see the source that it connects to.
        m_source = std::move(source);
        hr = OnOutlookConnected();
        if (SUCCEEDED(hr)) return hr;
        m_source->Disconnect();
        m_source.reset();
        return hr;
    }
    case kWindowsBook:
        return OpenWindowsBook();
    case kMRUBook: {
        std::unique_ptr<IAB> source = MakeSource<CMRUAB>();
        if (!source) return E_OUTOFMEMORY;
        const HRESULT hr = source->Connect();
        if (SUCCEEDED(hr)) m_source = std::move(source);
        return hr;
    }
    default:
        return E_INVALIDARG;
    }
}

HRESULT CPhonebookManager::OpenWindowsBook() {
    const bool contacts = m_useWindowsContacts;
    std::unique_ptr<IAB> source = contacts ? MakeSource<CWAB6>() : MakeSource<CWAB5>();
    if (!source) return E_OUTOFMEMORY;
    const HRESULT hr = source->Connect();
    if (SUCCEEDED(hr)) {
        m_source = std::move(source);
        return hr;
    }
    source.reset();
    if (!contacts) return hr;
    // Windows Contacts is not usable here: fall back to the Windows Address
    // Book once, and for good.
    m_useWindowsContacts = false;
    return OpenWindowsBook();
}

void CPhonebookManager::CloseSource() {
    ++m_sourceGeneration;
    if (!m_source) return;
    // By what the source is, not by the kind: the kind may have been set for
    // the next opening already.
    if (dynamic_cast<COAB*>(m_source.get())) OnOutlookDisconnecting();
    m_source->Disconnect();
    m_source.reset();
}

void CPhonebookManager::SetNotifyWindow(HWND window, bool enable) {
    if (m_source && m_kind != kOutlookBook) m_source->SetNotifyWindow(window, enable);
}

HRESULT CPhonebookManager::SelectKind(int kind, bool* replaced) {
    if (replaced) *replaced = false;
    if (!IsKnownKind(kind)) return E_INVALIDARG;
    if (kind == m_kind) return S_OK;
    const HWND window = GetNotifyWindow();
    SetNotifyWindow(window, false);
    CloseSource();
    m_kind = kind;
    const HRESULT hr = OpenSource();
    SetNotifyWindow(window, true);
    if (replaced) *replaced = true;
    return hr;
}

HRESULT CPhonebookManager::ReopenKind() {
    const HWND window = GetNotifyWindow();
    SetNotifyWindow(window, false);
    CloseSource();
    const HRESULT hr = OpenSource();
    SetNotifyWindow(window, true);
    return hr;
}

int CPhonebookManagerStandalone::ReadPreferredKind() {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (::RegGetValueW(HKEY_CURRENT_USER, kRecipientsKeyPath, kPreferredBookValue, RRF_RT_REG_DWORD, nullptr, &value,
                       &size) != ERROR_SUCCESS)
        return kWindowsBook;
    return int(value);
}
