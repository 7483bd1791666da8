// The recipient entry dialog with real windows and real input over the MRU
// book: the number filter, the button rules, storing, the duplicate check
// with its deliberate self-match, the modes and the read-only flag.
#include "ui/entry_info_dlg.h"
#include "ui/edc_blend.h"

#include "support/mru_fixture.h"
#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

constexpr wchar_t kRecipientsKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";

// The control's side of the manager, over the MRU book.
class MRUOwner : public CPhonebookManager {
public:
    MRUOwner() {
        SetKind(kMRUBook);
        OpenSource();
    }
    HWND GetNotifyWindow() override { return nullptr; }
    HRESULT OnOutlookConnected() override { return S_OK; }
    void OnOutlookDisconnecting() override {}
};

CRecipient Recipient(const wchar_t* id, const wchar_t* name, const wchar_t* fax) {
    CRecipient r;
    r.identifier = id;
    r.name = name;
    r.faxNumber = fax;
    return r;
}

void SetPreferredBook(DWORD kind) {
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook", REG_DWORD, &kind, sizeof(kind));
}

class EntryDialogTest : public testing_support::MRUStoreTest {
protected:
    void SetUp() override {
        MRUStoreTest::SetUp();
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook");
        host = std::make_unique<HostWindow>();
        baseline = CountResources();
    }
    void TearDown() override {
        const ResourceCounts after = SettledResources(baseline);
        EXPECT_EQ(after.windows, baseline.windows) << "windows left behind";
        EXPECT_EQ(after.gdiObjects, baseline.gdiObjects) << "GDI objects left behind";
        EXPECT_EQ(after.threads, baseline.threads) << "threads left behind";
        EXPECT_EQ(after.handles, baseline.handles) << "handles left behind";
        host.reset();
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook");
        MRUStoreTest::TearDown();
    }

    // Runs the dialog with the steps; the first step waits for it.
    INT_PTR Run(ui::CEntryInfoDlg& dialog, std::vector<ModalScript::Step> steps) {
        steps.insert(steps.begin(), [this] { return (window = FindDialog()) != nullptr; });
        ModalScript script(std::move(steps));
        const INT_PTR result = ui::DoModalShaded(dialog, host->hwnd());
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(script.failure(), "");
        return result;
    }

    HWND Item(int id) const { return ::GetDlgItem(window, id); }
    std::wstring Text(int id) const { return WindowText(Item(id)); }
    bool Enabled(int id) const { return ::IsWindowEnabled(Item(id)) != FALSE; }
    void Set(int id, const wchar_t* text) const { ::SetWindowTextW(Item(id), text); }
    void Click(int id) const { ::SendMessageW(Item(id), BM_CLICK, 0, 0); }
    std::function<bool()> Close() const {
        return [this] {
            ::PostMessageW(window, WM_CLOSE, 0, 0);
            return true;
        };
    }

    std::vector<CRecipient> Stored() {
        MRUOwner book;
        RecipientList all;
        book.Source()->LoadAll(all);
        return {all.begin(), all.end()};
    }

    std::unique_ptr<HostWindow> host;
    ResourceCounts baseline;
    HWND window = nullptr;
};

TEST_F(EntryDialogTest, FaxFieldDropsEveryCharacterOutsideItsSetWhetherTypedOrPasted) {
    std::wstring typed, pasted, kept;
    CRecipient draft = Recipient(L"", L"New Recipient", L"");
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, draft, nullptr);
    Run(dialog, {
                    [&] {
                        TypeText(Item(214), L"12a3-b");
                        return true;
                    },
                    [&] { return (typed = Text(214)).size() >= 4; },
                    [&] {
                        Set(214, L"");
                        PasteText(Item(214), L"12a3-b");
                        pasted = Text(214);
                        Set(214, L"");
                        PasteText(Item(214), L"+1 (555) *#;x9");
                        kept = Text(214);
                        return true;
                    },
                    Close(),
                });
    EXPECT_EQ(typed, L"123-");
    EXPECT_EQ(pasted, L"123-");
    EXPECT_EQ(kept, L"+1 555 *#;9");
}

