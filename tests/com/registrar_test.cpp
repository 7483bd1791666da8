// The registry-script interpreter on a scratch key of the current user.
#include "com/registrar.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

constexpr wchar_t kScratch[] = L"Software\\VelPhonebookTest\\Registrar";
constexpr HRESULT kBad = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);

class Registrar : public ::testing::Test {
protected:
    void SetUp() override { DeleteUserKey(kScratch); }
    void TearDown() override { DeleteUserKey(kScratch); }

    HRESULT Run(const std::wstring& body, com::RegistrarMode mode = com::RegistrarMode::Register) {
        const std::wstring script = L"HKCU\n{\n NoRemove Software\n {\n  NoRemove VelPhonebookTest\n  {\n" + body +
                                    L"\n  }\n }\n}\n";
        return com::RunRegistryScript(script, m_map, mode);
    }
    static std::wstring Path(const wchar_t* sub) { return std::wstring(kScratch) + (*sub ? L"\\" : L"") + sub; }
    static std::optional<std::wstring> Text(const wchar_t* sub, const wchar_t* name = nullptr) {
        return RegistryText(HKEY_CURRENT_USER, Path(sub), name);
    }
    // Those of the keys that exist, each followed by a space.
    static std::wstring Existing(std::initializer_list<const wchar_t*> keys) {
        std::wstring found;
        for (const wchar_t* key : keys) found += RegistryKeyExists(HKEY_CURRENT_USER, Path(key)) ? key + std::wstring(L" ") : L"";
        return found;
    }
    static void CreateKeys(std::initializer_list<const wchar_t*> keys) {
        for (const wchar_t* key : keys) {
            com::UniqueHKey created;
            ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(key).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, created.put(), nullptr);
        }
    }

    com::ReplacementMap m_map{{L"Name", L"Value"}, {L"Path", L"C:\\Program Files\\O'Brien\\x.dll"}};
};

// Replacement values are taken literally (a quote in a value needs no
// escaping); key names are replaced too; a key without "=" gets no default value.
TEST_F(Registrar, WritesKeysDefaultValuesNamedValuesAndReplacements) {
    ASSERT_EQ(S_OK, Run(L"Registrar = s 'top'\n{\n Sub = s '%Name%'\n { val Mode = s 'Apartment' val Count = d 42 }\n"
                        L" 'Key With Spaces' = s 'it''s quoted'\n Empty\n Server = s '%Path%' Percent = s '100%%' '%Name%'\n}"));
    const std::vector<std::optional<std::wstring>> texts = {Text(L""), Text(L"Sub"), Text(L"Sub", L"Mode"),
                                                            Text(L"Key With Spaces"), Text(L"Empty"), Text(L"Server"),
                                                            Text(L"Percent")};
    EXPECT_EQ(texts, (std::vector<std::optional<std::wstring>>{L"top", L"Value", L"Apartment", L"it's quoted", std::nullopt,
                                                               L"C:\\Program Files\\O'Brien\\x.dll", L"100%"}));
    DWORD count = 0, size = sizeof count;
    ::RegGetValueW(HKEY_CURRENT_USER, Path(L"Sub").c_str(), L"Count", RRF_RT_REG_DWORD, nullptr, &count, &size);
    EXPECT_EQ(42u, count);
    EXPECT_EQ(Existing({L"Empty", L"Value"}), L"Empty Value ");
}

// ForceRemove clears a key first, Delete removes one. Unregistering keeps
// NoRemove keys, removes ForceRemove ones whole and plain ones unless they
// hold foreign keys (their values go anyway); twice is fine.
TEST_F(Registrar, ForceRemoveDeleteAndUnregistering) {
    CreateKeys({L"Class\\Stale", L"Old\\Child"});
    ASSERT_EQ(S_OK, Run(L"Registrar { ForceRemove Class = s 'c' { Fresh } Delete Old }"));
    EXPECT_EQ(Existing({L"Class\\Stale", L"Class\\Fresh", L"Old"}), L"Class\\Fresh ");

    const wchar_t* script = L"Registrar { NoRemove Shared { Mine = s 'm' { Deep } } Owned { Inner } "
                            L"ForceRemove Forced { } Kept { val Value = s 'v' } }";
    ASSERT_EQ(S_OK, Run(script));
    CreateKeys({L"Shared\\Foreign", L"Forced\\Foreign", L"Kept\\Foreign"});
    ASSERT_EQ(S_OK, Run(script, com::RegistrarMode::Unregister));
    EXPECT_EQ(Existing({L"Shared\\Foreign", L"Shared\\Mine", L"Owned", L"Forced", L"Kept\\Foreign"}),
              L"Shared\\Foreign Kept\\Foreign ");
    EXPECT_FALSE(Text(L"Kept", L"Value"));
    EXPECT_EQ(S_OK, Run(script, com::RegistrarMode::Unregister));
}

// A broken script fails before writing anything.
TEST_F(Registrar, BrokenScriptsFailBeforeWritingAnything) {
    for (const wchar_t* body : {L"Registrar { A = s 'x' ", L"Registrar { A = s '%Unknown%' }", L"Registrar { A = s '%Name' }",
                                L"Registrar { A = s 'unterminated }", L"Registrar { A = q 'x' }", L"Registrar { A = d 'ten' }",
                                L"Registrar { A = s }", L"Registrar { val }"}) {
        EXPECT_EQ(kBad, Run(body)) << ::testing::PrintToString(std::wstring(body));
        EXPECT_EQ(Existing({L""}), L"") << ::testing::PrintToString(std::wstring(body));
    }
    EXPECT_EQ(kBad, com::RunRegistryScript(L"HKXY { A }", m_map, com::RegistrarMode::Register));
    EXPECT_EQ(kBad, com::RunRegistryScript(L"HKCU { val A = s 'x' }", m_map, com::RegistrarMode::Register));
    EXPECT_EQ(S_OK, com::RunRegistryScript(L"", m_map, com::RegistrarMode::Register));
    EXPECT_TRUE(FAILED(com::RunRegistryScriptResource(::GetModuleHandleW(nullptr), 104, m_map, com::RegistrarMode::Register)))
        << "a program without scripts";
}

}  // namespace
