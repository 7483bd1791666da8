// Self-registration with regsvr32, and the module's class objects and unload
// rule, seen from outside through the module's exports.
#include "com/com_ptr.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <set>

using namespace testing_support;

namespace {

std::wstring GuidText(REFGUID guid) {
    wchar_t text[64];
    ::StringFromGUID2(guid, text, 64);
    return text;
}

bool KeyExists(const std::wstring& path) {
    return RegistryKeyExists(HKEY_CLASSES_ROOT, path);
}
std::optional<std::wstring> Text(const std::wstring& path, const wchar_t* name = nullptr) {
    return RegistryText(HKEY_CLASSES_ROOT, path, name);
}

std::set<std::wstring> Subkeys(const std::wstring& path) {
    std::set<std::wstring> names;
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return names;
    wchar_t name[256];
    for (DWORD i = 0, length = 256;
         ::RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++i, length = 256)
        names.insert(name);
    return names;
}

const std::wstring kTypeLibKey = L"TypeLib\\" + GuidText(LIBID_VELPHONEBOOKLib);

// The module's classes, by the name their script registers them under, with
// the keys a control has beyond those of every class.
const struct PublishedClass {
    const wchar_t* name;
    const CLSID* clsid;
    std::set<std::wstring> controlKeys;
} kClasses[] = {{L"MRUList", &CLSID_MRUList, {}},
                {L"AddressBook", &CLSID_AddressBook, {}},
                {L"VelPhonebookControl2",
                 &CLSID_VelPhonebookControl2,
                 {L"Control", L"Insertable", L"ToolboxBitmap32", L"MiscStatus"}}};

class Registration : public ::testing::Test {
protected:
    // Other test programs expect the module registered.
    static void TearDownTestSuite() { RunRegsvr32(false); }
};

TEST_F(Registration, RegistersExactlyThePublishedKeysAndTheTypeLibrary) {
    ASSERT_EQ(0, RunRegsvr32(false));
    for (const PublishedClass& published : kClasses) {
        SCOPED_TRACE(published.name);
        const std::wstring name = published.name, clsid = GuidText(*published.clsid);
        const std::wstring progId = L"Zantix." + name, versioned = progId + L".1";
        const std::wstring description = L"Orvanta " + name + L" Class", classKey = L"CLSID\\" + clsid;

        EXPECT_EQ(description, Text(versioned));
        EXPECT_EQ(std::set<std::wstring>{L"CLSID"}, Subkeys(versioned));
        EXPECT_EQ(clsid, Text(versioned + L"\\CLSID"));
        EXPECT_EQ(description, Text(progId));
        EXPECT_EQ((std::set<std::wstring>{L"CLSID", L"CurVer"}), Subkeys(progId));
        EXPECT_EQ(clsid, Text(progId + L"\\CLSID"));
        EXPECT_EQ(versioned, Text(progId + L"\\CurVer"));

        EXPECT_EQ(description, Text(classKey));
        std::set<std::wstring> subkeys{L"InprocServer32", L"ProgID",  L"Programmable",
                                       L"TypeLib",        L"Version", L"VersionIndependentProgID"};
        subkeys.insert(published.controlKeys.begin(), published.controlKeys.end());
        EXPECT_EQ(subkeys, Subkeys(classKey));
        EXPECT_EQ(versioned, Text(classKey + L"\\ProgID"));
        EXPECT_EQ(progId, Text(classKey + L"\\VersionIndependentProgID"));
        EXPECT_TRUE(Subkeys(classKey + L"\\Programmable").empty());
        EXPECT_EQ(0, _wcsicmp(Text(classKey + L"\\InprocServer32").value_or(L"").c_str(),
                              (BinDir() + kModuleFileName).c_str()));
        EXPECT_EQ(L"Apartment", Text(classKey + L"\\InprocServer32", L"ThreadingModel"));
        EXPECT_EQ(GuidText(LIBID_VELPHONEBOOKLib), Text(classKey + L"\\TypeLib"));
        EXPECT_EQ(L"1.1", Text(classKey + L"\\Version"));
        if (published.controlKeys.empty()) continue;
        EXPECT_TRUE(Subkeys(classKey + L"\\Control").empty());
        EXPECT_TRUE(Subkeys(classKey + L"\\Insertable").empty());
        EXPECT_EQ(0, _wcsicmp(Text(classKey + L"\\ToolboxBitmap32").value_or(L"").c_str(),
                              (BinDir() + kModuleFileName + L", 101").c_str()));
        EXPECT_EQ(L"0", Text(classKey + L"\\MiscStatus"));
        EXPECT_EQ(L"131473", Text(classKey + L"\\MiscStatus\\1"));
    }

    EXPECT_TRUE(KeyExists(kTypeLibKey + L"\\1.1"));
    com::ComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, ::LoadRegTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, library.put()));
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(LIBID_VELPHONEBOOKLib, attributes->guid));
    EXPECT_EQ(1, attributes->wMajorVerNum);
    EXPECT_EQ(1, attributes->wMinorVerNum);
    library->ReleaseTLibAttr(attributes);
    for (REFIID iid : {__uuidof(IMRUList), __uuidof(IAddressBook), __uuidof(IVelPhonebookControl3)}) {
        com::ComPtr<ITypeInfo> info;
        EXPECT_EQ(S_OK, library->GetTypeInfoOfGuid(iid, info.put())) << GuidText(iid).c_str();
    }
}

