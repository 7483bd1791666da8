// The module seen from outside: regsvr32 for the machine and for the user,
// the registration-free client, the embedded type library, the class objects
// and the unload rule. What the registration must write is written out from
// the registration rules.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"
#include "support/wab_fixture.h"

#include <gtest/gtest.h>
#include <olectl.h>

#include <algorithm>
#include <cwctype>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing_support::BinDir;
using testing_support::kModuleFileName;
using testing_support::RegistryKeyExists;
using testing_support::RunRegsvr32;
using testing_support::Utf8;

std::wstring GuidText(REFGUID guid) {
    wchar_t text[64];
    ::StringFromGUID2(guid, text, 64);
    return text;
}

struct ModuleClass {
    const wchar_t* name;
    const CLSID* clsid;
    bool control;
};
const ModuleClass kClasses[] = {{L"VelPhonebookControl", &CLSID_VelPhonebookControl, true},
                                {L"VelPhonebookControl2", &CLSID_VelPhonebookControl2, true},
                                {L"MRUList", &CLSID_MRUList, false},
                                {L"AddressBook", &CLSID_AddressBook, false}};

// The registry view of the other architecture (a 64-bit process's module is
// not registered for 32-bit processes, nor the other way round), the type
// library's system kind and its key.
#ifdef _WIN64
constexpr REGSAM kOtherView = KEY_WOW64_32KEY;
constexpr SYSKIND kSysKind = SYS_WIN64;
constexpr wchar_t kWin[] = L"win64";
#else
constexpr REGSAM kOtherView = KEY_WOW64_64KEY;
constexpr SYSKIND kSysKind = SYS_WIN32;
constexpr wchar_t kWin[] = L"win32";
#endif

// The controls' status bits for the content aspect.
constexpr DWORD kControlMiscStatus = OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE | OLEMISC_INSIDEOUT |
                                     OLEMISC_ACTIVATEWHENVISIBLE | OLEMISC_SETCLIENTSITEFIRST;

// A key (below the classes root), a value of it ("" the default) and its data
// (no name and no data: the key alone); `present` false: the key must not exist.
struct Entry {
    std::wstring key, name, data;
    bool present = true;
};

