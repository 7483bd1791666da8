// The embedded type library as clients and tools read it: names, help strings
// and dispatch identifiers follow the published rules for every member.
#include "com/com_ptr.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

using namespace testing_support;

namespace {

class TypeLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(S_OK, ::LoadTypeLibEx((BinDir() + L"VelPhonebook64.dll").c_str(), REGKIND_NONE, m_library.put()));
    }
    std::wstring Doc(int index) {
        com::UniqueBstr name, doc;
        m_library->GetDocumentation(index, name.put(), doc.put(), nullptr, nullptr);
        return doc.get() ? doc.get() : L"";
    }
    com::ComPtr<ITypeLib> m_library;
};

struct Method {
    DISPID id;
    std::vector<std::wstring> names;  // the method's name, then its parameters
};

// Every method of an interface, as the type library describes it.
std::map<std::wstring, Method> Methods(ITypeInfo* info, std::map<std::wstring, std::wstring>* helps = nullptr) {
    std::map<std::wstring, Method> methods;
    TYPEATTR* attributes = nullptr;
    if (FAILED(info->GetTypeAttr(&attributes))) return methods;
    for (UINT i = 0; i < attributes->cFuncs; ++i) {
        FUNCDESC* function = nullptr;
        if (FAILED(info->GetFuncDesc(i, &function))) continue;
        BSTR names[8] = {};
        UINT count = 0;
        info->GetNames(function->memid, names, 8, &count);
        Method method{function->memid, {}};
        for (UINT n = 0; n < count; ++n) {
            method.names.push_back(names[n]);
            ::SysFreeString(names[n]);
        }
        com::UniqueBstr help;
        info->GetDocumentation(function->memid, nullptr, help.put(), nullptr, nullptr);
        if (helps) (*helps)[method.names[0]] = help.get() ? help.get() : L"";
        methods[method.names[0]] = method;
        info->ReleaseFuncDesc(function);
    }
    info->ReleaseTypeAttr(attributes);
    return methods;
}

TEST_F(TypeLibrary, LibraryAndClassesCarryTheirNames) {
    com::UniqueBstr name, doc;
    ASSERT_EQ(S_OK, m_library->GetDocumentation(-1, name.put(), doc.put(), nullptr, nullptr));
    EXPECT_STREQ(L"VELPHONEBOOKLib", name.get());
    EXPECT_STREQ(L"VelPhonebook 1.1 Type Library", doc.get());

    const std::map<std::wstring, std::wstring> classes = {{L"VelPhonebookControl", L"VelPhonebookControl Class"},
                                                          {L"VelPhonebookControl2", L"VelPhonebookControl2 Class"},
                                                          {L"MRUList", L"MRUList Class"},
                                                          {L"AddressBook", L"AddressBook Class"}};
    int found = 0;
    for (UINT i = 0; i < m_library->GetTypeInfoCount(); ++i) {
        TYPEKIND kind;
        m_library->GetTypeInfoType(i, &kind);
        com::UniqueBstr typeName;
        m_library->GetDocumentation(int(i), typeName.put(), nullptr, nullptr, nullptr);
        const std::wstring text = typeName.get();
        if (kind == TKIND_COCLASS) {
            ++found;
            EXPECT_EQ(classes.at(text), Doc(int(i)));
        } else if ((kind == TKIND_INTERFACE || kind == TKIND_DISPATCH) && text != L"IPropertyBag" &&
                   text != L"IErrorLog") {  // the platform's, carried along for the coclasses
            EXPECT_EQ(text + L" Interface", Doc(int(i)));
        }
    }
    EXPECT_EQ(4, found);
}

TEST_F(TypeLibrary, EveryMethodIsDocumentedAsMethodAndName) {
    for (REFIID iid : {__uuidof(IVelPhonebookControl3), __uuidof(IMRUList), __uuidof(IAddressBook),
                       DIID_IVelPhonebookControlEvents}) {
        com::ComPtr<ITypeInfo> info;
        ASSERT_EQ(S_OK, m_library->GetTypeInfoOfGuid(iid, info.put()));
        std::map<std::wstring, std::wstring> helps;
        Methods(info.get(), &helps);
        EXPECT_FALSE(helps.empty());
        for (const auto& [name, help] : helps) EXPECT_EQ(L"method " + name, help);
    }
}

TEST_F(TypeLibrary, DispatchIdentifiersAndParameterNamesAreThePublishedOnes) {
    const std::vector<std::pair<REFIID, std::map<std::wstring, Method>>> expected = {
        {__uuidof(IMRUList),
         {{L"Initialize", {1, {L"Initialize"}}},
          {L"Terminate", {2, {L"Terminate"}}},
          {L"UpdateMRU", {0x60020002, {L"UpdateMRU", L"bstrList"}}},
          {L"GetMRU", {0x60020003, {L"GetMRU", L"bstrList"}}},
          {L"ListsToString", {0x60020004, {L"ListsToString", L"bstrList", L"psaNames", L"psaPhones"}}},
          {L"StringToLists", {0x60020005, {L"StringToLists", L"ppsaNames", L"ppsaPhones", L"bstrList"}}}}},
        {__uuidof(IAddressBook),
         {{L"SelectAddressBook", {1, {L"SelectAddressBook", L"lSelected"}}},
          {L"AddNewContacts", {2, {L"AddNewContacts", L"psaNames", L"psaPhones"}}}}},
        {__uuidof(IVelPhonebookControl3),
         {{L"EnableCheckBoxes", {0x60040000, {L"EnableCheckBoxes", L"bEnable", L"bstrHeader"}}},
          {L"SelectItem", {0x60040001, {L"SelectItem", L"nItem"}}},
          {L"SetSortMode", {0x60040002, {L"SetSortMode", L"nSortMode"}}},
          {L"GetSortMode", {0x60040003, {L"GetSortMode", L"pnSortMode"}}}}},
        {DIID_IVelPhonebookControlEvents,
         {{L"OnItemSelected", {1, {L"OnItemSelected", L"nItem", L"bSelect", L"nSelCount"}}}}},
    };
    for (const auto& [iid, methods] : expected) {
        com::ComPtr<ITypeInfo> info;
        ASSERT_EQ(S_OK, m_library->GetTypeInfoOfGuid(iid, info.put()));
        const auto actual = Methods(info.get());
        for (const auto& [name, method] : methods) {
            ASSERT_TRUE(actual.count(name)) << name;
            EXPECT_EQ(method.id, actual.at(name).id) << name;
            EXPECT_EQ(method.names, actual.at(name).names) << name;
        }
    }

    // The control's interfaces build on one another, so IVelPhonebookControl3
    // carries the methods of the first two.
    com::ComPtr<ITypeInfo> third;
    ASSERT_EQ(S_OK, m_library->GetTypeInfoOfGuid(__uuidof(IVelPhonebookControl3), third.put()));
    DISPID id = 0;
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"GetSelItem"), const_cast<LPOLESTR>(L"nFrom")};
    DISPID ids[2] = {};
    ASSERT_EQ(S_OK, third->GetIDsOfNames(names, 2, ids));
    EXPECT_EQ(0x60020002, ids[0]);
    LPOLESTR select[] = {const_cast<LPOLESTR>(L"IsOutlookAddressBookSelected")};
    ASSERT_EQ(S_OK, third->GetIDsOfNames(select, 1, &id));
    EXPECT_EQ(0x60030001, id);
}

}  // namespace
