// Stand-in for Outlook as a local COM server ("Outlook.Application"), for the
// tests of the Outlook contacts source and its event sink. It serves the part
// of Outlook's object model that the phonebook uses, under Outlook's own
// identifiers, from one process shared by every client, and exits when the
// last client lets go.
//
//   standin_outlook.exe /RegServer      registers class, ProgIDs and type library
//   standin_outlook.exe /UnregServer    removes them
//   standin_outlook.exe /Version TEXT   sets the text Application.Version answers
//                                       (no TEXT: back to the default)
//   standin_outlook.exe /TableFails M   makes the Table member M fail (GetTable,
//                                       Columns, RemoveAll, Add, GetRowCount or
//                                       GetArray; no M: nothing fails)
//   standin_outlook.exe /Fault TEXT     sets the fault below (no TEXT: none)
//   standin_outlook.exe -Embedding      how COM starts the server
//
// Settings: HKCU\Software\StandinOutlook, values "Version" (REG_SZ), read at
// every call of Version and of GetArray, "TableFails" (REG_SZ), read at
// every call of the Table members it can name, and "Fault" (REG_SZ), watched
// with a change notification, so a test may set it before Outlook starts or
// while it runs (counting starts again whenever it changes):
//   fail <Member> <N> [<hr>]    the Nth call of Member answers hr (hex or
//                               decimal; default E_FAIL); N 0: every call
//   exit <Member> <N>           the process dies at the Nth call of Member, as
//                               Outlook does when it crashes (the value is
//                               removed first, so the next start serves)
//   reject <Member> <N> <ms>    from the Nth call of Member on, Outlook is busy
//   retrylater <Member> <N> <ms>  for ms milliseconds (a modal dialog open)
// Member is a name of the object model ("Item", "GetArray", "FullName";
// a property's get and put share it), "GetIDsOfNames", one of the connection
// point calls "FindConnectionPoint", "Advise", "Unadvise", or "*" for any.
//
// Busy: Outlook refuses calls from its message filter (HandleInComingCall
// answers SERVERCALL_REJECTED or SERVERCALL_RETRYLATER); COM then gives a
// client without a message filter of its own RPC_E_CALL_REJECTED or
// RPC_E_SERVERCALL_RETRYLATER, and one with a filter its RetryRejectedCall.
// The stand-in registers such a filter. Wine's COM honours SERVERCALL_REJECTED
// (the client gets RPC_E_CALL_REJECTED) but lets a SERVERCALL_RETRYLATER call
// through (and never calls a client's RetryRejectedCall), so for that case the
// call itself answers RPC_E_SERVERCALL_RETRYLATER: what a client without a
// filter sees on Windows. The call that starts a busy spell answers the same
// code. Release and QueryInterface (IRemUnknown) are never refused, so a busy
// Outlook still lets go of what its clients drop.
//
// Scale: the store keeps an index by entry identifier, and a restricted
// collection keeps its matching items until the store changes, so Item(i),
// Count and GetItemFromID cost the same at any size, as they do in Outlook.
// Every call a client makes through IDispatch passes one place (Served<>),
// which counts it; IStandinOutlook's CallCount reads the count.
//
// Table (Outlook 2007 and later): MAPIFolder.GetTable(Filter, TableContents)
// takes a snapshot of the matching items with the default columns EntryID,
// Subject, CreationTime, LastModificationTime and MessageClass. Columns.Add
// takes those names, the item properties above, and a user property by its
// namespace name ".../mapi/string/{00020329-0000-0000-C000-000000000046}/NAME".
// A value is the property's own type (a yes/no user property a boolean),
// Empty where the item has no such property. GetArray(MaxRows) returns rows by
// columns from the current row, fewer at the end, none past it; Outlook 12
// (a Version starting with 12) refuses a MaxRows above the table's row count,
// as Outlook 2007 did.
//
// Store: <AppData>\StandinOutlook\contacts.txt, read when the server starts
// and rewritten after every change. UTF-8, one item per line, fields
// separated by a tab, each field Name=Value with \\ \t \n \r escaped:
//   EntryID=<hex>  Class=40|69  FullName=  BusinessFaxNumber=  HomeFaxNumber=
//   OtherFaxNumber=  DLName=  User:<name>=<type>:<value>   (yes/no: 1 or 0)
// A property that is empty is absent, as in a MAPI store. Items.Restrict with
// "[Prop] <> 'x'" or "[Prop] = 'x'" never matches an item without the
// property (MAPI leaves that case undefined; Outlook does not list contacts
// without the property). A distribution list written into the store with a
// BusinessFaxNumber (as another MAPI client may leave one) does match.
#include "com/dispatch.h"
#include "com/implements.h"
#include "com/strings.h"
#include "com/unique_any.h"
#include "standin_outlook_h.h"

#include <objbase.h>
#include <ocidl.h>
#include <olectl.h>
#include <shlobj.h>

#include <cstdio>
#include <cwchar>
#include <deque>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using com::ComPtr;