TEST_F(EntryDialogTest, TypingStopsAtTheLimitsAndEscapeClosesWithoutStoring) {
    std::wstring name, number;
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, Recipient(L"", L"", L""), nullptr);
    const INT_PTR result = Run(dialog, {[&] {
                                            TypeText(Item(214), std::wstring(50, L'7'));
                                            return true;
                                        },
                                        // Keys go where the focus is when they are read.
                                        [&] { return (number = Text(214)).size() >= 45; },
                                        [&] {
                                            TypeText(Item(213), std::wstring(140, L'n'));
                                            return true;
                                        },
                                        [&] { return (name = Text(213)).size() >= 130; },
                                        [&] {
                                            INPUT keys[2]{};
                                            keys[0].type = keys[1].type = INPUT_KEYBOARD;
                                            keys[0].ki.wVk = keys[1].ki.wVk = VK_ESCAPE;
                                            keys[1].ki.dwFlags = KEYEVENTF_KEYUP;
                                            ::SendInput(2, keys, sizeof(INPUT));
                                            return true;
                                        }});
    EXPECT_EQ(number, std::wstring(45, L'7'));
    EXPECT_EQ(name.size(), 130u);
    EXPECT_EQ(result, 2);
}

struct ButtonCase {
    std::wstring name;
    std::wstring number;
    bool enabled;
};

TEST_F(EntryDialogTest, FirstButtonNeedsANameAndThreeToFortyFiveCharactersWithoutSpaces) {
    const ButtonCase cases[] = {
        {L"Ann", L"1 2", false},
        {L"Ann", L"1 2 3", true},
        {L"Ann", L"12", false},
        {L"   ", L"123", false},
        {L"", L"123", false},
        {L" A ", L"  123  ", true},
        {L"Ann", std::wstring(45, L'9'), true},
        {L"Ann", L" ;  ", false},
        {L"Ann", L"1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3", true},
    };
    std::vector<bool> seen;
    CRecipient draft = Recipient(L"", L"x", L"");
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, draft, nullptr);
    std::vector<ModalScript::Step> steps;
    for (const ButtonCase& c : cases)
        steps.push_back([&, c] {
            Set(213, c.name.c_str());
            Set(214, c.number.c_str());
            seen.push_back(Enabled(215));
            return true;
        });
    steps.push_back(Close());
    EXPECT_EQ(Run(dialog, steps), 2) << "closing the window stores nothing";
    ASSERT_EQ(seen.size(), std::size(cases));
    for (size_t i = 0; i < seen.size(); ++i)
        EXPECT_EQ(seen[i], cases[i].enabled) << "name " << testing::PrintToString(cases[i].name) << " number "
                                             << testing::PrintToString(cases[i].number);
    EXPECT_TRUE(Stored().empty());
}

TEST_F(EntryDialogTest, NewRecipientIsStoredTrimmedAndWithoutSpacesInTheNumber) {
    MRUOwner owner;
    CRecipient draft = Recipient(L"new-1", L"New Recipient", L"000-00-00");
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, draft, &owner);
    std::wstring first, second;
    const INT_PTR result = Run(dialog, {[&] {
                                   first = Text(215);
                                   second = Text(216);
                                   Set(213, L"  Bob Miller \t");
                                   Set(214, L" 5 5 5 ");
                                   ClickWindow(Item(215));
                                   return true;
                               }});
    EXPECT_EQ(first, L"OK");
    EXPECT_EQ(second, L"Cancel");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(dialog.Record().name, L"Bob Miller");
    EXPECT_EQ(dialog.Record().faxNumber, L"555");
    EXPECT_NE(dialog.Record().key, 0u) << "the book's key comes back in the record";
    const auto stored = Stored();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].name, L"Bob Miller");
    EXPECT_EQ(stored[0].faxNumber, L"555");
}

TEST_F(EntryDialogTest, DuplicatesNeedTheSameNameAndNumberInTheSameCase) {
    MRUOwner owner;
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    ASSERT_EQ(owner.Source()->Add(ann), S_OK);

    struct Case {
        const wchar_t* name;
        const wchar_t* number;
        INT_PTR result;
    } const cases[] = {
        {L"Ann", L"222", 1},  // same name, another number
        {L"Ann", L"111", 2},  // the same pair: refused, the dialog stays until closed
        {L"ANN", L"111", 1},  // other letter case
    };
    for (const Case& c : cases) {
        CRecipient draft = Recipient(L"", c.name, c.number);
        ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, draft, &owner);
        bool warned = false;
        const INT_PTR result = Run(dialog, {[&] {
                                       Click(215);
                                       // An accepted pair has ended the dialog.
                                       warned = dialog.IsDuplicate();
                                       if (warned) ::PostMessageW(window, WM_CLOSE, 0, 0);
                                       return true;
                                   }});
        EXPECT_EQ(result, c.result) << testing::PrintToString(std::wstring(c.name));
        EXPECT_EQ(warned, c.result == 2);
    }
    EXPECT_EQ(Stored().size(), 3u);
}