TEST_F(Registration, UnregisteringRemovesEverythingButTheSharedRoots) {
    ASSERT_EQ(0, RunRegsvr32(false));
    ASSERT_EQ(0, RunRegsvr32(true));
    for (const PublishedClass& published : kClasses) {
        const std::wstring progId = std::wstring(L"Zantix.") + published.name;
        EXPECT_FALSE(KeyExists(progId + L".1")) << progId;
        EXPECT_FALSE(KeyExists(progId)) << progId;
        EXPECT_FALSE(KeyExists(L"CLSID\\" + GuidText(*published.clsid))) << progId;
    }
    EXPECT_FALSE(KeyExists(kTypeLibKey + L"\\1.1"));
    EXPECT_TRUE(KeyExists(L"CLSID"));
    EXPECT_TRUE(KeyExists(L"TypeLib"));
    EXPECT_EQ(0, RunRegsvr32(true)) << "unregistering twice is fine";
}

TEST_F(Registration, RegisteringAgainReplacesTheClassKey) {
    const std::wstring classKey = L"CLSID\\" + GuidText(CLSID_MRUList);
    ASSERT_EQ(0, RunRegsvr32(false));
    com::UniqueHKey stale;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CLASSES_ROOT, (classKey + L"\\LocalServer32").c_str(), 0,
                                               nullptr, 0, KEY_ALL_ACCESS, nullptr, stale.put(), nullptr));
    stale.reset();
    ASSERT_EQ(0, RunRegsvr32(false));
    EXPECT_FALSE(KeyExists(classKey + L"\\LocalServer32"));
    EXPECT_TRUE(KeyExists(classKey + L"\\InprocServer32"));
}

// The module's exports, called directly.
class ModuleExports : public ::testing::Test {
protected:
    void SetUp() override {
        m_module.reset(::LoadLibraryW((BinDir() + kModuleFileName).c_str()));
        ASSERT_TRUE(m_module);
        const auto address = [&](const char* name) {
            return reinterpret_cast<void*>(::GetProcAddress(m_module.get(), name));
        };
        m_canUnload = reinterpret_cast<decltype(m_canUnload)>(address("DllCanUnloadNow"));
        m_getClassObject = reinterpret_cast<decltype(m_getClassObject)>(address("DllGetClassObject"));
        ASSERT_TRUE(m_canUnload && m_getClassObject);
    }
    com::ComPtr<IClassFactory> Factory() {
        com::ComPtr<IClassFactory> factory;
        EXPECT_EQ(S_OK, m_getClassObject(CLSID_MRUList, IID_IClassFactory, factory.put_void()));
        return factory;
    }

    ComApartment m_apartment;
    com::UniqueModule m_module;
    HRESULT(WINAPI* m_canUnload)() = nullptr;
    HRESULT(WINAPI* m_getClassObject)(REFCLSID, REFIID, void**) = nullptr;
};