namespace {

constexpr CLSID kClsidApplication = {0x0006F03A, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID kLibId = {0x00062FFF, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID kDiidItemsEvents = {0x00063077, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID kDiidReminderEvents = {0x000630B2, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr wchar_t kClsidText[] = L"{0006F03A-0000-0000-C000-000000000046}";
constexpr wchar_t kLibIdText[] = L"{00062FFF-0000-0000-C000-000000000046}";
constexpr wchar_t kProgId[] = L"Outlook.Application";
constexpr wchar_t kVersionedProgId[] = L"Outlook.Application.16";
constexpr wchar_t kSettingsKey[] = L"Software\\StandinOutlook";
constexpr wchar_t kDefaultVersion[] = L"16.0.0.4266";

constexpr long olContactItem = 2, olDistributionListItem = 7;
constexpr long olContact = 40, olDistributionList = 69;
constexpr long olFolderContacts = 10;
constexpr long olYesNo = 6;
constexpr DISPID kItemAdd = 0xF001, kItemChange = 0xF002, kItemRemove = 0xF003, kBeforeReminderShow = 0xFA93;
constexpr HRESULT MAPI_E_NOT_FOUND_ = HRESULT(0x8004010F);
constexpr HRESULT MAPI_E_NO_SUPPORT_ = HRESULT(0x80040102);  // what a failing Table member answers
constexpr long olUserItems = 0, olHiddenItems = 1;
constexpr wchar_t kUserPropertyNamespace[] =
    L"http://schemas.microsoft.com/mapi/string/{00020329-0000-0000-C000-000000000046}/";
constexpr double kItemTime = 45000.0;  // 2023-03-15: creation and change time of every item
constexpr UINT kFireMessage = WM_APP + 1;
constexpr UINT_PTR kIdleTimer = 1;
constexpr UINT kIdleMs = 60000;  // a server nobody ever connects to gives up

// The registration of the class object, while it is registered.
DWORD g_classCookie = 0;

// The server ends when its last reference goes. Windows then suspends the
// process's class objects (CoReleaseServerProcess), so that a client arriving
// meanwhile gets a new server rather than the ending one; Wine does not, and
// would hand out the ending server's class object (the client then sees
// "class not registered"). The class object is taken back here, as Windows
// would.
void StopServing() {
    if (g_classCookie) ::CoRevokeClassObject(std::exchange(g_classCookie, 0));
    ::PostQuitMessage(0);
}

// Every object that clients hold keeps the server process alive.
class ServerRef {
public:
    ServerRef() noexcept { ::CoAddRefServerProcess(); }
    ~ServerRef() {
        if (::CoReleaseServerProcess() == 0) StopServing();
    }
    ServerRef(const ServerRef&) = delete;
    ServerRef& operator=(const ServerRef&) = delete;
};

// Calls served to clients since the server started.
long g_callsServed = 0;
// ---------------------------------------------------------------- faults --

// The fault a test asked for (the "Fault" setting) and how far it got.
class Faults {
public:
    enum class Kind { None, Fail, Exit, Reject, RetryLater };

    static Faults& Instance() {
        static Faults faults;
        return faults;
    }

    // Reads the setting again when it changed since the last call.
    void Refresh() {
        if (!m_changed) {
            ::RegCreateKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, 0, KEY_READ | KEY_NOTIFY, nullptr,
                              m_key.put(), nullptr);
            m_changed.reset(::CreateEventW(nullptr, FALSE, TRUE, nullptr));
        }
        if (::WaitForSingleObject(m_changed.get(), 0) != WAIT_OBJECT_0) return;
        ::RegNotifyChangeKeyValue(m_key.get(), FALSE, REG_NOTIFY_CHANGE_LAST_SET, m_changed.get(), TRUE);
        Parse(ReadSetting());
    }

    // Whether Outlook is busy now, and with which answer.
    bool Busy() const { return m_busyUntil != 0 && ::GetTickCount64() < m_busyUntil; }
    Kind BusyKind() const { return m_kind; }
    HRESULT BusyAnswer() const {
        return m_kind == Kind::Reject ? RPC_E_CALL_REJECTED : RPC_E_SERVERCALL_RETRYLATER;
    }

    // One call of a member: what it answers before it does its work.
    HRESULT Call(const wchar_t* member) {
        Refresh();
        if (Busy()) return BusyAnswer();
        if (m_kind == Kind::None || (m_member != L"*" && _wcsicmp(m_member.c_str(), member) != 0))
            return S_OK;
        ++m_count;
        switch (m_kind) {
            case Kind::Fail:
                return m_n == 0 || m_count == m_n ? m_hr : S_OK;
            case Kind::Exit:
                if (m_count != m_n) return S_OK;
                // The next Outlook started serves again. Windows' activation
                // notices a server that died and starts another; Wine's keeps
                // handing out the dead one's class object, so it is taken
                // back first (nothing a client sees: its calls still fail).
                ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, L"Fault");
                if (g_classCookie) ::CoRevokeClassObject(g_classCookie);
                ::TerminateProcess(::GetCurrentProcess(), 0xDEAD);
                return E_UNEXPECTED;
            case Kind::Reject:
            case Kind::RetryLater:
                if (m_count < m_n || m_busyUntil != 0) return S_OK;
                m_busyUntil = ::GetTickCount64() + ULONGLONG(m_ms);
                return BusyAnswer();
            default:
                return S_OK;
        }
    }

private:
    static std::wstring ReadSetting() {
        wchar_t text[256] = {};
        DWORD bytes = sizeof(text) - sizeof(wchar_t);
        if (::RegGetValueW(HKEY_CURRENT_USER, kSettingsKey, L"Fault", RRF_RT_REG_SZ, nullptr, text, &bytes) !=
            ERROR_SUCCESS)
            return {};
        return text;
    }

    void Parse(const std::wstring& text) {
        m_kind = Kind::None;
        m_count = 0;
        m_busyUntil = 0;
        std::wistringstream in(text);
        std::wstring kind, member, arg;
        long n = 0;
        if (!(in >> kind >> member >> n) || n < 0) return;
        in >> arg;
        m_member = member;
        m_n = n;
        m_hr = E_FAIL;
        m_ms = 0;
        if (_wcsicmp(kind.c_str(), L"fail") == 0) {
            if (!arg.empty()) m_hr = HRESULT(std::wcstoul(arg.c_str(), nullptr, 0));
            m_kind = Kind::Fail;
        } else if (_wcsicmp(kind.c_str(), L"exit") == 0 && n > 0) {
            m_kind = Kind::Exit;
        } else if ((_wcsicmp(kind.c_str(), L"reject") == 0 || _wcsicmp(kind.c_str(), L"retrylater") == 0) &&
                   n > 0) {
            m_ms = std::wcstol(arg.c_str(), nullptr, 10);
            m_kind = _wcsicmp(kind.c_str(), L"reject") == 0 ? Kind::Reject : Kind::RetryLater;
        }
    }

    com::UniqueHKey m_key;
    com::UniqueHandle m_changed;
    Kind m_kind = Kind::None;
    std::wstring m_member;
    long m_n = 0, m_count = 0, m_ms = 0;
    HRESULT m_hr = E_FAIL;
    ULONGLONG m_busyUntil = 0;
};

// Outlook's message filter: while busy, every incoming call but the ones
// that manage references is refused.
class MessageFilter : public com::Implements<MessageFilter, IMessageFilter> {
public:
    STDMETHODIMP_(DWORD)
    HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO info) noexcept override {
        static constexpr IID kRemUnknown = {0x00000131, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        static constexpr IID kRemUnknown2 = {0x00000143, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        Faults& faults = Faults::Instance();
        faults.Refresh();
        if (!faults.Busy() || (info && (info->iid == kRemUnknown || info->iid == kRemUnknown2 ||
                                        info->iid == IID_IUnknown)))
            return SERVERCALL_ISHANDLED;
        return faults.BusyKind() == Faults::Kind::Reject ? SERVERCALL_REJECTED : SERVERCALL_RETRYLATER;
    }
    STDMETHODIMP_(DWORD) RetryRejectedCall(HTASK, DWORD, DWORD) noexcept override { return DWORD(-1); }
    STDMETHODIMP_(DWORD) MessagePending(HTASK, DWORD, DWORD) noexcept override {
        return PENDINGMSG_WAITDEFPROCESS;
    }
};

// The one place every call a client makes on Outlook's objects passes
// through: the dual interfaces' IDispatch (and the connection points). It
// counts the call and plays the fault a test asked for.
HRESULT ServeCall(const wchar_t* member) {
    ++g_callsServed;
    return Faults::Instance().Call(member);
}

template <class I>
class Served : public com::Dispatch<I> {
public:
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                               DISPID* ids) noexcept override {
        const HRESULT hr = ServeCall(L"GetIDsOfNames");
        if (FAILED(hr)) return hr;
        return com::Dispatch<I>::GetIDsOfNames(iid, names, count, lcid, ids);
    }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* excepInfo, UINT* argError) noexcept override {
        const HRESULT hr = ServeCall(MemberName(id).c_str());
        if (FAILED(hr)) return hr;
        return com::Dispatch<I>::Invoke(id, iid, lcid, flags, params, result, excepInfo, argError);
    }

private:
    static std::wstring MemberName(DISPID id) {
        ComPtr<ITypeInfo> info;
        if (FAILED(com::Module::GetTypeInfo(__uuidof(I), info.put()))) return {};
        BSTR name = nullptr;
        UINT found = 0;
        if (FAILED(info->GetNames(id, &name, 1, &found)) || found == 0) return {};
        com::UniqueBstr owner(name);
        return com::FromBstr(owner.get());
    }
};

// ---------------------------------------------------------------- store --

struct UserProp {
    std::wstring name;
    long type = 1;
    std::wstring value;
};

struct Record {
    std::wstring entryId;
    long objectClass = olContact;
    std::map<std::wstring, std::wstring> props;
    std::vector<UserProp> user;

    std::wstring Get(const std::wstring& name) const {
        const auto found = props.find(name);
        return found == props.end() ? std::wstring() : found->second;
    }
    void Set(const std::wstring& name, const std::wstring& value) {
        if (value.empty())
            props.erase(name);
        else
            props[name] = value;
    }
};

std::string ToUtf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int n =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(size_t(n), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::wstring FromUtf8(const std::string& text) {
    if (text.empty()) return {};
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0);
    std::wstring out(size_t(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), out.data(), n);
    return out;
}

std::wstring Escape(const std::wstring& text) {
    std::wstring out;
    for (wchar_t c : text) {
        switch (c) {
            case L'\\':
                out += L"\\\\";
                break;
            case L'\t':
                out += L"\\t";
                break;
            case L'\n':
                out += L"\\n";
                break;
            case L'\r':
                out += L"\\r";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::wstring Unescape(const std::wstring& text) {
    std::wstring out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != L'\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const wchar_t c = text[++i];
        out += c == L't' ? L'\t' : c == L'n' ? L'\n' : c == L'r' ? L'\r' : c;
    }
    return out;
}

class ItemsObject;
class RemindersObject;
class ItemBase;

class Store {
public:
    static Store& Instance() {
        static Store store;
        return store;
    }

    static std::wstring Path() {
        wchar_t appData[MAX_PATH] = {};
        ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
        return std::wstring(appData) + L"\\StandinOutlook\\contacts.txt";
    }

    void Load() {
        Changed();
        m_records.clear();
        std::ifstream file(Path().c_str(), std::ios::binary);
        std::string line;
        while (std::getline(file, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty()) continue;
            Record record;
            std::wstringstream fields(FromUtf8(line));
            std::wstring field;
            while (std::getline(fields, field, L'\t')) {
                const size_t eq = field.find(L'=');
                if (eq == std::wstring::npos) continue;
                const std::wstring name = field.substr(0, eq);
                const std::wstring value = Unescape(field.substr(eq + 1));
                if (name == L"EntryID")
                    record.entryId = value;
                else if (name == L"Class")
                    record.objectClass = std::wcstol(value.c_str(), nullptr, 10);
                else if (name.rfind(L"User:", 0) == 0) {
                    const size_t colon = value.find(L':');
                    UserProp prop{name.substr(5), std::wcstol(value.c_str(), nullptr, 10),
                                  colon == std::wstring::npos ? L"" : value.substr(colon + 1)};
                    record.user.push_back(prop);
                } else
                    record.Set(name, value);
            }
            if (record.entryId.empty()) record.entryId = NewEntryId();
            m_records.push_back(std::move(record));
        }
    }

    void Save() const {
        const std::wstring path = Path();
        ::CreateDirectoryW(path.substr(0, path.find_last_of(L'\\')).c_str(), nullptr);
        std::ofstream file(path.c_str(), std::ios::binary | std::ios::trunc);
        for (const Record& r : m_records) {
            std::wstring line =
                L"EntryID=" + Escape(r.entryId) + L"\tClass=" + std::to_wstring(r.objectClass);
            for (const auto& [name, value] : r.props) line += L"\t" + name + L"=" + Escape(value);
            for (const UserProp& u : r.user)
                line += L"\tUser:" + u.name + L"=" + std::to_wstring(u.type) + L":" + Escape(u.value);
            file << ToUtf8(line) << "\n";
        }
    }

    const std::vector<Record>& Records() const { return m_records; }
    // Changes with every change of the store: what was derived from the
    // records (and pointers to them) is stale once it differs.
    unsigned Generation() const { return m_generation; }

    const Record* Find(const std::wstring& entryId) {
        if (m_indexGeneration != m_generation) {
            m_index.clear();
            for (size_t i = 0; i < m_records.size(); ++i) m_index.emplace(m_records[i].entryId, i);
            m_indexGeneration = m_generation;
        }
        const auto found = m_index.find(entryId);
        return found == m_index.end() ? nullptr : &m_records[found->second];
    }

    void Insert(Record& record) {
        Changed();
        record.entryId = NewEntryId();
        m_records.push_back(record);
        Save();
        Post(kItemAdd, record.entryId);
    }

    HRESULT Update(const Record& record) {
        Record* stored = const_cast<Record*>(Find(record.entryId));
        if (!stored) return MAPI_E_NOT_FOUND_;
        Changed();
        *stored = record;
        Save();
        Post(kItemChange, record.entryId);
        return S_OK;
    }

    HRESULT Remove(const std::wstring& entryId) {
        const Record* stored = Find(entryId);
        if (!stored) return MAPI_E_NOT_FOUND_;
        Changed();
        m_records.erase(m_records.begin() + (stored - m_records.data()));
        Save();
        Post(kItemRemove, entryId);
        return S_OK;
    }

    // Event sources alive in this process.
    std::vector<ItemsObject*> items;
    std::vector<RemindersObject*> reminders;
    HWND window = nullptr;

    // Outlook raises item events from its own message loop after the change,
    // not inside the caller's Save: so does the stand-in.
    void Post(DISPID event, const std::wstring& entryId) {
        m_pending.push_back({event, entryId});
        ::PostMessageW(window, kFireMessage, 0, 0);
    }
    bool TakePending(DISPID& event, std::wstring& entryId) {
        if (m_pending.empty()) return false;
        event = m_pending.front().first;
        entryId = m_pending.front().second;
        m_pending.pop_front();
        return true;
    }

private:
    void Changed() { ++m_generation; }

    std::wstring NewEntryId() {
        GUID guid{};
        ::CoCreateGuid(&guid);
        wchar_t text[80];
        std::swprintf(text, 80, L"00000000%08lX%04X%04X%02X%02X%02X%02X%02X%02X%02X%02X%08X", guid.Data1,
                      guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
                      guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7], ++m_counter);
        return text;
    }

    std::vector<Record> m_records;
    std::deque<std::pair<DISPID, std::wstring>> m_pending;
    unsigned m_counter = 0;
    unsigned m_generation = 1;
    std::unordered_map<std::wstring, size_t> m_index;
    unsigned m_indexGeneration = 0;
};

HRESULT ReturnText(const std::wstring& text, BSTR* out) {
    if (!out) return E_POINTER;
    *out = com::AllocBstr(text);
    return *out ? S_OK : E_OUTOFMEMORY;
}

template <class T, class I>
HRESULT ReturnObject(const ComPtr<T>& object, I** out) {
    if (!out) return E_POINTER;
    *out = static_cast<I*>(object.get());
    (*out)->AddRef();
    return S_OK;
}

// ------------------------------------------------------ connection points --

// The sinks of one event interface of one object.
class EventSinks {
public:
    explicit EventSinks(REFIID iid) : m_iid(iid) {}
    const IID& iid() const { return m_iid; }

    HRESULT Advise(IUnknown* sink, DWORD* cookie) {
        if (!sink || !cookie) return E_POINTER;
        *cookie = 0;
        // Ask for the event interface as a source does; a sink that only
        // speaks IDispatch is taken too.
        ComPtr<IDispatch> dispatch;
        if (FAILED(sink->QueryInterface(m_iid, dispatch.put_void())) &&
            FAILED(sink->QueryInterface(IID_IDispatch, dispatch.put_void())))
            return CONNECT_E_CANNOTCONNECT;
        *cookie = ++m_next;
        m_sinks[*cookie] = dispatch;
        return S_OK;
    }
    HRESULT Unadvise(DWORD cookie) { return m_sinks.erase(cookie) ? S_OK : CONNECT_E_NOCONNECTION; }

    void Fire(DISPID id, DISPPARAMS& params) {
        // A sink may unadvise while it is called: call a copy.
        std::vector<ComPtr<IDispatch>> sinks;
        for (auto& [cookie, sink] : m_sinks) sinks.push_back(sink);
        for (auto& sink : sinks)
            sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr,
                         nullptr);
    }

private:
    IID m_iid;
    std::map<DWORD, ComPtr<IDispatch>> m_sinks;
    DWORD m_next = 0;
};

class ConnectionPoint : public com::Implements<ConnectionPoint, IConnectionPoint> {
public:
    ConnectionPoint(IConnectionPointContainer* container, EventSinks* sinks)
        : m_container(container), m_sinks(sinks) {}
    STDMETHODIMP GetConnectionInterface(IID* iid) noexcept override {
        if (!iid) return E_POINTER;
        *iid = m_sinks->iid();
        return S_OK;
    }
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** out) noexcept override {
        return m_container.CopyTo(out);
    }
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) noexcept override {
        if (cookie) *cookie = 0;
        RETURN_IF_FAILED(ServeCall(L"Advise"));
        return com::Boundary([&] { return m_sinks->Advise(sink, cookie); });
    }
    STDMETHODIMP Unadvise(DWORD cookie) noexcept override {
        RETURN_IF_FAILED(ServeCall(L"Unadvise"));
        return m_sinks->Unadvise(cookie);
    }
    STDMETHODIMP EnumConnections(IEnumConnections** out) noexcept override {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }

private:
    ServerRef m_server;
    ComPtr<IConnectionPointContainer> m_container;  // keeps m_sinks alive
    EventSinks* m_sinks;
};