// What registering the module at `path` writes, class by class, and the type library.
std::vector<Entry> RegisteredEntries(const std::wstring& path) {
    const std::wstring libid = GuidText(LIBID_VELPHONEBOOKLib);
    std::vector<Entry> entries;
    for (const ModuleClass& c : kClasses) {
        const std::wstring progId = std::wstring(L"Zantix.") + c.name, versioned = progId + L".1";
        const std::wstring clsid = GuidText(*c.clsid), key = L"CLSID\\" + clsid;
        const std::wstring description = std::wstring(L"Orvanta ") + c.name + L" Class";
        entries.insert(entries.end(),
                       {{versioned, L"", description}, {versioned + L"\\CLSID", L"", clsid}, {progId, L"", description},
                        {progId + L"\\CLSID", L"", clsid}, {progId + L"\\CurVer", L"", versioned}, {key, L"", description},
                        {key + L"\\ProgID", L"", versioned}, {key + L"\\VersionIndependentProgID", L"", progId},
                        {key + L"\\Programmable", L"", L""}, {key + L"\\InprocServer32", L"", path},
                        {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"}, {key + L"\\TypeLib", L"", libid},
                        {key + L"\\Version", L"", L"1.1"}, {key + L"\\Control", L"", L"", c.control},
                        {key + L"\\Insertable", L"", L"", c.control},
                        {key + L"\\ToolboxBitmap32", L"", path + L", 101", c.control},
                        {key + L"\\MiscStatus", L"", L"0", c.control},
                        {key + L"\\MiscStatus\\1", L"", std::to_wstring(kControlMiscStatus), c.control}});
    }
    // Under the library's locale, and the neutral one, where Wine's automation
    // marshaller looks.
    for (const wchar_t* locale : {L"409", L"0"})
        entries.push_back({L"TypeLib\\" + libid + L"\\1.1\\" + locale + L"\\" + kWin, L"", path});
    return entries;
}

// The keys that name the module's classes and its type library.
std::vector<std::wstring> ModuleKeys() {
    std::vector<std::wstring> keys{L"TypeLib\\" + GuidText(LIBID_VELPHONEBOOKLib) + L"\\1.1"};
    for (const ModuleClass& c : kClasses)
        keys.insert(keys.end(), {std::wstring(L"Zantix.") + c.name, std::wstring(L"Zantix.") + c.name + L".1",
                                 L"CLSID\\" + GuidText(*c.clsid)});
    return keys;
}

// Checks the entries below `prefix` of `root` ("" below HKEY_CLASSES_ROOT);
// data compared ignoring case (paths come back as the system spells them).
void ExpectEntries(HKEY root, const std::wstring& prefix, const std::vector<Entry>& entries) {
    for (const Entry& e : entries) {
        const std::wstring key = prefix + e.key;
        if (!e.present || (e.name.empty() && e.data.empty())) {
            EXPECT_EQ(e.present, RegistryKeyExists(root, key)) << Utf8(key);
            continue;
        }
        const auto data = testing_support::RegistryText(root, key, e.name.empty() ? nullptr : e.name.c_str());
        EXPECT_TRUE(data && _wcsicmp(data->c_str(), e.data.c_str()) == 0)
            << Utf8(key + L" [" + e.name + L"] = " + data.value_or(L"(none)") + L", not " + e.data);
    }
}

void ExpectNoModuleKeys(HKEY root, const std::wstring& prefix) {
    for (const std::wstring& key : ModuleKeys())
        EXPECT_FALSE(RegistryKeyExists(root, prefix + key)) << Utf8(prefix + key);
}

const std::wstring kUserClasses = L"Software\\Classes\\";

// regsvr32 /s [/u] /n /i:user on the module beside the test program.
int RunUserRegsvr32(bool unregister) {
    return testing_support::RunProcess(std::wstring(L"regsvr32.exe /s ") + (unregister ? L"/u " : L"") +
                                       L"/n /i:user \"" + BinDir() + kModuleFileName + L"\"");
}

// Whether the output has this line (ignoring case: paths come back as the system spells them).
bool HasLine(const std::string& output, const std::wstring& line) {
    std::wstring text = L"\n" + testing_support::FromUtf8(output) + L"\n", wanted = L"\n" + line + L"\n";
    text.erase(std::remove(text.begin(), text.end(), L'\r'), text.end());
    for (std::wstring* s : {&text, &wanted}) std::transform(s->begin(), s->end(), s->begin(), ::towupper);
    return text.find(wanted) != std::wstring::npos;
}
// Runs a client program (path relative to the test program's folder); what it
// printed, and whether its last line is its verdict "PASS" (under Wine a
// crashed process may still end with 0).
std::string RunClient(const std::wstring& program, const std::wstring& mode, bool* passed) {
    std::string output;
    testing_support::RunProcess(L"\"" + BinDir() + program + L"\" " + mode, &output);
    *passed = HasLine(output, L"PASS") && output.find_last_not_of("\r\n") + 1 == output.rfind("PASS") + 4;
    return output;
}

// An export of the module, by name.
template <typename Function>
Function Export(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

class Registration : public ::testing::Test {
protected:
    // Every case starts with the module registered nowhere; the other test
    // programs expect it registered for the machine, and only so.
    void SetUp() override {
        ASSERT_EQ(0, RunRegsvr32(true));
        ASSERT_EQ(0, RunUserRegsvr32(true));
        ExpectNoModuleKeys(HKEY_CLASSES_ROOT, L"");
    }
    void TearDown() override {
        RunUserRegsvr32(true);
        RunRegsvr32(false);
    }
};

TEST_F(Registration, RegsvrWritesTheClassesAndTheTypeLibraryAndRemovesThem) {
    const std::wstring path = BinDir() + kModuleFileName;
    ASSERT_EQ(0, RunRegsvr32(false));
    ExpectEntries(HKEY_CLASSES_ROOT, L"", RegisteredEntries(path));
    com::UniqueHKey other;
    EXPECT_NE(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CLASSES_ROOT, (L"CLSID\\" + GuidText(CLSID_MRUList)).c_str(), 0,
                                             KEY_READ | kOtherView, other.put()))
        << "registered in the other architecture's view";

    // Registering again rewrites a class's key as a whole.
    const std::wstring stale = L"CLSID\\" + GuidText(CLSID_MRUList) + L"\\LocalServer32";
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CLASSES_ROOT, stale.c_str(), nullptr, REG_SZ, L"x", 4));
    ASSERT_EQ(0, RunRegsvr32(false));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, stale));

    ASSERT_EQ(0, RunRegsvr32(true));
    ExpectNoModuleKeys(HKEY_CLASSES_ROOT, L"");
    EXPECT_TRUE(RegistryKeyExists(HKEY_CLASSES_ROOT, L"CLSID") && RegistryKeyExists(HKEY_CLASSES_ROOT, L"TypeLib"));
    EXPECT_EQ(0, RunRegsvr32(true)) << "unregistering twice is fine";
}

