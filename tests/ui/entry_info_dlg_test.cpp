// The recipient entry dialog with real input over the MRU book: what can be
// typed, what is stored and refused, the modes and the result.
#include "ui/entry_info_dlg.h"
#include "ui/edc_blend.h"

#include "support/mru_fixture.h"
#include "ui_harness.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;
using ui::CEntryInfoDlg;

constexpr wchar_t kRecipientsKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";
constexpr DWORD kMRUBookSetting = 0xFFFFFFFF, kNoSuchBook = 7;

class EntryDialogTest : public HostedTest<testing_support::MRUStoreTest> {
protected:
    void TearDown() override {
        HostedTest::TearDown();
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook");
    }
    static void SetPreferredBook(DWORD kind) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook", REG_DWORD, &kind, sizeof(kind));
    }
    INT_PTR Run(CEntryInfoDlg& entry, std::vector<ModalScript::Step> steps) {
        return Modal([&] { return ui::DoModalShaded(entry, host.get()); }, std::move(steps));
    }
    std::wstring Text(int id) const { return WindowText(Item(id)); }
    std::wstring Captions() const { return Text(215) + L"/" + Text(216); }
    void Set(int id, const std::wstring& text) const { ::SetWindowTextW(Item(id), text.c_str()); }
    void Click(int id) const { ::SendMessageW(Item(id), BM_CLICK, 0, 0); }
    // What the book holds, as "identifier name/number" each.
    static std::vector<std::wstring> Stored() {
        MRUOwner book;
        RecipientList all;
        book.Source()->LoadAll(all);
        std::vector<std::wstring> pairs;
        for (const CRecipient& r : all) pairs.push_back(r.identifier + L" " + r.name + L"/" + r.faxNumber);
        return pairs;
    }
};

// Pasted and set text meet the limits (130 and 45 characters) and the fax
// filter (digits, spaces, + - * # ;), also under a skin's subclass that
// swallows EM_REPLACESEL. The first button needs a name and 3 to 45
// characters besides spaces; Escape ends with 2 and stores nothing.
TEST_F(EntryDialogTest, TypingRulesAndWhenTheFirstButtonIsEnabled) {
    const auto paste = [&](int id, const std::wstring& text) {
        Set(id, L"");
        PasteText(Item(id), text);
        return Text(id);
    };
    const SUBCLASSPROC swallow = [](HWND edit, UINT message, WPARAM w, LPARAM l, UINT_PTR, DWORD_PTR) WINAPI -> LRESULT {
        return message == EM_REPLACESEL ? 0 : ::DefSubclassProc(edit, message, w, l);
    };
    const struct {
        std::wstring name, number;
        bool enabled;
    } cases[] = {
        {L"Ann", L"1 2", false}, {L"Ann", L"1 2 3", true}, {L"Ann", L"12", false}, {L"   ", L"123", false},
        {L"", L"123", false},    {L" A ", L"  123  ", true}, {L"Ann", std::wstring(45, L'9'), true},
        {L"Ann", L" ;  ", false}, {L"Ann", std::wstring(46, L'9'), false},  // set past the typing limit
        {L"Ann", L"1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3", true},
    };
    CEntryInfoDlg entry(CEntryInfoDlg::ModeNew, Recipient(L"", L"", L""), nullptr);
    EXPECT_EQ(Run(entry, {Do([&] {
                      EXPECT_EQ(paste(214, L"12a3-b"), L"123-");
                      EXPECT_EQ(paste(214, L"+1 (555) *#;x9"), L"+1 555 *#;9");
                      EXPECT_EQ(paste(214, std::wstring(50, L'7')), std::wstring(45, L'7'));
                      EXPECT_EQ(paste(213, std::wstring(140, L'n')), std::wstring(130, L'n'));
                      ASSERT_TRUE(::SetWindowSubclass(Item(214), swallow, 1, 0));
                      Set(214, L"12a3-b");
                      EXPECT_EQ(Text(214), L"123-");
                      ::RemoveWindowSubclass(Item(214), swallow, 1);
                      for (const auto& c : cases) {
                          Set(213, c.name);
                          Set(214, c.number);
                          EXPECT_EQ(::IsWindowEnabled(Item(215)) != FALSE, c.enabled)
                              << testing::PrintToString(c.name + L"/" + c.number);
                      }
                      ::SendMessageW(dialog, WM_COMMAND, IDCANCEL, 0);  // Escape
                  })}),
              2);
    EXPECT_TRUE(Stored().empty());
}