// One event interface offered through IConnectionPointContainer.
template <const IID* Events>
class SingleEventSource : public IConnectionPointContainer {
public:
    using Interface = IConnectionPointContainer;
    SingleEventSource() : m_sinks(*Events) {}
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** out) noexcept override {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            RETURN_IF_FAILED(ServeCall(L"FindConnectionPoint"));
            if (iid != m_sinks.iid()) return CONNECT_E_NOCONNECTION;
            *out = com::Make<ConnectionPoint>(this, &m_sinks).detach();
            return S_OK;
        });
    }

protected:
    EventSinks m_sinks;
};

// ---------------------------------------------------------------- items --

class ItemBase {
public:
    Record record;
    bool deleted = false;

    HRESULT SaveRecord() {
        if (deleted) return MAPI_E_NOT_FOUND_;
        if (record.entryId.empty()) {
            Store::Instance().Insert(record);
            return S_OK;
        }
        return Store::Instance().Update(record);
    }
    HRESULT DeleteRecord() {
        if (deleted || record.entryId.empty()) return MAPI_E_NOT_FOUND_;
        const HRESULT hr = Store::Instance().Remove(record.entryId);
        if (SUCCEEDED(hr)) deleted = true;
        return hr;
    }
};

class UserPropertyObject : public com::Implements<UserPropertyObject, Served<UserProperty>> {
public:
    UserPropertyObject(IDispatch* item, ItemBase* base, std::wstring name)
        : m_item(item), m_base(base), m_name(std::move(name)) {}