// DllInstall with "user" (regsvr32 /n /i:user) writes the same under the
// user's classes alone; removing it leaves a machine registration as it was.
TEST_F(Registration, PerUserRegistrationWritesTheSameForTheUserAlone) {
    ASSERT_EQ(0, RunUserRegsvr32(false));
#ifdef _WIN64
    ExpectEntries(HKEY_CURRENT_USER, kUserClasses, RegisteredEntries(BinDir() + kModuleFileName));
#else
    // Wine keeps a 32-bit process's user classes in one view, with the type
    // library in the key both share: the keys are there, read apart.
    for (const std::wstring& key : ModuleKeys())
        EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, kUserClasses + key)) << Utf8(key);
#endif
    ExpectNoModuleKeys(HKEY_LOCAL_MACHINE, kUserClasses);
    ASSERT_EQ(0, RunUserRegsvr32(true));
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);

    ASSERT_EQ(0, RunRegsvr32(false));
    ASSERT_EQ(0, RunUserRegsvr32(false));
    ASSERT_EQ(0, RunUserRegsvr32(true));
    ExpectEntries(HKEY_CLASSES_ROOT, L"", RegisteredEntries(BinDir() + kModuleFileName));
}

TEST_F(Registration, DllInstallTakesNoOtherCommandLineThanUser) {
    testing_support::ComApartment apartment;
    com::UniqueModule module(::LoadLibraryW((BinDir() + kModuleFileName).c_str()));
    const auto install = Export<HRESULT(WINAPI*)(BOOL, LPCWSTR)>(module.get(), "DllInstall");
    ASSERT_TRUE(install);
    for (const wchar_t* line : {static_cast<const wchar_t*>(nullptr), L"", L"machine", L"users", L"use", L"user ",
                                L" user", L"/i:user", L"user,machine"})
        for (const BOOL installing : {TRUE, FALSE})
            EXPECT_EQ(E_INVALIDARG, install(installing, line)) << (line ? Utf8(line) : "(null)");
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);
    ASSERT_EQ(S_OK, install(TRUE, L"USER")) << "the word is taken in any case";
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, kUserClasses + L"Zantix.MRUList"));
    ASSERT_EQ(S_OK, install(FALSE, L"User"));
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);
}

