// The fax program's "Send fax" dialog in miniature: it embeds the phonebook
// control through Wine's ATL host (a container nobody here wrote), lets the
// user pick one of the three address books, and records the marked
// recipients of a sent fax with Zantix.MRUList.
//
// Without DEMO_INTERACTIVE=1 it plays a scripted scenario, prints each step
// and writes screenshots into the folder named on the command line (default
// ..\demo beside the build's bin folder): choose Windows Contacts, tick two
// people, send, switch to the recently used list and see them first; search
// the Outlook contacts by name and by number.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"

#include <commctrl.h>
#include <gdiplus.h>
#include <ocidl.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kChooserId = 100;
constexpr int kSendId = 101;
constexpr int kControlId = 102;
constexpr int kStatusId = 103;
constexpr UINT kControlListId = 204;
constexpr int kSearchBoxId = 241;

struct Person {
    const wchar_t* name;
    const wchar_t* fax;
};

// The sample people every book is filled with (names already there are
// skipped by AddressBook, so running the demo twice adds nothing).
const Person kContacts[] = {
    {L"Ann Smith", L"+1-555-0100"},     {L"Bob Jones", L"555-0199"},       {L"Carla Diaz", L"+34-91-555-0123"},
    {L"Dieter Braun", L"+49-30-5550-42"}, {L"Emma Stone", L"+44-20-7946-0018"}, {L"Farid Haddad", L"+971-4-555-0107"},
    {L"Grace Liu", L"+86-10-5550-1234"}, {L"Hiro Tanaka", L"+81-3-5550-0111"},  {L"Ines Moreau", L"+33-1-5550-0456"},
    {L"Jonas Berg", L"+46-8-5550-0789"}, {L"Kofi Mensah", L"+233-30-555-0123"}, {L"Lena Novak", L"+420-2-5550-0987"},
};
const Person kOutlookContacts[] = {
    {L"Accounts Payable", L"+1-555-0300"}, {L"Legal Department", L"+1-555-0301"}, {L"Marta Silva", L"+351-21-555-0102"},
    {L"Nils Olsen", L"+47-22-55-50-10"},   {L"Olivia Park", L"+82-2-555-0145"},    {L"Pavel Ivanov", L"+7-495-555-0199"},
};

std::string Narrow(const std::wstring& text) {
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(length), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), result.data(), length, nullptr, nullptr);
    return result;
}

void Say(const char* format, const std::wstring& text = {}) {
    std::printf(format, Narrow(text).c_str());
    std::fflush(stdout);
}

template <class I>
com::ComPtr<I> CreateObject(const wchar_t* progId) {
    com::ComPtr<I> object;
    CLSID clsid{};
    if (SUCCEEDED(::CLSIDFromProgID(progId, &clsid)))
        ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(I), object.put_void());
    return object;
}

void AddPeople(IAddressBook* book, long which, const Person* people, size_t count) {
    std::vector<std::wstring> names, numbers;
    for (size_t i = 0; i < count; ++i) {
        names.push_back(people[i].name);
        numbers.push_back(people[i].fax);
    }
    com::UniqueSafeArray nameArray, numberArray;
    com::MakeStringArray(names, nameArray.put());
    com::MakeStringArray(numbers, numberArray.put());
    book->SelectAddressBook(which);
    const HRESULT hr = book->AddNewContacts(nameArray.get(), numberArray.get());
    std::printf("  %s: AddNewContacts of %zu people -> 0x%08lX%s\n", which ? "Outlook" : "Windows Contacts", count,
                static_cast<unsigned long>(hr), hr == S_FALSE ? " (all or some were there already)" : "");
}

// Runs the message loop for a while, so that the control loads and paints.
void Pump(DWORD ms) {
    const ULONGLONG end = ::GetTickCount64() + ms;
    for (;;) {
        MSG msg;
        while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&msg);
            ::DispatchMessageW(&msg);
        }
        const ULONGLONG now = ::GetTickCount64();
        if (now >= end) return;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, DWORD(end - now), QS_ALLINPUT);
    }
}