    STDMETHODIMP get_Name(BSTR* out) noexcept override { return ReturnText(m_name, out); }
    STDMETHODIMP get_Type(long* out) noexcept override {
        if (!out) return E_POINTER;
        UserProp* prop = Find();
        *out = prop ? prop->type : 0;
        return prop ? S_OK : MAPI_E_NOT_FOUND_;
    }
    STDMETHODIMP get_Value(VARIANT* out) noexcept override {
        if (!out) return E_POINTER;
        ::VariantInit(out);
        UserProp* prop = Find();
        if (!prop) return MAPI_E_NOT_FOUND_;
        if (prop->type == olYesNo) {
            V_VT(out) = VT_BOOL;
            V_BOOL(out) = prop->value == L"1" ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
        V_VT(out) = VT_BSTR;
        V_BSTR(out) = com::AllocBstr(prop->value);
        return V_BSTR(out) ? S_OK : E_OUTOFMEMORY;
    }
    STDMETHODIMP put_Value(VARIANT value) noexcept override {
        UserProp* prop = Find();
        if (!prop) return MAPI_E_NOT_FOUND_;
        com::UniqueVariant converted;
        if (FAILED(::VariantChangeType(&converted, &value, 0, prop->type == olYesNo ? VT_BOOL : VT_BSTR)))
            return DISP_E_TYPEMISMATCH;
        if (prop->type == olYesNo)
            prop->value = V_BOOL(&converted) ? L"1" : L"0";
        else
            prop->value = com::FromBstr(V_BSTR(&converted));
        return S_OK;
    }

private:
    UserProp* Find() {
        for (UserProp& p : m_base->record.user)
            if (p.name == m_name) return &p;
        return nullptr;
    }
    ServerRef m_server;
    ComPtr<IDispatch> m_item;  // keeps m_base alive
    ItemBase* m_base;
    std::wstring m_name;
};

class UserPropertiesObject : public com::Implements<UserPropertiesObject, Served<UserProperties>> {
public:
    UserPropertiesObject(IDispatch* item, ItemBase* base) : m_item(item), m_base(base) {}

    STDMETHODIMP get_Count(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = long(m_base->record.user.size());
        return S_OK;
    }
    STDMETHODIMP Add(BSTR name, long type, VARIANT, VARIANT, UserProperty** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            const std::wstring text = com::FromBstr(name);
            if (text.empty()) return E_INVALIDARG;
            for (const UserProp& p : m_base->record.user)
                if (p.name == text) return E_INVALIDARG;
            m_base->record.user.push_back({text, type, type == olYesNo ? L"0" : L""});
            return ReturnObject(com::Make<UserPropertyObject>(m_item.get(), m_base, text), out);
        });
    }
    STDMETHODIMP Find(BSTR name, VARIANT, UserProperty** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            const std::wstring text = com::FromBstr(name);
            for (const UserProp& p : m_base->record.user)
                if (p.name == text)
                    return ReturnObject(com::Make<UserPropertyObject>(m_item.get(), m_base, text), out);
            return S_OK;  // Outlook answers Nothing
        });
    }

private:
    ServerRef m_server;
    ComPtr<IDispatch> m_item;
    ItemBase* m_base;
};

class ContactItemObject : public com::Implements<ContactItemObject, Served<_ContactItem>>, public ItemBase {
public:
    explicit ContactItemObject(Record r) { record = std::move(r); }

    STDMETHODIMP get_Class(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = olContact;
        return S_OK;
    }
    STDMETHODIMP get_EntryID(BSTR* out) noexcept override { return ReturnText(record.entryId, out); }
    STDMETHODIMP get_UserProperties(UserProperties** out) noexcept override {
        return com::Boundary([&] { return ReturnObject(com::Make<UserPropertiesObject>(this, this), out); });
    }
    STDMETHODIMP Delete() noexcept override {
        return com::Boundary([&] { return DeleteRecord(); });
    }
    STDMETHODIMP Save() noexcept override {
        return com::Boundary([&] { return SaveRecord(); });
    }
    STDMETHODIMP get_BusinessFaxNumber(BSTR* out) noexcept override {
        return Text(L"BusinessFaxNumber", out);
    }
    STDMETHODIMP put_BusinessFaxNumber(BSTR v) noexcept override { return SetText(L"BusinessFaxNumber", v); }
    STDMETHODIMP get_FullName(BSTR* out) noexcept override { return Text(L"FullName", out); }
    STDMETHODIMP put_FullName(BSTR v) noexcept override { return SetText(L"FullName", v); }
    STDMETHODIMP get_HomeFaxNumber(BSTR* out) noexcept override { return Text(L"HomeFaxNumber", out); }
    STDMETHODIMP put_HomeFaxNumber(BSTR v) noexcept override { return SetText(L"HomeFaxNumber", v); }
    STDMETHODIMP get_OtherFaxNumber(BSTR* out) noexcept override { return Text(L"OtherFaxNumber", out); }
    STDMETHODIMP put_OtherFaxNumber(BSTR v) noexcept override { return SetText(L"OtherFaxNumber", v); }

private:
    HRESULT Text(const wchar_t* name, BSTR* out) {
        return com::Boundary([&] { return ReturnText(record.Get(name), out); });
    }
    HRESULT SetText(const wchar_t* name, BSTR value) {
        return com::Boundary([&] {
            record.Set(name, com::FromBstr(value));
            return S_OK;
        });
    }
    ServerRef m_server;
};