TYPEATTR Attributes(ITypeInfo* info) {
    TYPEATTR* a = nullptr;
    info->GetTypeAttr(&a);
    const TYPEATTR copy = *a;
    info->ReleaseTypeAttr(a);
    return copy;
}
// The type `info` refers to as its implemented type `index` (-1: a dual interface's vtable half).
com::ComPtr<ITypeInfo> Implemented(ITypeInfo* info, UINT index) {
    HREFTYPE ref = 0;
    com::ComPtr<ITypeInfo> type;
    if (SUCCEEDED(info->GetRefTypeOfImplType(index, &ref))) info->GetRefTypeInfo(ref, type.put());
    return type;
}
std::wstring TypeName(ITypeInfo* info) {
    com::UniqueBstr text;
    info->GetDocumentation(MEMBERID_NIL, text.put(), nullptr, nullptr, nullptr);
    return com::FromBstr(text.get());
}

// The library in the module carries its identifier, version and the system
// kind of the module's architecture. Every dual interface, read through
// ITypeInfo as a type library reader (a .NET, Delphi or VB6 import, the
// automation marshaller) reads it: the interface half of each names its
// declared base, and the chain ends at stdole2's IDispatch. The event
// interface is a dispinterface on IDispatch.
TEST(TypeLibrary, IdentityAndEveryDualInterfaceDerivesFromItsBaseDownToIDispatch) {
    const std::map<std::wstring, std::wstring> kBases = {
        {L"IVelPhonebookControl", L"IDispatch"}, {L"IVelPhonebookControl2", L"IVelPhonebookControl"},
        {L"IVelPhonebookControl3", L"IVelPhonebookControl2"}, {L"IVelPhonebookControl4", L"IVelPhonebookControl3"},
        {L"IMRUList", L"IDispatch"}, {L"IMRUList2", L"IMRUList"},
        {L"IAddressBook", L"IDispatch"}, {L"IAddressBook2", L"IAddressBook"}};
    com::ComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, ::LoadTypeLibEx((BinDir() + kModuleFileName).c_str(), REGKIND_NONE, library.put()));
    TLIBATTR* a = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&a));
    EXPECT_EQ(std::tuple(GuidText(LIBID_VELPHONEBOOKLib), 1, 1, kSysKind),
              std::tuple(GuidText(a->guid), a->wMajorVerNum, a->wMinorVerNum, a->syskind));
    library->ReleaseTLibAttr(a);
    std::map<std::wstring, std::wstring> found;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        com::ComPtr<ITypeInfo> info;
        ASSERT_EQ(S_OK, library->GetTypeInfo(i, info.put()));
        const TYPEATTR attr = Attributes(info.get());
        if (attr.typekind != TKIND_DISPATCH) continue;
        const std::string what = Utf8(TypeName(info.get()));
        if (!(attr.wTypeFlags & TYPEFLAG_FDUAL)) {
            const com::ComPtr<ITypeInfo> base = Implemented(info.get(), 0);
            ASSERT_TRUE(base) << what;
            EXPECT_EQ(GuidText(IID_IDispatch), GuidText(Attributes(base.get()).guid)) << what;
            continue;
        }
        const com::ComPtr<ITypeInfo> half = Implemented(info.get(), UINT(-1));
        ASSERT_TRUE(half) << what;
        EXPECT_EQ(TKIND_INTERFACE, Attributes(half.get()).typekind);
        com::ComPtr<ITypeInfo> base = Implemented(half.get(), 0);
        ASSERT_TRUE(base) << what;
        found[TypeName(info.get())] = TypeName(base.get());
        // Down the chain: each base is the library's own dual interface, or IDispatch itself.
        for (TYPEATTR b = Attributes(base.get()); b.guid != IID_IDispatch; b = Attributes(base.get())) {
            ASSERT_EQ(TKIND_INTERFACE, b.typekind) << Utf8(TypeName(base.get()));
            ASSERT_TRUE(base = Implemented(base.get(), 0)) << what;
        }
        EXPECT_EQ(L"IDispatch", TypeName(base.get()));
        EXPECT_EQ(7u * sizeof(void*), size_t(Attributes(base.get()).cbSizeVft)) << "IDispatch's seven slots";
    }
    EXPECT_EQ(kBases, found);
}