TEST_F(EntryDialogTest, SavingUnchangedFindsItselfAndWarnsInRedWithTheImage) {
    MRUOwner owner;
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    ASSERT_EQ(owner.Source()->Add(ann), S_OK);
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, ann, &owner);
    std::wstring captionAfter;
    bool faxFocused = false;
    std::unique_ptr<ScreenShot> shot;
    RECT warningText{}, warningImage{}, prompt{};
    Run(dialog,
        {[&] {
             Click(215);  // Edit
             faxFocused = ::GetFocus() == Item(214);
             Click(215);  // Save, nothing changed
             captionAfter = Text(215);
             ::UpdateWindow(window);
             return true;
         },
         [&] {
             using win::ScaleX;
             using win::ScaleY;
             warningText = ClientToScreenRect(window, RECT{ScaleX(58), ScaleY(53), ScaleX(400), ScaleY(71)});
             warningImage = ClientToScreenRect(window, RECT{ScaleX(30), ScaleY(53), ScaleX(48), ScaleY(71)});
             prompt = ClientToScreenRect(window, RECT{ScaleX(30), ScaleY(30), ScaleX(400), ScaleY(48)});
             shot = std::make_unique<ScreenShot>();
             return true;
         },
         Close()});
    EXPECT_TRUE(faxFocused);
    EXPECT_TRUE(dialog.IsDuplicate());
    EXPECT_EQ(captionAfter, L"Save") << "the dialog stays in edit mode";
    ASSERT_TRUE(shot);
    EXPECT_GT(shot->Count(warningText, RGB(255, 0, 0), 8), 20) << "the warning is red";
    EXPECT_GT(shot->Count(warningImage, RGB(220, 40, 40), 24), 40) << "the warning sign is drawn";
    EXPECT_GT(shot->Count(prompt, RGB(85, 85, 85), 4), 20) << "the prompt is grey";
    EXPECT_EQ(shot->Count(prompt, RGB(255, 0, 0), 60), 0);
}

TEST_F(EntryDialogTest, SavingAChangeWritesThroughTheOwnerAndReturnsToViewMode) {
    MRUOwner owner;
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    ASSERT_EQ(owner.Source()->Add(ann), S_OK);
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, ann, &owner);
    std::wstring first, second;
    bool editsEnabled = true;
    const INT_PTR result = Run(dialog, {[&] {
                                            Click(215);
                                            Set(214, L"22 2");
                                            Click(215);
                                            first = Text(215);
                                            second = Text(216);
                                            editsEnabled = Enabled(213) || Enabled(214);
                                            return true;
                                        },
                                        Close()});
    EXPECT_EQ(result, 2);
    EXPECT_EQ(first, L"Edit");
    EXPECT_EQ(second, L"Close");
    EXPECT_FALSE(editsEnabled);
    EXPECT_FALSE(dialog.IsDuplicate());
    const auto stored = Stored();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].faxNumber, L"222");
    EXPECT_EQ(stored[0].identifier, L"a1");
}

TEST_F(EntryDialogTest, CancelInEditModeGoesBackToViewModeKeepingTheTypedText) {
    MRUOwner owner;
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    ASSERT_EQ(owner.Source()->Add(ann), S_OK);
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, ann, &owner);
    std::wstring editCaptions, viewCaptions, kept;
    bool open = false;
    const INT_PTR result = Run(dialog, {[&] {
                                            Click(215);
                                            editCaptions = Text(215) + L"/" + Text(216);
                                            Set(213, L"Annie");
                                            Click(216);
                                            viewCaptions = Text(215) + L"/" + Text(216);
                                            kept = Text(213);
                                            open = ::IsWindowVisible(window) != FALSE;
                                            return true;
                                        },
                                        [&] {
                                            Click(216);  // Close
                                            return true;
                                        }});
    EXPECT_EQ(editCaptions, L"Save/Cancel");
    EXPECT_EQ(viewCaptions, L"Edit/Close");
    EXPECT_EQ(kept, L"Annie");
    EXPECT_TRUE(open);
    EXPECT_EQ(result, 2);
    EXPECT_EQ(Stored()[0].name, L"Ann") << "nothing was written";
}