class DistListItemObject : public com::Implements<DistListItemObject, Served<_DistListItem>>,
                           public ItemBase {
public:
    explicit DistListItemObject(Record r) { record = std::move(r); }

    STDMETHODIMP get_Class(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = olDistributionList;
        return S_OK;
    }
    STDMETHODIMP get_EntryID(BSTR* out) noexcept override { return ReturnText(record.entryId, out); }
    STDMETHODIMP get_UserProperties(UserProperties** out) noexcept override {
        return com::Boundary([&] { return ReturnObject(com::Make<UserPropertiesObject>(this, this), out); });
    }
    STDMETHODIMP Delete() noexcept override {
        return com::Boundary([&] { return DeleteRecord(); });
    }
    STDMETHODIMP Save() noexcept override {
        return com::Boundary([&] { return SaveRecord(); });
    }
    STDMETHODIMP get_DLName(BSTR* out) noexcept override {
        return com::Boundary([&] { return ReturnText(record.Get(L"DLName"), out); });
    }
    STDMETHODIMP put_DLName(BSTR v) noexcept override {
        return com::Boundary([&] {
            record.Set(L"DLName", com::FromBstr(v));
            return S_OK;
        });
    }

private:
    ServerRef m_server;
};

// A new item object over a copy of the record.
ComPtr<IDispatch> MakeItem(const Record& record) {
    if (record.objectClass == olDistributionList) {
        auto item = com::Make<DistListItemObject>(record);
        return ComPtr<IDispatch>(static_cast<_DistListItem*>(item.get()));
    }
    auto item = com::Make<ContactItemObject>(record);
    return ComPtr<IDispatch>(static_cast<_ContactItem*>(item.get()));
}

// "[Name] <> 'text'" or "[Name] = 'text'".
struct Filter {
    bool any = true;
    std::wstring property;
    bool equal = false;
    std::wstring value;

    bool Matches(const Record& r) const {
        if (any) return true;
        const auto found = r.props.find(property);
        if (found == r.props.end()) return false;
        return (found->second == value) == equal;
    }
};

// The filters Restrict and GetTable take; false for anything else.
bool ParseFilter(const std::wstring& text, Filter& filter) {
    static const std::wregex pattern(L"^\\s*\\[(\\w+)\\]\\s*(<>|=)\\s*'([^']*)'\\s*$");
    std::wsmatch match;
    if (!std::regex_match(text, match, pattern)) return false;
    static const wchar_t* const known[] = {L"FullName", L"BusinessFaxNumber", L"HomeFaxNumber",
                                           L"OtherFaxNumber", L"DLName"};
    if (std::find(std::begin(known), std::end(known), match[1].str()) == std::end(known)) return false;
    filter = Filter{false, match[1].str(), match[2].str() == L"=", match[3].str()};
    return true;
}

class ItemsObject
    : public com::Implements<ItemsObject, Served<_Items>, SingleEventSource<&kDiidItemsEvents>> {
public:
    explicit ItemsObject(Filter filter) : m_filter(std::move(filter)) {
        Store::Instance().items.push_back(this);
    }
    ~ItemsObject() override {
        auto& all = Store::Instance().items;
        all.erase(std::remove(all.begin(), all.end(), this), all.end());
    }

    STDMETHODIMP get_Count(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = long(Matching().size());
        return S_OK;
    }
    STDMETHODIMP Item(VARIANT index, IDispatch** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            com::UniqueVariant position;
            if (FAILED(::VariantChangeType(&position, &index, 0, VT_I4))) return DISP_E_TYPEMISMATCH;
            const auto& records = Matching();
            if (V_I4(&position) < 1 || size_t(V_I4(&position)) > records.size()) return DISP_E_BADINDEX;
            *out = MakeItem(*records[size_t(V_I4(&position)) - 1]).detach();
            return S_OK;
        });
    }
    STDMETHODIMP Restrict(BSTR text, _Items** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            Filter filter;
            if (!ParseFilter(com::FromBstr(text), filter)) return E_INVALIDARG;
            return ReturnObject(com::Make<ItemsObject>(filter), out);
        });
    }

    void Fire(DISPID id, const std::wstring& entryId) {
        const Record* record = Store::Instance().Find(entryId);
        if (id != kItemRemove && (!record || !m_filter.Matches(*record))) return;
        com::UniqueVariant argument;
        DISPPARAMS params{nullptr, nullptr, 0, 0};
        if (id != kItemRemove) {
            V_VT(&argument) = VT_DISPATCH;
            V_DISPATCH(&argument) = MakeItem(*record).detach();
            params = {&argument, nullptr, 1, 0};
        }
        m_sinks.Fire(id, params);
    }

private:
    // Outlook keeps a restricted collection's rows: the matching records are
    // found again only after the store changed.
    const std::vector<const Record*>& Matching() {
        const Store& store = Store::Instance();
        if (m_generation != store.Generation()) {
            m_matching.clear();
            for (const Record& r : store.Records())
                if (m_filter.Matches(r)) m_matching.push_back(&r);
            m_generation = store.Generation();
        }
        return m_matching;
    }
    ServerRef m_server;
    Filter m_filter;
    std::vector<const Record*> m_matching;
    unsigned m_generation = 0;
};

// ---------------------------------------------------------------- table --

std::wstring ReadVersionSetting();

std::wstring ReadTableFailure() {
    wchar_t text[64] = {};
    DWORD bytes = sizeof(text) - sizeof(wchar_t);
    if (::RegGetValueW(HKEY_CURRENT_USER, kSettingsKey, L"TableFails", RRF_RT_REG_SZ, nullptr, text,
                       &bytes) != ERROR_SUCCESS)
        return {};
    return text;
}

// The switch that makes one Table member fail, checked as the member starts.
HRESULT TableFailure(const wchar_t* member) {
    return _wcsicmp(ReadTableFailure().c_str(), member) == 0 ? MAPI_E_NO_SUPPORT_ : S_OK;
}

bool StartsWithNoCase(const std::wstring& text, const wchar_t* prefix) {
    const size_t length = std::wcslen(prefix);
    return text.size() >= length && _wcsnicmp(text.c_str(), prefix, length) == 0;
}

const wchar_t* const kItemColumns[] = {
    L"EntryID",  L"Subject",           L"CreationTime",  L"LastModificationTime", L"MessageClass",
    L"FullName", L"BusinessFaxNumber", L"HomeFaxNumber", L"OtherFaxNumber",       L"DLName"};

// The canonical name of a column Outlook would take, empty for any other.
std::wstring ColumnName(const std::wstring& name) {
    for (const wchar_t* known : kItemColumns)
        if (_wcsicmp(known, name.c_str()) == 0) return known;
    if (StartsWithNoCase(name, kUserPropertyNamespace) && name.size() > std::wcslen(kUserPropertyNamespace))
        return name;
    return {};
}

void TextValue(const std::wstring& text, VARIANT* out) {
    if (text.empty()) return;  // an absent property: Empty
    V_VT(out) = VT_BSTR;
    V_BSTR(out) = com::AllocBstr(text);
    if (!V_BSTR(out)) throw std::bad_alloc();
}

