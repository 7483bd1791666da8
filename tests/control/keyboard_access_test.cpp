// Both controls from the keyboard and through a screen reader's eyes: letters
// typed into the list move to the first recipient whose name starts with
// them, a pause starts a new prefix, the space still ticks check boxes, an
// open in-place edit keeps the list where it is; every button and the list
// have the names and roles the platform's accessibility layer reports.
#include "support/control_host.h"

#include "com/unique_any.h"

#include <oleacc.h>

#include <string>
#include <vector>

using namespace control_test;

namespace {

constexpr wchar_t kProgId2[] = L"Zantix.VelPhonebookControl2";
// IAccessible's identifier, spelled out: two of the platform libraries both
// define it.
constexpr IID kAccessible = {0x618736e0, 0x3c3d, 0x11cf, {0x81, 0x0c, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

const std::vector<std::pair<std::wstring, std::wstring>> kPeople = {
    {L"Carla Diaz", L"333-444"}, {L"bob Jones", L"555-0199"}, {L"Anna Berg", L"111-222"},
    {L"Bea Koch", L"777-12"},    {L"Ölaf Lind", L"030 99 88"},
};

void Type(HWND list, const std::wstring& text) {
    for (wchar_t c : text) ::SendMessageW(list, WM_CHAR, c, 1);
}

int SelectedRow(HWND list) {
    return int(::SendMessageW(list, LVM_GETNEXTITEM, WPARAM(-1), LVNI_SELECTED));
}

struct Accessible {
    std::wstring name;
    long role = 0;
};

Accessible AccessibleOf(HWND window) {
    Accessible found;
    com::ComPtr<IAccessible> accessible;
    if (FAILED(::AccessibleObjectFromWindow(window, DWORD(OBJID_CLIENT), kAccessible, accessible.put_void())) ||
        !accessible)
        return found;
    VARIANT self;
    ::VariantInit(&self);
    self.vt = VT_I4;
    self.lVal = CHILDID_SELF;
    BSTR name = nullptr;
    if (accessible->get_accName(self, &name) == S_OK && name) found.name = name;
    ::SysFreeString(name);
    VARIANT role;
    ::VariantInit(&role);
    if (SUCCEEDED(accessible->get_accRole(self, &role)) && role.vt == VT_I4) found.role = role.lVal;
    return found;
}

class KeyboardAccessTest : public HostedControlTest {
protected:
    // Hosts one of the two controls on the recently used book.
    void HostOn(const wchar_t* progId) {
        WriteBook(kPeople);
        m_host = std::make_unique<AtlHost>(420, 330, progId);
        m_control = m_host->query<IVelPhonebookControl3>();
        ASSERT_TRUE(m_control);
        ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
        ASSERT_TRUE(PumpUntil([&] { return ItemCount() == int(kPeople.size()); }, 3000));
        Pump(100);
    }
};

TEST_F(KeyboardAccessTest, TypedLettersFindRecipientsByName) {
    struct Case {
        const wchar_t* progId;
    };
    for (const Case& c : {Case{kProgId}, Case{kProgId2}}) {
        SCOPED_TRACE(c.progId == kProgId ? "first control" : "second control");
        ASSERT_NO_FATAL_FAILURE(HostOn(c.progId));
        const HWND list = m_host->list();
        ::SetFocus(list);
        const auto selectedName = [&] {
            const int row = SelectedRow(list);
            return row < 0 ? std::wstring() : NameAt(row);
        };
        // The first name from the top with the prefix, whatever the case.
        std::wstring firstB;
        for (int row = 0; row < ItemCount() && firstB.empty(); ++row) {
            const std::wstring name = NameAt(row);
            if (name[0] == L'b' || name[0] == L'B') firstB = name;
        }
        Type(list, L"B");
        EXPECT_EQ(selectedName(), firstB);
        EXPECT_EQ(::SendMessageW(list, LVM_GETSELECTEDCOUNT, 0, 0), 1);
        Type(list, L"ea");
        EXPECT_EQ(selectedName(), L"Bea Koch") << "the letters make one prefix";
        Type(list, L"x");
        EXPECT_EQ(selectedName(), L"Bea Koch") << "no name starts with the prefix: nothing moves";
        Pump(2 * ::GetDoubleClickTime() + 100);
        Type(list, L"ö");
        EXPECT_EQ(selectedName(), L"Ölaf Lind") << "after a pause a new prefix, case-insensitive beyond ASCII";
        Pump(2 * ::GetDoubleClickTime() + 100);
        Type(list, L"c");
        EXPECT_EQ(selectedName(), L"Carla Diaz");
        const int carla = SelectedRow(list);
        const int row = carla;

        // The space ticks the focused row's box instead of joining the prefix.
        com::UniqueBstr header(::SysAllocString(L""));
        if (c.progId == kProgId) m_control->EnableCheckBoxes(TRUE, header.get());
        ::SendMessageW(list, WM_KEYDOWN, VK_SPACE, 1);
        ::SendMessageW(list, WM_CHAR, L' ', 1);
        ::SendMessageW(list, WM_KEYUP, VK_SPACE, 1);
        Pump(100);
        EXPECT_EQ(::SendMessageW(list, LVM_GETITEMSTATE, WPARAM(row), LVIS_STATEIMAGEMASK), INDEXTOSTATEIMAGEMASK(2))
            << "the space ticked the row";
        EXPECT_EQ(SelectedRow(list), carla);

        m_control.reset();
        m_host.reset();
        Pump(50);
    }
}

// With a cell of the first control open, letters go to the cell, and a
// letter that reaches the list moves nothing.
TEST_F(KeyboardAccessTest, AnOpenEditKeepsTheListWhereItIs) {
    ASSERT_NO_FATAL_FAILURE(HostOn(kProgId));
    const HWND list = m_host->list();
    ::SendMessageW(m_host->item(203), BM_CLICK, 0, 0);  // Add opens the new row's name
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    const int row = SelectedRow(list);
    Type(list, L"An");
    EXPECT_EQ(SelectedRow(list), row);
    EXPECT_NE(EditBox(list), nullptr) << "the edit stays open";
    ::SendMessageW(EditBox(list), WM_KEYDOWN, VK_ESCAPE, 1);
}

// What a screen reader hears: every button by its (localized) text, the image
// buttons by their tooltips, the list by its name (the header's column texts
// are the localized strings of the list).
TEST_F(KeyboardAccessTest, ButtonsAndTheListHaveNamesAndRoles) {
    struct Case {
        const wchar_t* progId;
        bool checkBoxes;
        std::vector<std::pair<int, std::wstring>> buttons;
    };
    const Case cases[] = {
        {kProgId, false, {{203, L"Add"}, {202, L"Remove"}, {208, L"Edit"}}},
        {kProgId, true, {{209, L"Add the AddressBook"}, {210, L"Edit the AddressBook"}, {211, L"Remove the AddressBook"}}},
        {kProgId2, false, {{203, L"New"}, {202, L"Delete"}, {212, L"Add to Address Book"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.progId == kProgId ? "first control" : "second control") +
                     (c.checkBoxes ? ", check boxes" : ""));
        ASSERT_NO_FATAL_FAILURE(HostOn(c.progId));
        if (c.checkBoxes) {
            com::UniqueBstr header(::SysAllocString(L""));
            m_control->EnableCheckBoxes(TRUE, header.get());
            Pump(50);
        }
        for (const auto& [id, name] : c.buttons) {
            const Accessible button = AccessibleOf(m_host->item(id));
            EXPECT_EQ(button.name, name) << id;
            // Windows' proxies say push button; Wine's accessibility layer has
            // none for these classes and calls every window a client area.
            EXPECT_TRUE(button.role == ROLE_SYSTEM_PUSHBUTTON || button.role == ROLE_SYSTEM_CLIENT) << id;
        }
        const Accessible list = AccessibleOf(m_host->list());
        EXPECT_EQ(list.name, L"Recipients");
        EXPECT_TRUE(list.role == ROLE_SYSTEM_LIST || list.role == ROLE_SYSTEM_CLIENT);
        m_control.reset();
        m_host.reset();
        Pump(50);
    }
}

}  // namespace
