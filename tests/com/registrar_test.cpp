// The registry-script interpreter on a scratch key of the current user.
#include "com/registrar.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

constexpr wchar_t kScratch[] = L"Software\\VelPhonebookTest\\Registrar";

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
    static bool Exists(const wchar_t* sub) { return RegistryKeyExists(HKEY_CURRENT_USER, Path(sub)); }
    static std::optional<std::wstring> Text(const wchar_t* sub, const wchar_t* name = nullptr) {
        return RegistryText(HKEY_CURRENT_USER, Path(sub), name);
    }
    static void CreateKey(const wchar_t* sub) {
        com::UniqueHKey key;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(sub).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(),
                          nullptr);
    }

    com::ReplacementMap m_map{{L"Name", L"Value"}, {L"Path", L"C:\\Program Files\\O'Brien\\x.dll"}};
};

// Replacement values are taken literally (a quote in a value needs no escaping).
TEST_F(Registrar, WritesKeysDefaultValuesNamedValuesAndReplacements) {
    ASSERT_EQ(S_OK, Run(L"Registrar = s 'top'\n{\n Sub = s '%Name%'\n { val Mode = s 'Apartment' val Count = d 42 }\n"
                        L" 'Key With Spaces' = s 'it''s quoted'\n Empty\n Server = s '%Path%' Percent = s '100%%' '%Name%'\n}"));
    EXPECT_EQ(L"top", Text(L""));
    EXPECT_EQ(L"Value", Text(L"Sub"));
    EXPECT_EQ(L"Apartment", Text(L"Sub", L"Mode"));
    DWORD count = 0, size = sizeof count;
    ASSERT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_CURRENT_USER, Path(L"Sub").c_str(), L"Count", RRF_RT_REG_DWORD,
                                            nullptr, &count, &size));
    EXPECT_EQ(42u, count);
    EXPECT_EQ(L"it's quoted", Text(L"Key With Spaces"));
    EXPECT_TRUE(Exists(L"Empty"));
    EXPECT_FALSE(Text(L"Empty")) << "a key without '=' gets no default value";
    EXPECT_EQ(L"C:\\Program Files\\O'Brien\\x.dll", Text(L"Server"));
    EXPECT_EQ(L"100%", Text(L"Percent"));
    EXPECT_TRUE(Exists(L"Value")) << "key names are replaced too";
}

TEST_F(Registrar, ForceRemoveClearsTheKeyBeforeWritingAndDeleteRemovesIt) {
    CreateKey(L"Class\\Stale");
    CreateKey(L"Old\\Child");
    ASSERT_EQ(S_OK, Run(L"Registrar { ForceRemove Class = s 'c' { Fresh } Delete Old }"));
    EXPECT_FALSE(Exists(L"Class\\Stale"));
    EXPECT_TRUE(Exists(L"Class\\Fresh"));
    EXPECT_FALSE(Exists(L"Old"));
}

TEST_F(Registrar, UnregisteringRemovesWhatTheScriptNamesAndKeepsTheRest) {
    const wchar_t* script = L"Registrar { NoRemove Shared { Mine = s 'm' { Deep } } Owned { Inner } "
                            L"ForceRemove Forced { } Kept { val Value = s 'v' } }";
    ASSERT_EQ(S_OK, Run(script));
    CreateKey(L"Shared\\Foreign");
    CreateKey(L"Forced\\Foreign");
    CreateKey(L"Kept\\Foreign");
    ASSERT_EQ(S_OK, Run(script, com::RegistrarMode::Unregister));
    EXPECT_TRUE(Exists(L"Shared\\Foreign")) << "NoRemove keys stay";
    EXPECT_FALSE(Exists(L"Shared\\Mine"));
    EXPECT_FALSE(Exists(L"Owned"));
    EXPECT_FALSE(Exists(L"Forced")) << "a ForceRemove key goes with all it holds";
    EXPECT_TRUE(Exists(L"Kept\\Foreign")) << "a plain key holding foreign keys is kept";
    EXPECT_FALSE(Text(L"Kept", L"Value")) << "but its named values go";
    EXPECT_EQ(S_OK, Run(script, com::RegistrarMode::Unregister)) << "twice is fine";
}

TEST_F(Registrar, BrokenScriptsFailBeforeWritingAnything) {
    constexpr HRESULT kBad = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
    const wchar_t* broken[] = {
        L"Registrar { A = s 'x' ",             // unclosed brace
        L"Registrar { A = s '%Unknown%' }",    // unknown replacement
        L"Registrar { A = s 'unterminated }",  // unterminated quote
        L"Registrar { A = q 'x' }",            // unknown type
        L"Registrar { A = d 'ten' }",          // not a number
        L"Registrar { A = s }",                // missing value
        L"Registrar { val }",                  // value without a name
        L"Registrar { A = s '%Name' }",        // unterminated replacement
    };
    for (const wchar_t* body : broken) {
        EXPECT_EQ(kBad, Run(body)) << ::testing::PrintToString(std::wstring(body));
        EXPECT_FALSE(Exists(L"")) << ::testing::PrintToString(std::wstring(body));
    }
    EXPECT_EQ(kBad, com::RunRegistryScript(L"HKXY { A }", m_map, com::RegistrarMode::Register));
    EXPECT_EQ(kBad, com::RunRegistryScript(L"HKCU { val A = s 'x' }", m_map, com::RegistrarMode::Register));
    EXPECT_EQ(S_OK, com::RunRegistryScript(L"", m_map, com::RegistrarMode::Register));
    EXPECT_TRUE(FAILED(
        com::RunRegistryScriptResource(::GetModuleHandleW(nullptr), 104, m_map, com::RegistrarMode::Register)))
        << "a program without scripts";
}

// A script may nest keys deeper than any thread's stack could follow level by
// level: it is parsed and walked on a small stack all the same.
TEST_F(Registrar, DeepNestingNeedsNoDeepStack) {
    const auto nested = [](int levels, const wchar_t* innermost) {
        std::wstring text;
        for (int i = 0; i < levels; ++i) text += L"D {\n";
        text += innermost;
        for (int i = 0; i < levels; ++i) text += L"}\n";
        return text;
    };
    const std::wstring deepKeys = nested(100, L"val Bottom = s 'here'");
    HRESULT unclosed = E_PENDING, registered = E_PENDING, unregistered = E_PENDING;
    std::optional<std::wstring> bottom;
    ASSERT_TRUE(RunOnThread(256 * 1024, [&] {
        unclosed = Run(L"Registrar {\n" + nested(100'000, L""));  // one brace short
        registered = Run(L"Registrar {\n" + deepKeys + L"Sibling\n}");
        std::wstring path = L"D";
        for (int i = 1; i < 100; ++i) path += L"\\D";
        bottom = Text(path.c_str(), L"Bottom");
        // Deeper than what is stored: the walk stops where the keys end,
        // and deletes the emptied keys on its way back.
        unregistered =
            Run(L"Registrar {\n" + nested(100'000, L"") + L"Sibling\n}", com::RegistrarMode::Unregister);
    }));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INVALID_DATA), unclosed);
    EXPECT_EQ(S_OK, registered);
    EXPECT_EQ(L"here", bottom);
    EXPECT_EQ(S_OK, unregistered);
    EXPECT_FALSE(Exists(L""));
}

}  // namespace