TEST_F(ModuleExports, CanUnloadOnlyWhenNoObjectOrLockIsLeft) {
    EXPECT_EQ(S_OK, m_canUnload());
    com::ComPtr<IClassFactory> factory = Factory();
    ASSERT_TRUE(factory);
    EXPECT_EQ(S_FALSE, m_canUnload()) << "a class object holds the module";
    com::ComPtr<IMRUList> mru;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, __uuidof(IMRUList), mru.put_void()));
    factory.reset();
    EXPECT_EQ(S_FALSE, m_canUnload()) << "an object holds the module";
    ASSERT_EQ(S_OK, mru->Initialize());
    com::ComPtr<IDispatch> dispatch = mru.query<IDispatch>();
    mru.reset();
    EXPECT_EQ(S_FALSE, m_canUnload()) << "any interface of the object holds it";
    dispatch.reset();
    EXPECT_EQ(S_OK, m_canUnload());

    ASSERT_EQ(S_OK, Factory()->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, m_canUnload()) << "a lock holds it after its class object is gone";
    Factory()->LockServer(FALSE);
    EXPECT_EQ(S_OK, m_canUnload());

    // An unlock without a lock changes nothing: neither a later lock nor a
    // live object is cancelled by it.
    EXPECT_EQ(S_OK, Factory()->LockServer(FALSE));
    EXPECT_EQ(S_OK, m_canUnload());
    ASSERT_EQ(S_OK, Factory()->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, m_canUnload()) << "the stray unlock did not eat this lock";
    Factory()->LockServer(FALSE);
    EXPECT_EQ(S_OK, m_canUnload()) << "nor drove the count below zero";
    ASSERT_EQ(S_OK, Factory()->CreateInstance(nullptr, __uuidof(IMRUList), mru.put_void()));
    Factory()->LockServer(FALSE);
    EXPECT_EQ(S_FALSE, m_canUnload()) << "a stray unlock does not free a live object's hold";
    mru.reset();
    EXPECT_EQ(S_OK, m_canUnload());
}

TEST_F(ModuleExports, UnknownClassesAndBadRequestsFail) {
    com::ComPtr<IUnknown> object;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
              m_getClassObject(IID_IUnknown, IID_IClassFactory, object.put_void()));
    EXPECT_EQ(nullptr, object.get());
    EXPECT_EQ(E_NOINTERFACE, m_getClassObject(CLSID_MRUList, IID_IDispatch, object.put_void()));
    EXPECT_EQ(E_POINTER, m_getClassObject(CLSID_MRUList, IID_IClassFactory, nullptr));

    com::ComPtr<IClassFactory> factory = Factory();
    com::ComPtr<IUnknown> outer;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IUnknown, outer.put_void()));
    EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(outer.get(), IID_IUnknown, object.put_void()));
    EXPECT_EQ(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_IClassFactory, object.put_void()));
    EXPECT_EQ(nullptr, object.get());
    outer.reset();
    factory.reset();
    EXPECT_EQ(S_OK, m_canUnload()) << "failed requests leave nothing alive";
}

TEST_F(ModuleExports, ObjectsFollowTheIdentityRules) {
    com::ComPtr<IMRUList> mru;
    ASSERT_EQ(S_OK, Factory()->CreateInstance(nullptr, __uuidof(IMRUList), mru.put_void()));
    EXPECT_EQ(mru.query<IUnknown>().get(), mru.query<IDispatch>().query<IUnknown>().get());
    EXPECT_EQ(static_cast<IDispatch*>(mru.get()), mru.query<IDispatch>().get());
    EXPECT_FALSE(mru.query<IClassFactory>());
    EXPECT_FALSE(mru.query<IAddressBook>());

    com::ComPtr<ITypeInfo> info;
    ASSERT_EQ(S_OK, mru.query<IDispatch>()->GetTypeInfo(0, 0, info.put()));
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(__uuidof(IMRUList), attributes->guid));
    info->ReleaseTypeAttr(attributes);
}

}  // namespace