// Prints every OnItemSelected the control fires.
class EventSink : public IDispatch {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == DIID_IVelPhonebookControlEvents) {
            *out = static_cast<IDispatch*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*, UINT*) override {
        // Arguments come last to first.
        if (id == 1 && params && params->cArgs == 3)
            std::printf("  event OnItemSelected(nItem %ld, bSelect %s, nSelCount %ld)\n", long(params->rgvarg[2].lVal),
                        params->rgvarg[1].boolVal ? "true" : "false", long(params->rgvarg[0].lVal));
        return S_OK;
    }
};

class FaxDialog {
public:
    bool Create(const wchar_t* progId = L"Zantix.VelPhonebookControl", const wchar_t* title = L"Send fax") {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &FaxDialog::WindowProc;
        windowClass.hInstance = ::GetModuleHandleW(nullptr);
        windowClass.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
        windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        windowClass.lpszClassName = L"DemoSendFax";
        ::RegisterClassW(&windowClass);  // a second dialog finds it registered
        // Laid out at 96 dots per inch and scaled to the screen's.
        const HDC screen = ::GetDC(nullptr);
        const int dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
        ::ReleaseDC(nullptr, screen);
        const auto scale = [dpi](int value) { return ::MulDiv(value, dpi, 96); };
        m_window = ::CreateWindowExW(0, windowClass.lpszClassName, title, WS_OVERLAPPEDWINDOW, 40, 40, scale(520),
                                     scale(520),
                                     nullptr, nullptr, windowClass.hInstance, this);
        if (!m_window) return false;
        const HFONT font = static_cast<HFONT>(::GetStockObject(DEFAULT_GUI_FONT));
        const auto child = [&](const wchar_t* cls, const wchar_t* text, DWORD style, int x, int y, int w, int h,
                               int id) {
            const HWND hwnd = ::CreateWindowExW(0, cls, text, WS_CHILD | WS_VISIBLE | style, scale(x), scale(y),
                                                scale(w), scale(h), m_window,
                                                reinterpret_cast<HMENU>(INT_PTR(id)), nullptr, nullptr);
            ::SendMessageW(hwnd, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
            return hwnd;
        };
        child(L"STATIC", L"Address book:", 0, 12, 15, 90, 20, -1);
        m_chooser = child(L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_TABSTOP, 105, 12, 200, 200, kChooserId);
        for (const wchar_t* book : {L"Windows address book", L"Outlook contacts", L"Recently used"})
            ::SendMessageW(m_chooser, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(book));
        ::SendMessageW(m_chooser, CB_SETCURSEL, 0, 0);
        m_host = child(L"AtlAxWin100", progId, WS_TABSTOP, 12, 45, 480, 380, kControlId);
        m_send = child(L"BUTTON", L"Send", BS_PUSHBUTTON | WS_TABSTOP, 392, 435, 100, 28, kSendId);
        m_status = child(L"STATIC", L"", 0, 12, 440, 370, 20, kStatusId);
        ::ShowWindow(m_window, SW_SHOW);
        return true;
    }

    HWND window() const { return m_window; }
    HWND host() const { return m_host; }
    void SetControl(com::ComPtr<IVelPhonebookControl3> control) { m_control = std::move(control); }
    IVelPhonebookControl3* control() const { return m_control.get(); }

    // The book of the chooser: index 0 Windows, 1 Outlook, 2 recently used.
    void Choose(int index) {
        ::SendMessageW(m_chooser, CB_SETCURSEL, WPARAM(index), 0);
        OnChooserChanged();
    }

    // Records the marked recipients of the fax with MRUList.UpdateMRU.
    void Send() {
        if (!m_control) return;
        std::wstring text;
        const int marked = int(m_control->GetSelItemCount());
        for (int from = -1;;) {
            ULONG key = 0;
            com::UniqueBstr name, number;
            const int item = int(m_control->GetSelItem(from, &key, name.put(), number.put()));
            if (item < 0) break;
            if (!text.empty()) text += L';';
            text += com::FromBstr(name.get()) + L' ' + com::FromBstr(number.get());
            from = item;
        }
        Say("  sending to %s\n", text);
        const com::ComPtr<IMRUList> mru = CreateObject<IMRUList>(L"Zantix.MRUList");
        const com::UniqueBstr list(com::AllocBstr(text));
        if (mru) mru->UpdateMRU(list.get());
        wchar_t status[64];
        swprintf(status, 64, L"Fax sent to %d recipient(s).", marked);
        ::SetWindowTextW(m_status, status);
    }

    // Types into the control's search box as a user does, one key at a time
    // (Enter ticks the first match); empty text clears it with Escape.
    void Search(const std::wstring& text, bool enter = false) const {
        const HWND dialog = ::GetWindow(m_host, GW_CHILD);
        const HWND box = dialog ? ::GetDlgItem(dialog, kSearchBoxId) : nullptr;
        if (!box) return;
        ::SetFocus(box);
        if (text.empty()) ::SendMessageW(box, WM_KEYDOWN, VK_ESCAPE, 1);
        for (const wchar_t c : text) ::SendMessageW(box, WM_CHAR, c, 1);
        if (enter) ::SendMessageW(box, WM_KEYDOWN, VK_RETURN, 1);
    }
    // Ticks a row as the user would: the list's own check box.
    void Tick(int row) const {
        const HWND dialog = ::GetWindow(m_host, GW_CHILD);
        const HWND list = dialog ? ::GetDlgItem(dialog, kControlListId) : nullptr;
        LVITEMW item{};
        item.stateMask = LVIS_STATEIMAGEMASK;
        item.state = INDEXTOSTATEIMAGEMASK(2);
        if (list) ::SendMessageW(list, LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&item));
    }

private:
    void OnChooserChanged() {
        const int index = int(::SendMessageW(m_chooser, CB_GETCURSEL, 0, 0));
        const long books[] = {0, 1, -1};
        if (m_control && index >= 0 && index < 3) {
            const HRESULT hr = m_control->SelectOutlookAddressBook(books[index]);
            std::printf("  SelectOutlookAddressBook(%ld) -> 0x%08lX\n", books[index], static_cast<unsigned long>(hr));
        }
    }