// One cell: the record's value of the column, in the property's own type.
void ColumnValue(const Record& r, const std::wstring& column, VARIANT* out) {
    ::VariantInit(out);
    const bool contact = r.objectClass != olDistributionList;
    if (column == L"EntryID") {
        TextValue(r.entryId, out);
    } else if (column == L"MessageClass") {
        TextValue(contact ? L"IPM.Contact" : L"IPM.DistList", out);
    } else if (column == L"Subject") {
        TextValue(r.Get(contact ? L"FullName" : L"DLName"), out);
    } else if (column == L"CreationTime" || column == L"LastModificationTime") {
        V_VT(out) = VT_DATE;
        V_DATE(out) = kItemTime;
    } else if (StartsWithNoCase(column, kUserPropertyNamespace)) {
        const std::wstring name = column.substr(std::wcslen(kUserPropertyNamespace));
        for (const UserProp& p : r.user) {
            if (p.name != name) continue;
            if (p.type == olYesNo) {
                V_VT(out) = VT_BOOL;
                V_BOOL(out) = p.value == L"1" ? VARIANT_TRUE : VARIANT_FALSE;
            } else {
                TextValue(p.value, out);
            }
            break;
        }
    } else {
        TextValue(r.Get(column), out);
    }
}

class ColumnObject : public com::Implements<ColumnObject, Served<Column>> {
public:
    explicit ColumnObject(std::wstring name) : m_name(std::move(name)) {}
    STDMETHODIMP get_Name(BSTR* out) noexcept override { return ReturnText(m_name, out); }

private:
    ServerRef m_server;
    std::wstring m_name;
};

// The rows of a Table: a snapshot of the items that matched when it was made.
struct TableRows {
    std::vector<Record> records;
    std::vector<std::wstring> columns = {L"EntryID", L"Subject", L"CreationTime", L"LastModificationTime",
                                         L"MessageClass"};
    size_t position = 0;
};

class RowObject : public com::Implements<RowObject, Served<Row>> {
public:
    RowObject(Record record, std::vector<std::wstring> columns)
        : m_record(std::move(record)), m_columns(std::move(columns)) {}

    // By position (1-based) or by the column's name.
    STDMETHODIMP Item(VARIANT index, VARIANT* out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            ::VariantInit(out);
            if (V_VT(&index) == VT_BSTR) {
                const std::wstring name = ColumnName(com::FromBstr(V_BSTR(&index)));
                for (const std::wstring& column : m_columns)
                    if (_wcsicmp(column.c_str(), name.c_str()) == 0)
                        return ColumnValue(m_record, column, out), S_OK;
                return DISP_E_BADINDEX;
            }
            com::UniqueVariant position;
            if (FAILED(::VariantChangeType(&position, &index, 0, VT_I4))) return DISP_E_TYPEMISMATCH;
            if (V_I4(&position) < 1 || size_t(V_I4(&position)) > m_columns.size()) return DISP_E_BADINDEX;
            ColumnValue(m_record, m_columns[size_t(V_I4(&position)) - 1], out);
            return S_OK;
        });
    }
    STDMETHODIMP GetValues(VARIANT* out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            ::VariantInit(out);
            com::UniqueSafeArray values(::SafeArrayCreateVector(VT_VARIANT, 0, ULONG(m_columns.size())));
            RETURN_HR_IF_NULL(E_OUTOFMEMORY, values.get());
            for (LONG i = 0; i < LONG(m_columns.size()); ++i) {
                com::UniqueVariant value;
                ColumnValue(m_record, m_columns[size_t(i)], value.put());
                RETURN_IF_FAILED(::SafeArrayPutElement(values.get(), &i, &value));
            }
            V_VT(out) = VT_ARRAY | VT_VARIANT;
            V_ARRAY(out) = values.release();
            return S_OK;
        });
    }

private:
    ServerRef m_server;
    Record m_record;
    std::vector<std::wstring> m_columns;
};

class ColumnsObject : public com::Implements<ColumnsObject, Served<Columns>> {
public:
    ColumnsObject(IDispatch* table, TableRows* rows) : m_table(table), m_rows(rows) {}

    STDMETHODIMP get_Count(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = long(m_rows->columns.size());
        return S_OK;
    }
    STDMETHODIMP Item(VARIANT index, Column** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            const size_t position = Position(index);
            if (position == 0) return DISP_E_BADINDEX;
            return ReturnObject(com::Make<ColumnObject>(m_rows->columns[position - 1]), out);
        });
    }
    STDMETHODIMP Add(BSTR name, Column** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            RETURN_IF_FAILED(TableFailure(L"Add"));
            const std::wstring column = ColumnName(com::FromBstr(name));
            if (column.empty()) return E_INVALIDARG;  // not a property a Table can show
            m_rows->columns.push_back(column);
            return ReturnObject(com::Make<ColumnObject>(column), out);
        });
    }
    STDMETHODIMP Remove(VARIANT index) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            const size_t position = Position(index);
            if (position == 0) return DISP_E_BADINDEX;
            m_rows->columns.erase(m_rows->columns.begin() + ptrdiff_t(position - 1));
            return S_OK;
        });
    }
    STDMETHODIMP RemoveAll() noexcept override {
        return com::Boundary([&]() -> HRESULT {
            RETURN_IF_FAILED(TableFailure(L"RemoveAll"));
            m_rows->columns.clear();
            return S_OK;
        });
    }

private:
    // 1-based position of a column given by position or name; 0 for none.
    size_t Position(const VARIANT& index) const {
        auto& columns = m_rows->columns;
        if (V_VT(&index) == VT_BSTR) {
            const std::wstring name = com::FromBstr(V_BSTR(&index));
            for (size_t i = 0; i < columns.size(); ++i)
                if (_wcsicmp(columns[i].c_str(), name.c_str()) == 0) return i + 1;
            return 0;
        }
        com::UniqueVariant position;
        if (FAILED(::VariantChangeType(&position, const_cast<VARIANT*>(&index), 0, VT_I4))) return 0;
        return V_I4(&position) < 1 || size_t(V_I4(&position)) > columns.size() ? 0 : size_t(V_I4(&position));
    }
    ServerRef m_server;
    ComPtr<IDispatch> m_table;  // keeps m_rows alive
    TableRows* m_rows;
};

class TableObject : public com::Implements<TableObject, Served<_Table>> {
public:
    explicit TableObject(TableRows rows) : m_rows(std::move(rows)) {}

    STDMETHODIMP get_Columns(Columns** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            RETURN_IF_FAILED(TableFailure(L"Columns"));
            return ReturnObject(com::Make<ColumnsObject>(static_cast<_Table*>(this), &m_rows), out);
        });
    }
    STDMETHODIMP get_EndOfTable(VARIANT_BOOL* out) noexcept override {
        if (!out) return E_POINTER;
        *out = m_rows.position >= m_rows.records.size() ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    STDMETHODIMP GetArray(long maxRows, VARIANT* out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            ::VariantInit(out);
            RETURN_IF_FAILED(TableFailure(L"GetArray"));
            if (maxRows <= 0) return E_INVALIDARG;
            // Outlook 2007 refused more rows than the table holds.
            if (std::wcstol(ReadVersionSetting().c_str(), nullptr, 10) == 12 &&
                size_t(maxRows) > m_rows.records.size())
                return E_INVALIDARG;
            const size_t count = std::min(size_t(maxRows), m_rows.records.size() - m_rows.position);
            // Rows by columns: the first index is the row, as Outlook's own
            // sample reads it.
            SAFEARRAYBOUND bounds[2] = {{ULONG(count), 0}, {ULONG(m_rows.columns.size()), 0}};
            com::UniqueSafeArray cells(::SafeArrayCreate(VT_VARIANT, 2, bounds));
            RETURN_HR_IF_NULL(E_OUTOFMEMORY, cells.get());
            for (LONG row = 0; row < LONG(count); ++row) {
                const Record& record = m_rows.records[m_rows.position + size_t(row)];
                for (LONG column = 0; column < LONG(m_rows.columns.size()); ++column) {
                    com::UniqueVariant value;
                    ColumnValue(record, m_rows.columns[size_t(column)], value.put());
                    LONG at[2] = {row, column};
                    RETURN_IF_FAILED(::SafeArrayPutElement(cells.get(), at, &value));
                }
            }
            m_rows.position += count;
            V_VT(out) = VT_ARRAY | VT_VARIANT;
            V_ARRAY(out) = cells.release();
            return S_OK;
        });
    }
    STDMETHODIMP GetNextRow(Row** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            if (m_rows.position >= m_rows.records.size()) return S_OK;  // Nothing at the end
            const Record& record = m_rows.records[m_rows.position++];
            return ReturnObject(com::Make<RowObject>(record, m_rows.columns), out);
        });
    }
    STDMETHODIMP GetRowCount(long* out) noexcept override {
        if (!out) return E_POINTER;
        const HRESULT hr = TableFailure(L"GetRowCount");
        *out = SUCCEEDED(hr) ? long(m_rows.records.size()) : 0;
        return hr;
    }
    STDMETHODIMP MoveToStart() noexcept override {
        m_rows.position = 0;
        return S_OK;
    }

