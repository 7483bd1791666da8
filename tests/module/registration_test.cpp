// The module seen from outside: regsvr32 for the machine and for the user,
// the embedded type library, the class objects and the unload rule.
#include "com/com_ptr.h"
#include "module_test_support.h"

using namespace module_test;
using testing_support::RunRegsvr32;

namespace {

// The registry view of the other architecture (a 64-bit process's module is
// not registered for 32-bit processes, nor the other way round).
#ifdef _WIN64
constexpr REGSAM kOtherView = KEY_WOW64_32KEY;
#else
constexpr REGSAM kOtherView = KEY_WOW64_64KEY;
#endif

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
    com::ComPtr<ITypeLib> library;
    EXPECT_EQ(S_OK, ::LoadRegTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, library.put()));

    // Registering again rewrites a class's key as a whole.
    const std::wstring stale = L"CLSID\\" + GuidText(CLSID_MRUList) + L"\\LocalServer32";
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CLASSES_ROOT, stale.c_str(), nullptr, REG_SZ, L"x", 4));
    ASSERT_EQ(0, RunRegsvr32(false));
    EXPECT_FALSE(testing_support::RegistryKeyExists(HKEY_CLASSES_ROOT, stale));

    ASSERT_EQ(0, RunRegsvr32(true));
    ExpectNoModuleKeys(HKEY_CLASSES_ROOT, L"");
    EXPECT_TRUE(testing_support::RegistryKeyExists(HKEY_CLASSES_ROOT, L"CLSID"));
    EXPECT_TRUE(testing_support::RegistryKeyExists(HKEY_CLASSES_ROOT, L"TypeLib"));
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
        EXPECT_TRUE(testing_support::RegistryKeyExists(HKEY_CURRENT_USER, kUserClasses + key)) << testing_support::Utf8(key);
#endif
    ExpectNoModuleKeys(HKEY_LOCAL_MACHINE, kUserClasses);
    ASSERT_EQ(0, RunUserRegsvr32(true));
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);
    EXPECT_EQ(0, RunUserRegsvr32(true)) << "removing twice is fine";

    ASSERT_EQ(0, RunRegsvr32(false));
    ASSERT_EQ(0, RunUserRegsvr32(false));
    ASSERT_EQ(0, RunUserRegsvr32(true));
    ExpectEntries(HKEY_CLASSES_ROOT, L"", RegisteredEntries(BinDir() + kModuleFileName));
}

TEST_F(Registration, DllInstallTakesNoOtherCommandLineThanUser) {
    testing_support::ComApartment apartment;
    com::UniqueModule module(::LoadLibraryW((BinDir() + kModuleFileName).c_str()));
    const auto install = reinterpret_cast<HRESULT(WINAPI*)(BOOL, LPCWSTR)>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllInstall")));
    ASSERT_TRUE(install);
    for (const wchar_t* line : {static_cast<const wchar_t*>(nullptr), L"", L"machine", L"users", L"use", L"user ",
                                L" user", L"/i:user", L"user,machine"})
        for (const BOOL installing : {TRUE, FALSE})
            EXPECT_EQ(E_INVALIDARG, install(installing, line)) << (line ? testing_support::Utf8(line) : "(null)");
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);
    ASSERT_EQ(S_OK, install(TRUE, L"USER")) << "the word is taken in any case";
    EXPECT_TRUE(testing_support::RegistryKeyExists(HKEY_CURRENT_USER, kUserClasses + L"Zantix.MRUList"));
    ASSERT_EQ(S_OK, install(FALSE, L"User"));
    ExpectNoModuleKeys(HKEY_CURRENT_USER, kUserClasses);
}

// The library in the module: its identifier, version and the system kind of
// the module's architecture.
TEST(TypeLibrary, CarriesItsIdentityAndSystemKind) {
    com::ComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, ::LoadTypeLibEx((BinDir() + kModuleFileName).c_str(), REGKIND_NONE, library.put()));
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
    EXPECT_EQ(GuidText(LIBID_VELPHONEBOOKLib), GuidText(attributes->guid));
    EXPECT_EQ(1, attributes->wMajorVerNum);
    EXPECT_EQ(1, attributes->wMinorVerNum);
#ifdef _WIN64
    EXPECT_EQ(SYS_WIN64, attributes->syskind);
#else
    EXPECT_EQ(SYS_WIN32, attributes->syskind);
#endif
    library->ReleaseTLibAttr(attributes);
}

// The module's exports called directly: the unload rule counts objects and
// locks (a stray unlock counts for nothing), class objects for its classes only.
TEST(ModuleExports, CanUnloadOnlyWhenNoObjectOrLockIsLeft) {
    testing_support::ComApartment apartment;
    com::UniqueModule module(::LoadLibraryW((BinDir() + kModuleFileName).c_str()));
    ASSERT_TRUE(module);
    const auto canUnload = reinterpret_cast<HRESULT(WINAPI*)()>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllCanUnloadNow")));
    const auto getClassObject = reinterpret_cast<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllGetClassObject")));
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

}  // namespace