// A new pair is stored trimmed, without spaces in the number, unless the book
// (the owner's, else the one in the settings) holds it in the same case; a
// book that cannot be opened stores nothing (the control tests: AddToBook).
TEST_F(EntryDialogTest, NewPairIsStoredTrimmedAndRefusedOnlyWhenTheBookHoldsItAlready) {
    MRUOwner owner;
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    ASSERT_EQ(owner.Source()->Add(ann), S_OK);
    const struct {
        bool owned;
        DWORD setting;
        const wchar_t *name, *number;
        bool refused;
        size_t stored;
    } cases[] = {
        {true, kNoSuchBook, L"Ann", L"222", false, 2},  {true, kNoSuchBook, L"Ann", L"111", true, 2},
        {true, kNoSuchBook, L" Ann ", L"1 11", true, 2}, {true, kNoSuchBook, L"ANN", L"111", false, 3},
        {false, kMRUBookSetting, L"Ann", L"111", true, 3}, {false, kMRUBookSetting, L" Bob Miller\t", L" 5 5 5 ", false, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name) + L"/" + c.number) + (c.owned ? " owned" : ""));
        SetPreferredBook(c.setting);
        CEntryInfoDlg entry(CEntryInfoDlg::ModeNew, Recipient(L"", c.name, c.number), c.owned ? &owner : nullptr);
        EXPECT_EQ(Run(entry, {Do([&] {
                          EXPECT_EQ(Captions(), L"OK/Cancel");
                          Click(215);
                          if (entry.IsDuplicate()) ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                      })}),
                  c.refused ? 2 : 1);
        EXPECT_EQ(entry.IsDuplicate(), c.refused);
        EXPECT_EQ(Stored().size(), c.stored);
    }
    const auto stored = Stored();
    EXPECT_EQ(std::count_if(stored.begin(), stored.end(), [](const auto& r) { return r.find(L" Bob Miller/555") != r.npos; }), 1);
}

// Save unchanged finds the recipient itself and stays in edit mode; Save
// after a change returns to view mode and writes only through an owner.
// Cancel in edit mode keeps the typed text unwritten; Escape ends with 2.
// The dialog is centred on its parent.
TEST_F(EntryDialogTest, EditSaveCancelAndReadOnly) {
    SetPreferredBook(kMRUBookSetting);
    for (bool owned : {true, false}) {
        SCOPED_TRACE(owned ? "with an owner" : "without an owner");
        testing_support::DeleteUserKey(kMRUKeyPath);
        MRUOwner owner;
        CRecipient ann = Recipient(L"a1", L"Ann", L"111");
        ASSERT_EQ(owner.Source()->Add(ann), S_OK);
        CEntryInfoDlg entry(CEntryInfoDlg::ModeView, ann, owned ? &owner : nullptr);
        EXPECT_EQ(Run(entry, {Do([&] {
                          const RECT box = WindowRect(dialog), parent = WindowRect(host.get());
                          EXPECT_NEAR(box.left + box.right, parent.left + parent.right, 1) << "centred on its parent";
                          Click(215);
                          EXPECT_EQ(::GetFocus(), Item(214)) << "the number gets the focus";
                          Click(215);
                          EXPECT_EQ(Captions(), L"Save/Cancel");
                          EXPECT_TRUE(entry.IsDuplicate());
                          Set(214, L"22 2");
                          Click(215);
                          EXPECT_EQ(Captions(), L"Edit/Close");
                          EXPECT_FALSE(entry.IsDuplicate() || ::IsWindowEnabled(Item(213)) || ::IsWindowEnabled(Item(214)));
                          Click(215);
                          Set(213, L"Annie");
                          Click(216);
                          EXPECT_EQ(Captions() + L" " + Text(213), L"Edit/Close Annie");
                          Click(215);
                          ::SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
                      })}),
                  2);
        EXPECT_EQ(entry.Record().faxNumber, L"222");
        EXPECT_EQ(Stored(), std::vector<std::wstring>{owned ? L"a1 Ann/222" : L"a1 Ann/111"});
    }
    // Read-only: Edit stays disabled and a command that reaches it anyway is no press.
    CEntryInfoDlg readOnly(CEntryInfoDlg::ModeView, Recipient(L"a1", L"Ann", L"111"), nullptr);
    readOnly.SetReadOnly(true);
    Run(readOnly, {Do([&] {
                       EXPECT_FALSE(::IsWindowEnabled(Item(215)));
                       ::SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(215, BN_CLICKED), LPARAM(Item(215)));
                   }),
                   CloseDialog()});
    EXPECT_EQ(readOnly.Mode(), DWORD(CEntryInfoDlg::ModeView));
}

}  // namespace