private:
    ServerRef m_server;
    TableRows m_rows;
};

class FolderObject : public com::Implements<FolderObject, Served<MAPIFolder>> {
public:
    STDMETHODIMP get_Name(BSTR* out) noexcept override { return ReturnText(L"Contacts", out); }
    STDMETHODIMP get_EntryID(BSTR* out) noexcept override {
        return ReturnText(L"00000000C0FFEE00000000000000000000000000000000000A", out);
    }
    STDMETHODIMP get_DefaultItemType(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = olContactItem;
        return S_OK;
    }
    STDMETHODIMP get_Items(_Items** out) noexcept override {
        return com::Boundary([&] { return ReturnObject(com::Make<ItemsObject>(Filter{}), out); });
    }
    STDMETHODIMP GetTable(VARIANT filterText, VARIANT contents, _Table** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            RETURN_IF_FAILED(TableFailure(L"GetTable"));
            Filter filter;
            if (V_VT(&filterText) == VT_BSTR && ::SysStringLen(V_BSTR(&filterText)) > 0) {
                if (!ParseFilter(com::FromBstr(V_BSTR(&filterText)), filter)) return E_INVALIDARG;
            } else if (V_VT(&filterText) != VT_BSTR && V_VT(&filterText) != VT_ERROR &&
                       V_VT(&filterText) != VT_EMPTY) {
                return DISP_E_TYPEMISMATCH;
            }
            long kind = olUserItems;
            if (V_VT(&contents) != VT_ERROR && V_VT(&contents) != VT_EMPTY) {
                com::UniqueVariant converted;
                if (FAILED(::VariantChangeType(&converted, &contents, 0, VT_I4))) return DISP_E_TYPEMISMATCH;
                kind = V_I4(&converted);
            }
            if (kind != olUserItems && kind != olHiddenItems) return E_INVALIDARG;
            TableRows rows;
            // The stand-in's folders hold no hidden items.
            if (kind == olUserItems)
                for (const Record& r : Store::Instance().Records())
                    if (filter.Matches(r)) rows.records.push_back(r);
            return ReturnObject(com::Make<TableObject>(std::move(rows)), out);
        });
    }

private:
    ServerRef m_server;
};

class FoldersObject : public com::Implements<FoldersObject, Served<_Folders>> {
public:
    STDMETHODIMP get_Count(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = 1;
        return S_OK;
    }
    STDMETHODIMP Item(VARIANT index, MAPIFolder** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            com::UniqueVariant position;
            const bool byName = V_VT(&index) == VT_BSTR && com::FromBstr(V_BSTR(&index)) == L"Contacts";
            if (!byName && (FAILED(::VariantChangeType(&position, &index, 0, VT_I4)) || V_I4(&position) != 1))
                return DISP_E_BADINDEX;
            return ReturnObject(com::Make<FolderObject>(), out);
        });
    }

private:
    ServerRef m_server;
};

class NameSpaceObject : public com::Implements<NameSpaceObject, Served<_NameSpace>> {
public:
    STDMETHODIMP get_Type(BSTR* out) noexcept override { return ReturnText(L"MAPI", out); }
    STDMETHODIMP get_Folders(_Folders** out) noexcept override {
        return com::Boundary([&] { return ReturnObject(com::Make<FoldersObject>(), out); });
    }
    STDMETHODIMP GetDefaultFolder(long type, MAPIFolder** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            if (type != olFolderContacts) return E_INVALIDARG;  // only the contacts folder is played
            return ReturnObject(com::Make<FolderObject>(), out);
        });
    }
    STDMETHODIMP GetItemFromID(BSTR entryId, VARIANT, IDispatch** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            const Record* record = Store::Instance().Find(com::FromBstr(entryId));
            if (!record) return MAPI_E_NOT_FOUND_;
            *out = MakeItem(*record).detach();
            return S_OK;
        });
    }

private:
    ServerRef m_server;
};

class RemindersObject
    : public com::Implements<RemindersObject, Served<_Reminders>, SingleEventSource<&kDiidReminderEvents>> {
public:
    RemindersObject() { Store::Instance().reminders.push_back(this); }
    ~RemindersObject() override {
        auto& all = Store::Instance().reminders;
        all.erase(std::remove(all.begin(), all.end(), this), all.end());
    }
    STDMETHODIMP get_Count(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = 0;
        return S_OK;
    }
    void FireBeforeReminderShow(VARIANT_BOOL& cancel) {
        VARIANT argument;
        ::VariantInit(&argument);
        V_VT(&argument) = VT_BOOL | VT_BYREF;
        V_BOOLREF(&argument) = &cancel;
        DISPPARAMS params{&argument, nullptr, 1, 0};
        m_sinks.Fire(kBeforeReminderShow, params);
    }

private:
    ServerRef m_server;
};

std::wstring ReadVersionSetting() {
    wchar_t text[256] = {};
    DWORD bytes = sizeof(text) - sizeof(wchar_t);
    if (::RegGetValueW(HKEY_CURRENT_USER, kSettingsKey, L"Version", RRF_RT_REG_SZ, nullptr, text, &bytes) ==
        ERROR_SUCCESS)
        return text;
    return kDefaultVersion;
}

class ApplicationObject;
ApplicationObject* g_application = nullptr;  // the one instance, while it lives

class ApplicationObject
    : public com::Implements<ApplicationObject, Served<_Application>, com::Dispatch<IStandinOutlook>> {
public:
    ApplicationObject() { g_application = this; }
    ~ApplicationObject() override { g_application = nullptr; }

    STDMETHODIMP get_Version(BSTR* out) noexcept override {
        return com::Boundary([&] { return ReturnText(ReadVersionSetting(), out); });
    }
    STDMETHODIMP GetNamespace(BSTR type, _NameSpace** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            if (com::FromBstr(type) != L"MAPI") return E_INVALIDARG;
            return ReturnObject(com::Make<NameSpaceObject>(), out);
        });
    }
    STDMETHODIMP CreateItem(long type, IDispatch** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            Record record;
            record.entryId.clear();
            if (type == olContactItem)
                record.objectClass = olContact;
            else if (type == olDistributionListItem)
                record.objectClass = olDistributionList;
            else
                return E_INVALIDARG;  // other item kinds are not played
            *out = MakeItem(record).detach();
            return S_OK;
        });
    }
    STDMETHODIMP get_Reminders(_Reminders** out) noexcept override {
        return com::Boundary([&] { return ReturnObject(com::Make<RemindersObject>(), out); });
    }
    STDMETHODIMP get_CallCount(long* out) noexcept override {
        if (!out) return E_POINTER;
        *out = g_callsServed;
        return S_OK;
    }
    STDMETHODIMP FireBeforeReminderShow(VARIANT_BOOL* cancel) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!cancel) return E_POINTER;
            *cancel = VARIANT_FALSE;
            const auto all = Store::Instance().reminders;
            for (RemindersObject* reminders : all) {
                ComPtr<RemindersObject> alive(reminders);
                reminders->FireBeforeReminderShow(*cancel);
            }
            return S_OK;
        });
    }