// The module's exports called directly: the unload rule counts objects and
// locks (a stray unlock counts for nothing), class objects for its classes only.
TEST(ModuleExports, CanUnloadOnlyWhenNoObjectOrLockIsLeft) {
    testing_support::ComApartment apartment;
    com::UniqueModule module(::LoadLibraryW((BinDir() + kModuleFileName).c_str()));
    ASSERT_TRUE(module);
    const auto canUnload = Export<HRESULT(WINAPI*)()>(module.get(), "DllCanUnloadNow");
    const auto getClassObject = Export<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(module.get(), "DllGetClassObject");
    ASSERT_TRUE(canUnload && getClassObject);
    const auto factory = [&] {
        com::ComPtr<IClassFactory> f;
        EXPECT_EQ(S_OK, getClassObject(CLSID_MRUList, IID_IClassFactory, f.put_void()));
        return f;
    };
    com::ComPtr<IUnknown> none;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, getClassObject(IID_IUnknown, IID_IClassFactory, none.put_void()));
    EXPECT_EQ(S_OK, canUnload());

    com::ComPtr<IClassFactory> classObject = factory();
    EXPECT_EQ(S_FALSE, canUnload()) << "a class object holds the module";
    com::ComPtr<IMRUList> mru;
    ASSERT_EQ(S_OK, classObject->CreateInstance(nullptr, __uuidof(IMRUList), mru.put_void()));
    EXPECT_EQ(CLASS_E_NOAGGREGATION, classObject->CreateInstance(mru.get(), IID_IUnknown, none.put_void()));
    EXPECT_EQ(E_NOINTERFACE, classObject->CreateInstance(nullptr, IID_IClassFactory, none.put_void()));
    classObject.reset();
    EXPECT_EQ(S_FALSE, canUnload()) << "an object holds the module";
    com::ComPtr<IDispatch> dispatch = mru.query<IDispatch>();
    EXPECT_EQ(mru.query<IUnknown>().get(), dispatch.query<IUnknown>().get()) << "one identity";
    mru.reset();
    EXPECT_EQ(S_FALSE, canUnload()) << "any interface of the object holds it";
    dispatch.reset();
    EXPECT_EQ(S_OK, canUnload());

    ASSERT_EQ(S_OK, factory()->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, canUnload()) << "a lock holds it after its class object is gone";
    factory()->LockServer(FALSE);
    EXPECT_EQ(S_OK, canUnload());
    EXPECT_EQ(S_OK, factory()->LockServer(FALSE));
    ASSERT_EQ(S_OK, factory()->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, canUnload()) << "the stray unlock did not eat this lock";
    ASSERT_EQ(S_OK, factory()->CreateInstance(nullptr, __uuidof(IMRUList), mru.put_void()));
    factory()->LockServer(FALSE);
    factory()->LockServer(FALSE);
    EXPECT_EQ(S_FALSE, canUnload()) << "a stray unlock does not free a live object's hold";
    mru.reset();
    EXPECT_EQ(S_OK, canUnload());
}