TEST_F(EntryDialogTest, ReadOnlyKeepsTheFirstButtonDisabledEvenInViewMode) {
    CRecipient ann = Recipient(L"a1", L"Ann", L"111");
    for (bool readOnly : {false, true}) {
        ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, ann, nullptr);
        dialog.SetReadOnly(readOnly);
        bool enabled = !readOnly;
        DWORD clicked = 0;
        Run(dialog,
            {[&] {
                 enabled = Enabled(215);
                 ClickWindow(Item(215));
                 clicked = ::GetTickCount();
                 return true;
             },
             [&] { return readOnly ? ::GetTickCount() - clicked > 300 : Text(215) == L"Save"; }, Close()});
        EXPECT_EQ(enabled, !readOnly);
        EXPECT_EQ(dialog.Mode(),
                  readOnly ? DWORD(ui::CEntryInfoDlg::ModeView) : DWORD(ui::CEntryInfoDlg::ModeEdit));
    }
}

TEST_F(EntryDialogTest, WithoutAnOwnerTheCheckUsesTheBookChosenInTheSettings) {
    {
        MRUOwner book;
        CRecipient ann = Recipient(L"a1", L"Ann", L"111");
        book.Source()->Add(ann);
    }
    SetPreferredBook(0xFFFFFFFF);  // the MRU book
    CRecipient again = Recipient(L"", L"Ann", L"111");
    ui::CEntryInfoDlg refused(ui::CEntryInfoDlg::ModeNew, again, nullptr);
    Run(refused, {[&] {
                      Click(215);
                      return true;
                  },
                  Close()});
    EXPECT_TRUE(refused.IsDuplicate());

    CRecipient other = Recipient(L"b2", L"Bea", L"333");
    ui::CEntryInfoDlg stored(ui::CEntryInfoDlg::ModeNew, other, nullptr);
    EXPECT_EQ(Run(stored, {[&] {
                      Click(215);
                      return true;
                  }}),
              1);
    EXPECT_EQ(Stored().size(), 2u);

    // A book that cannot be opened: nothing to check against, nothing
    // stored, and the dialog still reports success.
    SetPreferredBook(7);
    CRecipient lost = Recipient(L"c3", L"Cid", L"444");
    ui::CEntryInfoDlg nowhere(ui::CEntryInfoDlg::ModeNew, lost, nullptr);
    EXPECT_EQ(Run(nowhere, {[&] {
                      Click(215);
                      return true;
                  }}),
              1);
    EXPECT_EQ(Stored().size(), 2u);
}

TEST_F(EntryDialogTest, EditWithoutAnOwnerChangesOnlyTheDialogsCopy) {
    {
        MRUOwner book;
        CRecipient ann = Recipient(L"a1", L"Ann", L"111");
        book.Source()->Add(ann);
    }
    SetPreferredBook(0xFFFFFFFF);
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, Recipient(L"a1", L"Ann", L"111"), nullptr);
    Run(dialog, {[&] {
                     Click(215);
                     Set(214, L"999");
                     Click(215);
                     return true;
                 },
                 Close()});
    EXPECT_EQ(dialog.Record().faxNumber, L"999");
    EXPECT_EQ(Stored()[0].faxNumber, L"111");
}

TEST_F(EntryDialogTest, LayoutFollowsTheScaledNumbersAndTheDialogIsCentredOnItsParent) {
    RECT client{}, name{}, fax{}, first{}, second{}, dialogRect{};
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, Recipient(L"", L"x", L"123"), nullptr);
    std::wstring caption;
    Run(dialog,
        {[&] {
             ::GetClientRect(window, &client);
             ::GetWindowRect(window, &dialogRect);
             caption = WindowText(window);
             for (auto [id, rect] : {std::pair{213, &name}, {214, &fax}, {215, &first}, {216, &second}}) {
                 ::GetWindowRect(Item(id), rect);
                 ::MapWindowPoints(nullptr, window, reinterpret_cast<POINT*>(rect), 2);
             }
             return true;
         },
         Close()});
    using win::ScaleX;
    using win::ScaleY;
    EXPECT_EQ(caption, L"Address Book");
    EXPECT_EQ(client.right, ScaleX(430));
    EXPECT_EQ(client.bottom, ScaleY(263));
    EXPECT_EQ(name.left, ScaleX(155) + ScaleX(6));
    EXPECT_EQ(name.right, client.right - ScaleX(30));
    EXPECT_EQ(name.top, ScaleY(86));
    EXPECT_EQ(name.bottom, ScaleY(122));
    EXPECT_EQ(fax.top, ScaleY(137));
    EXPECT_EQ(second.right, client.right - ScaleX(15));
    EXPECT_EQ(first.right, second.left - ScaleX(20));
    EXPECT_EQ(first.bottom - first.top, ScaleY(36));
    RECT hostRect{};
    ::GetWindowRect(host->hwnd(), &hostRect);
    EXPECT_NEAR(dialogRect.left + dialogRect.right, hostRect.left + hostRect.right, 1);
}

}  // namespace