    static LRESULT CALLBACK WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE)
            ::SetWindowLongPtrW(hwnd, GWLP_USERDATA,
                                reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        auto* self = reinterpret_cast<FaxDialog*>(::GetWindowLongPtrW(hwnd, GWLP_USERDATA));
        switch (message) {
        case WM_COMMAND:
            if (LOWORD(wParam) == kSendId && HIWORD(wParam) == BN_CLICKED) self->Send();
            if (LOWORD(wParam) == kChooserId && HIWORD(wParam) == CBN_SELCHANGE) self->OnChooserChanged();
            return 0;
        case WM_DESTROY:
            ::PostQuitMessage(0);
            return 0;
        default:
            return ::DefWindowProcW(hwnd, message, wParam, lParam);
        }
    }

    HWND m_window = nullptr, m_chooser = nullptr, m_host = nullptr, m_send = nullptr, m_status = nullptr;
    com::ComPtr<IVelPhonebookControl3> m_control;
};

// Saves what the window shows on the screen as a PNG file.
void Screenshot(HWND window, const std::wstring& path) {
    ::RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    Pump(200);
    RECT rect{};
    ::GetWindowRect(window, &rect);
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, width, height);
    const HGDIOBJ old = ::SelectObject(memory, bitmap);
    ::BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
    ::SelectObject(memory, old);
    {
        Gdiplus::Bitmap image(bitmap, nullptr);
        // The PNG encoder of GDI+.
        const CLSID png = {0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};
        const bool saved = image.Save(path.c_str(), &png, nullptr) == Gdiplus::Ok;
        Say(saved ? "  screenshot %s\n" : "  could not write %s\n", path);
    }
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
}