// Registration-free use: a program whose application manifest depends on the
// module's assembly (bin/regfree/regfree_host.exe, beside a copy of the module
// and of its assembly manifest: a private assembly) creates every class with
// nothing in the registry, each class as its registration describes it.
TEST(RegistrationFree, HostCreatesEveryClassWithNothingRegistered) {
    ASSERT_EQ(0, RunRegsvr32(true));
    ASSERT_EQ(0, RunUserRegsvr32(true));
    bool passed = false;
    const std::wstring copy = BinDir() + L"regfree\\" + kModuleFileName;
    const std::wstring misc = std::to_wstring(kControlMiscStatus);
    const std::string output = RunClient(L"regfree\\regfree_host.exe", L"create", &passed);
    EXPECT_TRUE(passed) << output;
    ASSERT_EQ(0, RunRegsvr32(false));
    for (const ModuleClass& c : kClasses) {
        const std::wstring progId = std::wstring(L"Zantix.") + c.name;
        for (const std::wstring& name : {progId, progId + L".1"}) {
            // Through the activation context a ProgID may resolve to an alias of the class identifier.
            EXPECT_TRUE(HasLine(output, L"created " + name + L" from " + copy) ||
                        HasLine(output, L"created " + name + L" (by an alias) from " + copy))
                << Utf8(name) << " from the copy beside the host\n" << output;
            if (!c.control) continue;
            EXPECT_TRUE(HasLine(output, L"misc status " + name + L" " + misc)) << Utf8(name) << "\n" << output;
        }
    }
    EXPECT_TRUE(HasLine(output, L"MRUList: Initialize, GetMRU, Terminate through IMRUList")) << output;
    EXPECT_TRUE(HasLine(output, L"type library found")) << output;
    // Apartment-threaded, as registered (a client's apartment would not show it).
    const std::string text = testing_support::ReadFileBytes(BinDir() + L"Zantix.VelPhonebook.manifest");
    size_t apartment = 0;
    for (size_t at = 0; (at = text.find("threadingModel=\"Apartment\"", at)) != std::string::npos; ++at) ++apartment;
    EXPECT_EQ(4u, apartment) << text;
}

// Calls across apartments: the interfaces travel by the registered type
// library (the automation marshaller), and the objects stay on the apartment
// thread that made them. These cases come last: Wine 8 keeps the reference
// to the class object it takes for the platform's own apartment thread (the
// multithreaded client's case), which holds the module in this process.
class Apartments : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, testing_support::RunRegsvr32(false)); }

    // Runs the body on a new thread in an apartment of the kind given while
    // this thread serves the calls made into its own apartment.
    static void OnThread(DWORD apartment, const std::function<void()>& body) {
        com::UniqueHandle done(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::thread thread([&] {
            ::CoInitializeEx(nullptr, apartment);
            body();
            ::CoUninitialize();
            ::SetEvent(done.get());
        });
        HANDLE wait = done.get();
        while (::MsgWaitForMultipleObjects(1, &wait, FALSE, 60000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
            MSG msg;
            while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&msg);
        }
        thread.join();
    }
};

// A client on a multithreaded apartment creates each object by its own
// interface (the platform makes it on a thread of the apartment kind the
// class is registered for and hands back a proxy) and calls it.
TEST_F(Apartments, AMultithreadedClientCreatesAndCallsTheObjectsByTheirInterfaces) {
    OnThread(COINIT_MULTITHREADED, [] {
        com::ComPtr<IMRUList> mru;
        ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_MRUList, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList),
                                           mru.put_void()));
        EXPECT_EQ(S_OK, mru->Initialize());
        com::UniqueBstr text;
        EXPECT_EQ(S_OK, mru->GetMRU(text.put()));
        com::UniqueBstr list(::SysAllocString(L"Ann 1;Bob 2"));
        com::UniqueSafeArray names, numbers;
        ASSERT_EQ(S_OK, mru->StringToLists(names.put(), numbers.put(), list.get()));
        std::vector<std::wstring> got;
        EXPECT_EQ(S_OK, com::ReadStringArray(names.get(), got));
        EXPECT_EQ((std::vector<std::wstring>{L"Ann", L"Bob"}), got);
        EXPECT_EQ(E_INVALIDARG, mru->UpdateMRU(nullptr)) << "a result code crosses as it is";
        com::ComPtr<IMRUList2> twin = mru.query<IMRUList2>();
        ASSERT_TRUE(twin);
        com::UniqueVariant lists;
        EXPECT_EQ(S_OK, twin->TextToLists(list.get(), &lists));
        EXPECT_EQ(VT_ARRAY | VT_VARIANT, lists.vt);

        com::ComPtr<IAddressBook2> book;
        ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_AddressBook, nullptr, CLSCTX_INPROC_SERVER,
                                           __uuidof(IAddressBook2), book.put_void()));
        EXPECT_EQ(S_OK, book->SelectAddressBook(1));
        EXPECT_EQ(E_INVALIDARG, book->AddNewContacts(nullptr, nullptr));
        com::UniqueVariant none, results;
        EXPECT_EQ(E_INVALIDARG, book->AddContacts(none, none, &results));
    });
}

