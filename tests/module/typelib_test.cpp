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
        ASSERT_EQ(S_OK,
                  ::LoadTypeLibEx((BinDir() + kModuleFileName).c_str(), REGKIND_NONE, m_library.put()));
    }
    // The name and help string of the library (-1) or of one of its types.
    std::pair<std::wstring, std::wstring> Doc(int index) {
        com::UniqueBstr name, doc;
        m_library->GetDocumentation(index, name.put(), doc.put(), nullptr, nullptr);
        return {name.get() ? name.get() : L"", doc.get() ? doc.get() : L""};
    }
    com::ComPtr<ITypeLib> m_library;
};

TEST_F(TypeLibrary, LibraryClassesAndInterfacesCarryTheirNames) {
    EXPECT_EQ(Doc(-1), std::make_pair(std::wstring(L"VELPHONEBOOKLib"),
                                      std::wstring(L"VelPhonebook 1.1 Type Library")));
    const std::map<std::wstring, std::wstring> classes = {
        {L"VelPhonebookControl", L"VelPhonebookControl Class"},
        {L"VelPhonebookControl2", L"VelPhonebookControl2 Class"},
        {L"MRUList", L"MRUList Class"},
        {L"AddressBook", L"AddressBook Class"}};
    int found = 0;
    for (UINT i = 0; i < m_library->GetTypeInfoCount(); ++i) {
        TYPEKIND kind;
        m_library->GetTypeInfoType(i, &kind);
        const auto [name, doc] = Doc(int(i));
        if (kind == TKIND_COCLASS) {
            ++found;
            EXPECT_EQ(classes.at(name), doc);
        } else if ((kind == TKIND_INTERFACE || kind == TKIND_DISPATCH) && name != L"IPropertyBag" &&
                   name != L"IErrorLog") {  // the platform's, carried along for the coclasses
            EXPECT_EQ(name + L" Interface", doc);
        }
    }
    EXPECT_EQ(4, found);
}

TEST_F(TypeLibrary, EveryMethodIsDocumentedAsMethodAndName) {
    for (REFIID iid : {__uuidof(IVelPhonebookControl3), __uuidof(IMRUList), __uuidof(IAddressBook),
                       DIID_IVelPhonebookControlEvents}) {
        com::ComPtr<ITypeInfo> info;
        ASSERT_EQ(S_OK, m_library->GetTypeInfoOfGuid(iid, info.put()));
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
        EXPECT_GT(attributes->cFuncs, 0);
        for (UINT i = 0; i < attributes->cFuncs; ++i) {
            FUNCDESC* function = nullptr;
            if (FAILED(info->GetFuncDesc(i, &function))) continue;
            com::UniqueBstr name, help;
            info->GetDocumentation(function->memid, name.put(), help.put(), nullptr, nullptr);
            EXPECT_EQ(L"method " + std::wstring(name.get()), std::wstring(help.get() ? help.get() : L""));
            info->ReleaseFuncDesc(function);
        }
        info->ReleaseTypeAttr(attributes);
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