void PrintList(IVelPhonebookControl3* control, int rows) {
    const int count = int(control->GetItemCount());
    std::printf("  %d recipient(s) in the list%s\n", count, count > rows ? ", the first:" : ":");
    for (int i = 0; i < count && i < rows; ++i) {
        ULONG key = 0;
        com::UniqueBstr name, number;
        control->GetItem(i, &key, name.put(), number.put());
        std::printf("    %-20s %s\n", Narrow(com::FromBstr(name.get())).c_str(),
                    Narrow(com::FromBstr(number.get())).c_str());
    }
}

// Waits until the control has filled its list after a change of book.
void WaitForList(IVelPhonebookControl3* control) {
    for (int turn = 0; turn < 30 && control->GetItemCount() == 0; ++turn) Pump(100);
    Pump(300);
}

// Three faxes sent earlier, so that the recently used list has a history.
void RecordHistory() {
    const auto mru = CreateObject<IMRUList>(L"Zantix.MRUList");
    if (!mru) return;
    for (const wchar_t* fax : {L"Carla Diaz +34-91-555-0123;Ann Smith +1-555-0100",
                               L"Dieter Braun +49-30-5550-42;+44-20-7946-0018"}) {
        Say("  sent fax to: %s\n", fax);
        const com::UniqueBstr text(com::AllocBstr(fax));
        mru->UpdateMRU(text.get());
    }
    com::UniqueBstr list;
    mru->GetMRU(list.put());
    Say("  recently used: %s\n", com::FromBstr(list.get()));
}

// The newer send dialog with Zantix.VelPhonebookControl2: check boxes on
// every row and in the header, the favourite star last, sorting by header.
void RunSecondControl(const std::wstring& shots, HRESULT(WINAPI* getControl)(HWND, IUnknown**)) {
    std::printf("Opening the newer Send fax dialog with the second phonebook control\n");
    FaxDialog dialog;
    if (!dialog.Create(L"Zantix.VelPhonebookControl2", L"Send fax (newer)")) return;
    com::ComPtr<IUnknown> unknown;
    getControl(dialog.host(), unknown.put());
    dialog.SetControl(unknown.query<IVelPhonebookControl3>());
    IVelPhonebookControl3* control = dialog.control();
    if (!control) {
        std::printf("  the second control is not registered in this build\n");
        ::DestroyWindow(dialog.window());
        return;
    }
    std::printf("7. The Windows address book, sorted by name, two people ticked\n");
    dialog.Choose(0);
    WaitForList(control);
    control->SetSortMode(1);
    dialog.Tick(0);
    dialog.Tick(2);
    Pump(300);
    PrintList(control, 5);
    std::printf("  %ld marked\n", long(control->GetSelItemCount()));
    Screenshot(dialog.window(), shots + L"\\4-second-control.png");
    std::printf("8. The recently used list, by fax number descending\n");
    dialog.Choose(2);
    WaitForList(control);
    control->SetSortMode(-2);
    Pump(300);
    PrintList(control, 4);
    Screenshot(dialog.window(), shots + L"\\5-second-control-recent.png");
    dialog.SetControl({});
    unknown.reset();
    if (::IsWindow(dialog.window())) ::DestroyWindow(dialog.window());
    Pump(100);
}