// Objects made on this single-threaded apartment, every interface of theirs
// put into the global interface table, taken out and called on a second
// single-threaded apartment.
TEST_F(Apartments, TheGlobalInterfaceTableCarriesEveryInterfaceToASecondApartment) {
    testing_support::ComApartment apartment;
    com::ComPtr<IGlobalInterfaceTable> table;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_IGlobalInterfaceTable, table.put_void()));
    struct Entry {
        const wchar_t* what;
        IID iid;
        DWORD cookie = 0;
    };
    std::vector<Entry> entries;
    const std::initializer_list<IID> controls = {__uuidof(IVelPhonebookControl), __uuidof(IVelPhonebookControl2),
                                                 __uuidof(IVelPhonebookControl3), __uuidof(IVelPhonebookControl4)};
    const struct {
        const wchar_t* what;
        const CLSID& clsid;
        std::initializer_list<IID> iids;
    } classes[] = {{L"MRUList", CLSID_MRUList, {__uuidof(IMRUList), __uuidof(IMRUList2)}},
                   {L"AddressBook", CLSID_AddressBook, {__uuidof(IAddressBook), __uuidof(IAddressBook2)}},
                   {L"VelPhonebookControl", CLSID_VelPhonebookControl, controls},
                   {L"VelPhonebookControl2", CLSID_VelPhonebookControl2, controls}};
    for (const auto& c : classes) {
        com::ComPtr<IUnknown> object;  // the table holds it
        ASSERT_EQ(S_OK, ::CoCreateInstance(c.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put_void()))
            << Utf8(c.what);
        for (const IID& iid : c.iids) {
            com::ComPtr<IUnknown> itf;
            ASSERT_EQ(S_OK, object->QueryInterface(iid, itf.put_void())) << Utf8(c.what);
            entries.push_back({c.what, iid});
            ASSERT_EQ(S_OK, table->RegisterInterfaceInGlobal(itf.get(), iid, &entries.back().cookie))
                << Utf8(c.what) << " " << Utf8(GuidText(iid));
        }
    }
    OnThread(COINIT_APARTMENTTHREADED, [&] {
        for (const Entry& entry : entries) {
            const std::string what = Utf8(std::wstring(entry.what) + L" " + GuidText(entry.iid));
            com::ComPtr<IUnknown> itf;
            ASSERT_EQ(S_OK, table->GetInterfaceFromGlobal(entry.cookie, entry.iid, itf.put_void())) << what;
            // One call of each interface's own (those of the bases travel by the same proxy).
            if (entry.iid == __uuidof(IMRUList) || entry.iid == __uuidof(IMRUList2)) {
                // Both reach the one object: its count goes on.
                EXPECT_EQ(entry.iid == __uuidof(IMRUList) ? S_OK : S_FALSE,
                          static_cast<IMRUList*>(itf.get())->Initialize())
                    << what;
            } else if (entry.iid == __uuidof(IAddressBook) || entry.iid == __uuidof(IAddressBook2)) {
                EXPECT_EQ(S_OK, static_cast<IAddressBook*>(itf.get())->SelectAddressBook(0)) << what;
            } else if (entry.iid == __uuidof(IVelPhonebookControl)) {
                // A control without a window: no rows, the count in the result code.
                EXPECT_EQ(0, static_cast<IVelPhonebookControl*>(itf.get())->GetItemCount()) << what;
            } else {
                long selected = 9;
                EXPECT_EQ(S_OK, static_cast<IVelPhonebookControl2*>(itf.get())->IsOutlookAddressBookSelected(
                                    &selected))
                    << what;
            }
        }
    });
    for (const Entry& entry : entries) EXPECT_EQ(S_OK, table->RevokeInterfaceFromGlobal(entry.cookie));
}

}  // namespace
