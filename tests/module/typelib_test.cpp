// The embedded type library as clients and tools read it: names, help strings
// and dispatch identifiers follow the published rules for every member.
#include "com/com_ptr.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <map>

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

// The help string of every method of an interface, by method name.
std::map<std::wstring, std::wstring> MethodHelp(ITypeInfo* info) {
    std::map<std::wstring, std::wstring> helps;
    TYPEATTR* attributes = nullptr;
    if (FAILED(info->GetTypeAttr(&attributes))) return helps;
    for (UINT i = 0; i < attributes->cFuncs; ++i) {
        FUNCDESC* function = nullptr;
        if (FAILED(info->GetFuncDesc(i, &function))) continue;
        com::UniqueBstr name, help;
        info->GetDocumentation(function->memid, name.put(), help.put(), nullptr, nullptr);
        helps[name.get()] = help.get() ? help.get() : L"";
        info->ReleaseFuncDesc(function);
    }
    info->ReleaseTypeAttr(attributes);
    return helps;
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
        const auto helps = MethodHelp(info.get());
        EXPECT_FALSE(helps.empty());
        for (const auto& [name, help] : helps) EXPECT_EQ(L"method " + name, help);
    }
}

// The control's interfaces build on one another, so IVelPhonebookControl3
// carries the methods of the first two under their own identifiers.
TEST_F(TypeLibrary, DerivedControlInterfacesCarryTheirBasesMethods) {
    com::ComPtr<ITypeInfo> third;
    ASSERT_EQ(S_OK, m_library->GetTypeInfoOfGuid(__uuidof(IVelPhonebookControl3), third.put()));
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"GetSelItem"), const_cast<LPOLESTR>(L"nFrom")};
    DISPID ids[2] = {};
    ASSERT_EQ(S_OK, third->GetIDsOfNames(names, 2, ids));
    EXPECT_EQ(0x60020002, ids[0]);
    LPOLESTR select[] = {const_cast<LPOLESTR>(L"IsOutlookAddressBookSelected")};
    ASSERT_EQ(S_OK, third->GetIDsOfNames(select, 1, ids));
    EXPECT_EQ(0x60030001, ids[0]);
}

}  // namespace