int RunDemo(const std::wstring& shots, bool interactive) {
    std::printf("Recording earlier faxes with Zantix.MRUList\n");
    RecordHistory();
    std::printf("Filling the address books with sample people\n");
    if (const auto book = CreateObject<IAddressBook>(L"Zantix.AddressBook")) {
        AddPeople(book.get(), 0, kContacts, std::size(kContacts));
        AddPeople(book.get(), 1, kOutlookContacts, std::size(kOutlookContacts));
    } else {
        std::printf("  Zantix.AddressBook is not registered\n");
        return 1;
    }

    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    using InitFn = BOOL(WINAPI*)();
    using GetControlFn = HRESULT(WINAPI*)(HWND, IUnknown**);
    const auto init = reinterpret_cast<InitFn>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxWinInit")));
    const auto getControl =
        reinterpret_cast<GetControlFn>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxGetControl")));
    if (!atl || !init || !getControl || !init()) {
        std::printf("Wine's ATL host (atl100.dll) is not available\n");
        return 1;
    }

    std::printf("Opening the Send fax dialog with the phonebook control\n");
    FaxDialog dialog;
    if (!dialog.Create()) return 1;
    com::ComPtr<IUnknown> unknown;
    getControl(dialog.host(), unknown.put());
    dialog.SetControl(unknown.query<IVelPhonebookControl3>());
    if (!dialog.control()) {
        // A build without the control still shows what the objects did.
        std::printf("  the phonebook control is not registered in this build; nothing more to show\n");
        ::DestroyWindow(dialog.window());
        return 0;
    }
    EventSink sink;
    DWORD cookie = 0;
    com::ComPtr<IConnectionPoint> point;
    if (const auto container = unknown.query<IConnectionPointContainer>())
        container->FindConnectionPoint(DIID_IVelPhonebookControlEvents, point.put());
    if (point) point->Advise(&sink, &cookie);

    if (interactive) {
        std::printf("Interactive: close the window to end the demo\n");
        MSG msg;
        while (::GetMessageW(&msg, nullptr, 0, 0) > 0) {
            if (!::IsDialogMessageW(dialog.window(), &msg)) {
                ::TranslateMessage(&msg);
                ::DispatchMessageW(&msg);
            }
        }
    } else {
        IVelPhonebookControl3* control = dialog.control();
        std::printf("1. Choose the Windows address book (Windows Contacts)\n");
        dialog.Choose(0);
        WaitForList(control);
        PrintList(control, 5);
        std::printf("2. Switch check boxes on (the column named \"Send\") and tick two people\n");
        com::UniqueBstr send(::SysAllocString(L"Send"));
        control->EnableCheckBoxes(TRUE, send.get());
        dialog.Tick(1);
        dialog.Tick(3);
        Pump(300);
        std::printf("  %ld marked\n", long(control->GetSelItemCount()));
        Screenshot(dialog.window(), shots + L"\\1-windows-contacts-ticked.png");
        std::printf("3. Send the fax\n");
        dialog.Send();
        std::printf("4. Switch to the recently used list: the two come first\n");
        dialog.Choose(2);
        WaitForList(control);
        PrintList(control, 4);
        Screenshot(dialog.window(), shots + L"\\2-recently-used.png");
        std::printf("5. Switch to Outlook contacts\n");
        dialog.Choose(1);
        WaitForList(control);
        PrintList(control, 3);
        Screenshot(dialog.window(), shots + L"\\3-outlook.png");
        std::printf("6. Search the Outlook contacts: \"silva\" and Enter ticks the first match, \"4722\" (digits\n"
                    "   without separators) finds the Oslo number; the ticked row stays shown\n");
        dialog.Search(L"silva", true);
        dialog.Search(L"");
        dialog.Search(L"4722");
        Pump(300);
        PrintList(control, 3);
        std::printf("  %ld marked\n", long(control->GetSelItemCount()));
        Screenshot(dialog.window(), shots + L"\\6-search.png");
        dialog.Search(L"");
    }
    if (point) point->Unadvise(cookie);
    point.reset();
    dialog.SetControl({});
    unknown.reset();
    if (::IsWindow(dialog.window())) ::DestroyWindow(dialog.window());
    Pump(100);
    if (!interactive) RunSecondControl(shots, getControl);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_WIN95_CLASSES | ICC_STANDARD_CLASSES};
    ::InitCommonControlsEx(&controls);
    Gdiplus::GdiplusStartupInput gdiplusInput;
    ULONG_PTR gdiplus = 0;
    Gdiplus::GdiplusStartup(&gdiplus, &gdiplusInput, nullptr);

    const std::wstring shots = argc > 1 ? argv[1] : L"..\\demo";
    ::CreateDirectoryW(shots.c_str(), nullptr);
    wchar_t interactive[8] = {};
    ::GetEnvironmentVariableW(L"DEMO_INTERACTIVE", interactive, 8);
    const int status = RunDemo(shots, std::wstring(interactive) == L"1");

    Gdiplus::GdiplusShutdown(gdiplus);
    ::CoFreeUnusedLibraries();
    ::CoUninitialize();
    return status;
}