private:
    ServerRef m_server;
};

class ApplicationFactory : public com::Implements<ApplicationFactory, IClassFactory> {
public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            if (outer) return CLASS_E_NOAGGREGATION;
            // A request that reached the class object before it was taken back.
            if (!g_classCookie) return CO_E_SERVER_STOPPING;
            // One Application per process, as Outlook has.
            if (g_application) return static_cast<_Application*>(g_application)->QueryInterface(iid, out);
            auto application = com::Make<ApplicationObject>();
            return static_cast<_Application*>(application.get())->QueryInterface(iid, out);
        });
    }
    STDMETHODIMP LockServer(BOOL lock) noexcept override {
        if (lock)
            ::CoAddRefServerProcess();
        else if (::CoReleaseServerProcess() == 0)
            StopServing();
        return S_OK;
    }
};

LRESULT CALLBACK EventWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == kFireMessage) {
        DISPID event = 0;
        std::wstring entryId;
        if (Store::Instance().TakePending(event, entryId)) {
            const auto all = Store::Instance().items;
            for (ItemsObject* items : all) {
                ComPtr<ItemsObject> alive(items);
                items->Fire(event, entryId);
            }
        }
        return 0;
    }
    if (message == WM_TIMER && wParam == kIdleTimer) {
        ::KillTimer(window, kIdleTimer);
        if (!g_application) ::PostQuitMessage(0);
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

int RunServer() {
    WNDCLASSW wc{};
    wc.lpfnWndProc = EventWindowProc;
    wc.hInstance = ::GetModuleHandleW(nullptr);
    wc.lpszClassName = L"StandinOutlookEvents";
    ::RegisterClassW(&wc);
    com::UniqueWindow window(::CreateWindowExW(0, wc.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                               wc.hInstance, nullptr));
    Store::Instance().window = window.get();
    Store::Instance().Load();
    ::SetTimer(window.get(), kIdleTimer, kIdleMs, nullptr);

    Faults::Instance().Refresh();
    auto filter = com::Make<MessageFilter>();
    ComPtr<IMessageFilter> previousFilter;
    ::CoRegisterMessageFilter(filter.get(), previousFilter.put());

    auto factory = com::Make<ApplicationFactory>();
    DWORD cookie = 0;
    HRESULT hr = ::CoRegisterClassObject(kClsidApplication, static_cast<IClassFactory*>(factory.get()),
                                         CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &cookie);
    if (FAILED(hr)) return 2;
    g_classCookie = cookie;
    MSG msg;
    while (::GetMessageW(&msg, nullptr, 0, 0) > 0) {
        ::TranslateMessage(&msg);
        ::DispatchMessageW(&msg);
    }
    if (g_classCookie) ::CoRevokeClassObject(std::exchange(g_classCookie, 0));
    ::CoRegisterMessageFilter(nullptr, nullptr);
    Store::Instance().window = nullptr;
    return 0;
}

// ---------------------------------------------------------- registration --

bool SetKeyValue(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    com::UniqueHKey key;
    if (::RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.put(),
                          nullptr) != ERROR_SUCCESS)
        return false;
    return ::RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            DWORD((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

std::wstring ExePath() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

int Register() {
    ComPtr<ITypeLib> library;
    // Registered with the plain path (REGKIND_REGISTER under Wine writes a
    // "\\?\" path), as Outlook's own setup does.
    std::wstring path = ExePath();
    if (FAILED(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put())) ||
        FAILED(::RegisterTypeLib(library.get(), path.data(), nullptr)))
        return 3;
    const std::wstring clsidKey = std::wstring(L"CLSID\\") + kClsidText;
    const bool ok = SetKeyValue(clsidKey, nullptr, L"Microsoft Outlook") &&
                    SetKeyValue(clsidKey + L"\\LocalServer32", nullptr, L"\"" + ExePath() + L"\"") &&
                    SetKeyValue(clsidKey + L"\\ProgID", nullptr, kVersionedProgId) &&
                    SetKeyValue(clsidKey + L"\\VersionIndependentProgID", nullptr, kProgId) &&
                    SetKeyValue(clsidKey + L"\\TypeLib", nullptr, kLibIdText) &&
                    SetKeyValue(kProgId, nullptr, L"Microsoft Outlook") &&
                    SetKeyValue(std::wstring(kProgId) + L"\\CLSID", nullptr, kClsidText) &&
                    SetKeyValue(std::wstring(kProgId) + L"\\CurVer", nullptr, kVersionedProgId) &&
                    SetKeyValue(kVersionedProgId, nullptr, L"Microsoft Outlook") &&
                    SetKeyValue(std::wstring(kVersionedProgId) + L"\\CLSID", nullptr, kClsidText);
    return ok ? 0 : 4;
}

int Unregister() {
    ::UnRegisterTypeLib(kLibId, 9, 6, LOCALE_NEUTRAL, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
    ::RegDeleteTreeW(HKEY_CLASSES_ROOT, (std::wstring(L"CLSID\\") + kClsidText).c_str());
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, (std::wstring(L"CLSID\\") + kClsidText).c_str());
    ::RegDeleteTreeW(HKEY_CLASSES_ROOT, kProgId);
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, kProgId);
    ::RegDeleteTreeW(HKEY_CLASSES_ROOT, kVersionedProgId);
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, kVersionedProgId);
    return 0;
}

// Writes a setting, or removes it when text is null.
int SetSetting(const wchar_t* name, const wchar_t* text) {
    if (!text) {
        const LSTATUS status = ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name);
        return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? 0 : 5;
    }
    return ::RegSetKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name, REG_SZ, text,
                             DWORD((wcslen(text) + 1) * sizeof(wchar_t))) == ERROR_SUCCESS
               ? 0
               : 5;
}

bool IsSwitch(const wchar_t* arg, const wchar_t* name) {
    return (arg[0] == L'/' || arg[0] == L'-') && _wcsicmp(arg + 1, name) == 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        std::fputws(
            L"usage: standin_outlook.exe /RegServer | /UnregServer | /Version [text] | /TableFails [member] "
            L"| /Fault [text] | -Embedding\n",
            stderr);
        return 1;
    }
    const wchar_t* command = argv[1];
    if (IsSwitch(command, L"Version")) return SetSetting(L"Version", argc > 2 ? argv[2] : nullptr);
    if (IsSwitch(command, L"TableFails")) return SetSetting(L"TableFails", argc > 2 ? argv[2] : nullptr);
    if (IsSwitch(command, L"Fault")) {
        std::wstring text;
        for (int i = 2; i < argc; ++i) text += (i > 2 ? L" " : L"") + std::wstring(argv[i]);
        return SetSetting(L"Fault", argc > 2 ? text.c_str() : nullptr);
    }
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    int result = 1;
    if (IsSwitch(command, L"RegServer"))
        result = Register();
    else if (IsSwitch(command, L"UnregServer"))
        result = Unregister();
    else if (IsSwitch(command, L"Embedding"))
        result = RunServer();
    com::Module::ReleaseTypeInfos();
    ::CoUninitialize();
    return result;
}
