// The phonebook control on Windows Contacts (the book it opens first on
// Vista and later), hosted in Wine's ATL host over the address-book
// stand-in: which .contact files become rows, changes that another process
// makes in the Contacts folder, and what the user's Add, in-place edits and
// Remove leave in the files. After every test nothing of the control is
// left: no window, no watcher thread, no handle.
#include "support/control_host.h"
#include "list_test_support.h"
#include "support/wab_fixture.h"
#include "ui_harness.h"

#include "com/unique_any.h"
#include "core/iab.h"

#include <algorithm>
#include <utility>

using namespace control_test;
using namespace testing_support;

namespace {

// Another process's change reaches the list within a second, plus the half
// second by which the control delays every reload.
constexpr DWORD kFollowMs = 1500;
// Long enough for the folder watcher's notice and the reload after it.
constexpr DWORD kReloadSettleMs = 900;

const std::vector<std::wstring> kFaxBusiness = {L"Fax", L"Business"};

// A row as the host reads it: name and number.
using Row = std::pair<std::wstring, std::wstring>;

std::vector<Row> Sorted(std::vector<Row> rows) {
    std::sort(rows.begin(), rows.end());
    return rows;
}

ContactXml Person(const std::wstring& id, const std::wstring& name, const std::wstring& fax) {
    return {id, name, {{kFaxBusiness, fax}}};
}
const ContactXml kAnna = Person(L"id-anna", L"Anna Berg", L"+49 30 1234");
const ContactXml kBea = Person(L"id-bea", L"Bea Koch", L"777-12");
const Row kAnnaRow{L"Anna Berg", L"+49 30 1234"}, kBeaRow{L"Bea Koch", L"777-12"};

// Writes each person's file under the person's name, as Windows Contacts does.
void WritePeople(std::initializer_list<ContactXml> people) {
    for (const ContactXml& person : people) WriteContact(person.name + L".contact", person);
}

// Runs the probe that changes the Contacts folder as another program would.
int Probe(const std::wstring& arguments) {
    return RunProcess(L"\"" + BinDir() + L"wab_probe.exe\" " + arguments);
}

std::string FileOf(const std::wstring& name) {
    return ReadFileBytes(ContactsFolder() + L"\\" + name);
}

class ControlContactsTest : public HostedControlTest {
protected:
    static void SetUpTestSuite() {
        HostedControlTest::SetUpTestSuite();
        // Registered for good, as on the systems the control is made for (an
        // activation of a missing class costs Wine two handles every time).
        ASSERT_EQ(0, RegisterStandIn());
    }
    void SetUp() override {
        HostedControlTest::SetUp();
        ClearContactsFolder();
        // The first life loads what stays for the process (the ATL host, the
        // stand-in library and its XML parser, COM's classes, and GoogleTest's
        // own thread that the first trace starts); the counts are taken after it.
        static bool warm = false;
        if (!std::exchange(warm, true)) {
            SCOPED_TRACE("warm-up");
            WriteContact(L"Warm.contact", Person(L"id-warm", L"Warm", L"123"));
            Host(1);
            CloseHost();
            ClearContactsFolder();
        }
        m_before = ui_test::CountResources();
    }
    void TearDown() override {
        CloseHost();
        HostedControlTest::TearDown();
        ClearContactsFolder();
        const ui_test::ResourceCounts after = ui_test::SettledResources(m_before);
        EXPECT_LE(after.windows, m_before.windows) << "a window of the control is left";
        EXPECT_LE(after.threads, m_before.threads) << "the folder watcher runs on";
        EXPECT_LE(after.handles, m_before.handles) << "a handle is left";
    }

    // Hosts the control, which opens Windows Contacts by itself, and waits
    // for its first fill; a sink hears the events.
    void Host(int rows) {
        m_host = std::make_unique<AtlHost>();
        m_control = m_host->query<IVelPhonebookControl3>();
        ASSERT_TRUE(m_control) << "the ATL host did not create the control";
        LONG book = 9;
        ASSERT_EQ(m_control->IsOutlookAddressBookSelected(&book), S_OK);
        ASSERT_EQ(book, 0) << "the Windows book is the first one";
        Pump(kReloadSettleMs);
        ASSERT_TRUE(PumpUntil([&] { return ItemCount() == rows; }, 3000)) << ItemCount() << " rows";
        m_sink = com::Make<EventSink>();
        m_cookie = AdviseSink(m_control.get(), m_sink.get());
    }
    void CloseHost() {
        if (m_cookie) UnadviseSink(m_control.get(), m_cookie);
        m_cookie = 0;
        m_sink.reset();
        m_control.reset();
        m_host.reset();
        Pump(50);
    }

    Row RowAt(int row) const {
        com::UniqueBstr name, fax;
        m_control->GetItem(row, nullptr, name.put(), fax.put());
        return {name.get() ? name.get() : L"", fax.get() ? fax.get() : L""};
    }
    std::vector<Row> Rows() const {
        std::vector<Row> rows;
        for (int i = 0; i < ItemCount(); ++i) rows.push_back(RowAt(i));
        return Sorted(rows);
    }
    bool WaitForRows(const std::vector<Row>& wanted, DWORD timeoutMs) {
        return PumpUntil([&] { return Rows() == Sorted(wanted); }, timeoutMs);
    }
    // The first row with this name or number.
    int RowOf(const std::wstring& text) const {
        for (int i = 0; i < ItemCount(); ++i)
            if (RowAt(i).first == text || RowAt(i).second == text) return i;
        return -1;
    }
    ULONG KeyAt(int row) const {
        ULONG key = 0;
        m_control->GetItem(row, &key, nullptr, nullptr);
        return key;
    }
    // Waits for the in-place edit box (it may open from a posted message).
    HWND Box() const {
        HWND box = nullptr;
        PumpUntil([&] { return (box = EditBox(m_host->list())) != nullptr; }, 1000);
        return box;
    }
    // Opens the edit on a row with the Edit button (on the name) and, for
    // the number, moves on with Tab.
    HWND EditCell(int row, bool number) {
        m_control->SelectItem(row);
        ::SendMessageW(m_host->item(208), BM_CLICK, 0, 0);
        if (number && Box()) listtest::PressKey(Box(), VK_TAB);
        return Box();
    }
    // Types over the open box's text with key messages and presses Enter.
    void TypeAndEnter(HWND box, const std::wstring& text) {
        listtest::Type(box, text);
        listtest::PressKey(box, VK_RETURN);
        Pump(100);
    }

    ui_test::ResourceCounts m_before;
    com::ComPtr<EventSink> m_sink;
    DWORD m_cookie = 0;
};

TEST_F(ControlContactsTest, ListsTheContactsWithAFaxNumberAndNoOthers) {
    WritePeople(
        {kAnna,
         Person(L"id-zoe", L"Zo\u00eb \u00d8rsted", L"0049 89 5550"),
         {L"id-two", L"Two faxes", {{{L"Fax"}, L"111"}, {{L"Voice"}, L"222"}, {{L"Fax", L"Home"}, L"333-9"}}},
         // Not fax recipients: no number labelled Fax, a Fax element
         // without a number, no identifier.
         {L"id-voice", L"Voice only", {{{L"Business"}, L"444"}}},
         {L"id-nonumber", L"No number", {{kFaxBusiness, L""}}},
         Person(L"", L"No id", L"555")});
    WriteContact(L"Nameless.contact", Person(L"id-nameless", L"", L"777-1"));
    WriteContactsFile(L"Broken.contact", "<c:contact");  // no contact at all

    ASSERT_NO_FATAL_FAILURE(Host(4));
    EXPECT_EQ(Rows(), Sorted({{L"", L"777-1"},
                              kAnnaRow,
                              {L"Two faxes", L"333-9"},
                              {L"Zo\u00eb \u00d8rsted", L"0049 89 5550"}}));
    // A reload over the same files changes nothing.
    ::PostMessageW(m_host->controlWindow(), kReloadMessage, 0, 2);
    Pump(kReloadSettleMs);
    EXPECT_EQ(ItemCount(), 4);
}

// The probe writes, rewrites and deletes files; the user's sort and mark
// stay through every reload. The folder is watched for written files (as
// on Windows, a deletion writes none): a deletion shows with the next write.
TEST_F(ControlContactsTest, FilesChangedByAnotherProcessReachTheListWithinASecond) {
    WritePeople({kAnna});
    ASSERT_NO_FATAL_FAILURE(Host(1));
    ASSERT_EQ(m_control->SetSortMode(4), S_OK);
    m_control->SelectItem(0);
    struct Step {
        std::vector<const wchar_t*> changes;
        std::vector<Row> rows;
    };
    const Step steps[] = {
        {{L"write \"Dora Lind.contact\" \"Dora Lind\" \"030 99 88\""},
         {kAnnaRow, {L"Dora Lind", L"030 99 88"}}},
        {{L"write \"Bea Koch.contact\" \"Bea Koch\" \"777-12\""},
         {kAnnaRow, kBeaRow, {L"Dora Lind", L"030 99 88"}}},
        {{L"write \"Dora Lind.contact\" \"Dora Lind-Roth\" \"030 99 89\""},
         {kAnnaRow, kBeaRow, {L"Dora Lind-Roth", L"030 99 89"}}},
        {{L"delete \"Bea Koch.contact\"", L"write \"Emil Roth.contact\" \"Emil Roth\" \"123-456\""},
         {kAnnaRow, {L"Dora Lind-Roth", L"030 99 89"}, {L"Emil Roth", L"123-456"}}},
    };
    ULONG doraKey = 0;
    for (const Step& step : steps) {
        SCOPED_TRACE(Utf8(step.changes.back()));
        for (const wchar_t* change : step.changes) ASSERT_EQ(Probe(change), 0);
        EXPECT_TRUE(WaitForRows(step.rows, kFollowMs)) << "the list has " << ItemCount() << " rows";
        std::vector<std::wstring> names;
        for (int row = 0; row < ItemCount(); ++row) names.push_back(NameAt(row));
        EXPECT_TRUE(std::is_sorted(names.rbegin(), names.rend())) << "still sorted by name, descending";
        EXPECT_EQ(NameAt(m_control->GetSelItem(-1, nullptr, nullptr, nullptr)), L"Anna Berg")
            << "the mark stays";
        const int dora = std::max(RowOf(L"Dora Lind"), RowOf(L"Dora Lind-Roth"));
        if (doraKey == 0) doraKey = KeyAt(dora);
        EXPECT_EQ(KeyAt(dora), doraKey) << "a rewritten file is the same contact, not a new row";
    }
}

// Add, then the name and the number typed into the in-place edit: one
// .contact file named after the person with the number as business fax.
TEST_F(ControlContactsTest, AddAndInPlaceEditsAreWrittenIntoTheContactFiles) {
    WritePeople({kAnna});
    ASSERT_NO_FATAL_FAILURE(Host(1));
    ::SendMessageW(m_host->item(203), BM_CLICK, 0, 0);
    ASSERT_EQ(ItemCount(), 2);
    EXPECT_EQ(ContactFiles(), (std::vector<std::wstring>{L"Anna Berg.contact", L"New Recipient.contact"}));
    HWND box = Box();
    ASSERT_TRUE(box) << "the edit opens over the new name";
    listtest::Type(box, L"Xaver Neu");  // over the selected placeholder
    listtest::PressKey(box, VK_TAB);
    box = Box();
    ASSERT_TRUE(box) << "Tab moves the edit to the number";
    TypeAndEnter(box, L"+43 1 5550");
    EXPECT_EQ(EditBox(m_host->list()), nullptr);

    EXPECT_EQ(ContactFiles(), (std::vector<std::wstring>{L"Anna Berg.contact", L"Xaver Neu.contact"}));
    const std::string xml = FileOf(L"Xaver Neu.contact");
    EXPECT_NE(Between(xml, "<c:FormattedName", "</c:FormattedName>").find(">Xaver Neu<"), std::string::npos)
        << xml;
    const std::string phone = Between(xml, "<c:PhoneNumber ", "</c:PhoneNumber>");
    for (const char* part : {">+43 1 5550<", ">Fax<", ">Business<"})
        EXPECT_NE(phone.find(part), std::string::npos) << part << " in " << phone;
    EXPECT_EQ(xml.find("000-00-00"), std::string::npos) << "the placeholder number is gone";
    // The folder watcher's reload after our own writes adds no second row.
    Pump(kReloadSettleMs);
    EXPECT_EQ(Rows(), Sorted({kAnnaRow, {L"Xaver Neu", L"+43 1 5550"}}));

    // A number edited in place goes into the existing file, under its name.
    box = EditCell(RowOf(L"Anna Berg"), true);
    ASSERT_TRUE(box);
    TypeAndEnter(box, L"0171 2345");
    const std::string anna = FileOf(L"Anna Berg.contact");
    EXPECT_NE(anna.find(">0171 2345<"), std::string::npos) << anna;
    EXPECT_EQ(anna.find("+49 30 1234"), std::string::npos);
    EXPECT_EQ(ContactFiles().size(), 2u);
}

// What the user types into a cell is checked by the control before the book
// is written: lengths of the number, an empty name, a duplicate entry. A
// refusal shows the message over the host's window and reopens the cell.
TEST_F(ControlContactsTest, CommittedEditsAreCheckedBeforeTheBookIsWritten) {
    WritePeople({Person(L"id-ann", L"Ann", L"111-222"), Person(L"id-ben", L"Ben", L"333-444")});
    ASSERT_NO_FATAL_FAILURE(Host(2));
    int row = NameAt(0) == L"Ben" ? 0 : 1;
    const HWND list = m_host->list();
    // The list's own label editing opens the edit box on the name instead.
    ::SendMessageW(list, LVM_EDITLABELW, WPARAM(row), 0);
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    listtest::PressKey(EditBox(list), VK_TAB);  // on to the number
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));

    const std::wstring incorrect = L"This address is incorrect.";
    struct Case {
        std::wstring number;
        bool accepted;
    };
    const Case cases[] = {
        {L"12", false}, {std::wstring(46, L'9'), false}, {L"   ", false},
        {L"123", true}, {std::wstring(45, L'8'), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.number.begin(), c.number.end()));
        HWND box = nullptr;
        if (!c.accepted || !EditBox(list)) {
            ASSERT_TRUE(PumpUntil([&] { return (box = EditBox(list)) != nullptr; }, 1000)) << "the cell is open";
        } else {
            box = EditBox(list);
        }
        ::SetWindowTextW(box, c.number.c_str());
        MessageBoxAnswer ok(IDOK);
        listtest::PressKey(box, VK_RETURN);
        PumpUntil([&] { return ok.answered(); }, c.accepted ? 300 : 2000);
        EXPECT_EQ(ok.answered(), !c.accepted);
        if (!c.accepted) {
            EXPECT_EQ(ok.text().rfind(incorrect, 0), 0u);
            EXPECT_EQ(ok.owner(), m_host->top());
            ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000)) << "reopened after a refusal";
            continue;
        }
        Pump(100);
        EXPECT_EQ(EditBox(list), nullptr);
        com::UniqueBstr fax;
        ASSERT_EQ(m_control->GetItem(row, nullptr, nullptr, fax.put()), HRESULT(row));
        EXPECT_EQ(std::wstring(fax.get()), c.number);
        EXPECT_NE(FileOf(L"Ben.contact").find(">" + std::string(c.number.begin(), c.number.end()) + "<"),
                  std::string::npos);
        if (&c != &cases[std::size(cases) - 1]) {
            ::SendMessageW(list, LVM_EDITLABELW, WPARAM(row), 0);
            ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
            listtest::PressKey(EditBox(list), VK_TAB);
            ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
        }
    }

    // Ben renamed to Ann with Ann's number is a duplicate.
    ::SendMessageW(list, LVM_EDITLABELW, WPARAM(row), 0);
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    listtest::PressKey(EditBox(list), VK_TAB);
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    ::SetWindowTextW(EditBox(list), L"111-222");
    listtest::PressKey(EditBox(list), VK_RETURN);
    Pump(100);
    ::SendMessageW(list, LVM_EDITLABELW, WPARAM(row), 0);
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    ::SetWindowTextW(EditBox(list), L"  Ann ");
    {
        MessageBoxAnswer ok(IDOK);
        listtest::PressKey(EditBox(list), VK_RETURN);
        EXPECT_TRUE(PumpUntil([&] { return ok.answered(); }, 2000));
        EXPECT_EQ(ok.text().rfind(L"This address already exists.", 0), 0u);
    }
    PumpUntil([&] { return EditBox(list) != nullptr; }, 1000);
    if (const HWND box = EditBox(list)) listtest::PressKey(box, VK_ESCAPE);
    EXPECT_EQ(NameAt(row), L"Ben");
}

// Another program adds a contact that sorts above the one whose number is
// being typed: the reload re-sorts, the edit box follows its row with the
// half-typed text, no "incorrect address" box appears, and the file keeps
// the old number until the user commits.
TEST_F(ControlContactsTest, AnOutsideChangeReSortsAroundAHalfTypedCell) {
    WritePeople({Person(L"id-ben", L"Ben", L"333-444"), Person(L"id-carla", L"Carla", L"555-666")});
    ASSERT_NO_FATAL_FAILURE(Host(2));
    ASSERT_EQ(m_control->SetSortMode(3), S_OK);  // by name, ascending
    ASSERT_EQ(NameAt(0), L"Ben");
    const HWND box = EditCell(0, true);
    ASSERT_TRUE(box);
    ::SetWindowTextW(box, L"12");

    MessageBoxAnswer noBox(IDOK);
    ASSERT_EQ(Probe(L"write \"Anna.contact\" \"Anna\" \"777-888\""), 0);
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 3; }, kFollowMs));
    Pump(300);
    EXPECT_FALSE(noBox.answered()) << "a message box appeared";
    EXPECT_EQ(NameAt(0) + L"," + NameAt(1) + L"," + NameAt(2), L"Anna,Ben,Carla") << "re-sorted";
    ASSERT_EQ(EditBox(m_host->list()), box) << "the edit is still open";
    wchar_t typed[16] = {};
    ::GetWindowTextW(box, typed, 16);
    EXPECT_EQ(std::wstring(typed), L"12");
    RECT cell{LVIR_BOUNDS, 2, 0, 0}, shown{};
    ::SendMessageW(m_host->list(), LVM_GETSUBITEMRECT, 1, reinterpret_cast<LPARAM>(&cell));
    ::GetWindowRect(box, &shown);
    ::MapWindowPoints(nullptr, m_host->list(), reinterpret_cast<POINT*>(&shown), 2);
    EXPECT_EQ(shown.top, cell.top) << "the box moved with Ben's row";
    EXPECT_NE(FileOf(L"Ben.contact").find(">333-444<"), std::string::npos) << "nothing written yet";

    ::SetWindowTextW(box, L"123-999");
    listtest::PressKey(box, VK_RETURN);
    Pump(200);
    EXPECT_NE(FileOf(L"Ben.contact").find(">123-999<"), std::string::npos);
}

// Two people of the same name and number are two contacts, each with its
// row: removing one of them leaves the other's file.
TEST_F(ControlContactsTest, RemoveDeletesTheMarkedFilesWithOneEventPerRow) {
    WritePeople(
        {kBea, Person(L"id-carla", L"Carla Brandt", L"555-0101"), Person(L"id-ann-1", L"Ann", L"555-1")});
    WriteContact(L"Ann (1).contact", Person(L"id-ann-2", L"Ann", L"555-1"));
    ASSERT_NO_FATAL_FAILURE(Host(4));
    ASSERT_EQ(m_control->SetSortMode(3), S_OK);  // Ann, Ann, Bea, Carla
    EXPECT_NE(KeyAt(0), KeyAt(1));
    SetRowState(1, LVIS_SELECTED, LVIS_SELECTED);
    SetRowState(3, LVIS_SELECTED, LVIS_SELECTED);
    m_sink->events.clear();
    {
        MessageBoxAnswer yes(IDYES);
        ::SendMessageW(m_host->item(202), BM_CLICK, 0, 0);
        EXPECT_TRUE(yes.answered() || PumpUntil([&] { return yes.answered(); }, 2000));
        EXPECT_NE(yes.text().find(L"2"), std::wstring::npos);
    }
    const auto files = ContactFiles();
    EXPECT_EQ(files.size(), 2u);
    EXPECT_EQ(std::count(files.begin(), files.end(), L"Bea Koch.contact"), 1);
    ASSERT_EQ(m_sink->events.size(), 2u);
    EXPECT_EQ(m_sink->events[0].values, (std::vector<LONG>{3, 0, 1}));
    EXPECT_EQ(m_sink->events[1].values, (std::vector<LONG>{1, 0, 0}));
    Pump(kReloadSettleMs);
    EXPECT_EQ(Rows(), Sorted({{L"Ann", L"555-1"}, kBeaRow}));
}

// A renamed contact's file follows the name with the characters a file
// name cannot hold replaced; a name that cannot be a file, or whose file
// another contact has, leaves the file where it is. The row is the same
// contact all along.
TEST_F(ControlContactsTest, RenamesInPlaceMoveTheFileWhereANameCanBeOne) {
    WriteContact(L"Ann.contact", Person(L"id-ann", L"Ann", L"999-9"));
    WriteContact(L"Old.contact", Person(L"id-old", L"Old", L"555-0100"));
    ASSERT_NO_FATAL_FAILURE(Host(2));
    const ULONG key = KeyAt(RowOf(L"555-0100"));
    const struct {
        const wchar_t* name;
        const wchar_t* file;
    } renames[] = {
        {L"Sales/East:Main", L"Sales_East_Main.contact"},
        {L"Q&A \"Best\" <Deals>?", L"Q&A _Best_ _Deals__.contact"},
        {L"CON", L"Q&A _Best_ _Deals__.contact"},  // a device, in any folder
        {L"Ann", L"Q&A _Best_ _Deals__.contact"},  // the other Ann's file stays hers
        {L"Zo\u00eb", L"Zo\u00eb.contact"},
    };
    for (const auto& rename : renames) {
        SCOPED_TRACE(Utf8(rename.name));
        const HWND box = EditCell(RowOf(L"555-0100"), false);
        ASSERT_TRUE(box);
        TypeAndEnter(box, rename.name);
        EXPECT_EQ(ContactFiles(), (std::vector<std::wstring>{L"Ann.contact", rename.file}));
        Pump(kReloadSettleMs);
        EXPECT_EQ(Rows(), Sorted({{L"Ann", L"999-9"}, {rename.name, L"555-0100"}}));
        EXPECT_EQ(KeyAt(RowOf(L"555-0100")), key);
    }
}

// Windows Contacts, the recently used book and back: no row of one book
// stays in the other, and the new source follows changes again.
TEST_F(ControlContactsTest, SwitchingBooksAndBackKeepsNoStaleRows) {
    WritePeople({kAnna, kBea});
    WriteBook({{L"Mia Recent", L"0800 1"}});
    ASSERT_NO_FATAL_FAILURE(Host(2));

    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    EXPECT_TRUE(WaitForRows({{L"Mia Recent", L"0800 1"}}, 3000));
    // Contacts changed while another book is shown: not this list's business.
    ASSERT_EQ(Probe(L"write \"Cid Neu.contact\" \"Cid Neu\" \"030 1\""), 0);
    Pump(kReloadSettleMs);
    EXPECT_EQ(Rows(), (std::vector<Row>{{L"Mia Recent", L"0800 1"}}));

    ASSERT_EQ(m_control->SelectOutlookAddressBook(0), S_OK);
    EXPECT_TRUE(WaitForRows({kAnnaRow, kBeaRow, {L"Cid Neu", L"030 1"}}, 3000)) << ItemCount() << " rows";
    ASSERT_EQ(Probe(L"write \"Dora Lind.contact\" \"Dora Lind\" \"030 2\""), 0);
    EXPECT_TRUE(WaitForRows({kAnnaRow, kBeaRow, {L"Cid Neu", L"030 1"}, {L"Dora Lind", L"030 2"}}, kFollowMs))
        << "the new source's watcher follows the folder";
}

// The user commits a number while another program has deleted the contact:
// the book refuses, the user is told and gets the typed text back; nothing
// brings the file back, and the row goes with the next change of the folder.
TEST_F(ControlContactsTest, AnEditOfAContactDeletedMeanwhileIsRefusedAndTheRowGoesLater) {
    WritePeople({kAnna, kBea});
    ASSERT_NO_FATAL_FAILURE(Host(2));
    HWND box = EditCell(RowOf(L"Bea Koch"), true);
    ASSERT_TRUE(box);
    ASSERT_EQ(Probe(L"delete \"Bea Koch.contact\""), 0);
    {
        MessageBoxAnswer ok(IDOK);
        listtest::Type(box, L"777-13");
        listtest::PressKey(box, VK_RETURN);
        EXPECT_TRUE(PumpUntil([&] { return ok.answered(); }, 2000));
        EXPECT_EQ(ok.text().rfind(L"Cannot modify the system address book.", 0), 0u) << Utf8(ok.text());
    }
    box = Box();
    ASSERT_TRUE(box) << "the edit opens again";
    wchar_t typed[64] = {};
    ::GetWindowTextW(box, typed, 64);
    EXPECT_STREQ(typed, L"777-13");
    listtest::PressKey(box, VK_ESCAPE);
    Pump(100);
    EXPECT_EQ(EditBox(m_host->list()), nullptr);
    EXPECT_EQ(ContactFiles(), std::vector<std::wstring>{L"Anna Berg.contact"}) << "nothing written back";

    ASSERT_EQ(Probe(L"write \"Cid Neu.contact\" \"Cid Neu\" \"030 1\""), 0);
    EXPECT_TRUE(WaitForRows({kAnnaRow, {L"Cid Neu", L"030 1"}}, kFollowMs));
}

// The host closes while the user is typing: a number the book takes is
// written, one the control refuses is dropped without a message over the
// closing window.
TEST_F(ControlContactsTest, ClosingWithAnOpenEditWritesAGoodNumberAndAsksNothing) {
    WritePeople({kAnna});
    for (const wchar_t* typed : {L"0171 2345", L"12"}) {
        SCOPED_TRACE(Utf8(typed));
        ASSERT_NO_FATAL_FAILURE(Host(1));
        const HWND box = EditCell(0, true);
        ASSERT_TRUE(box);
        listtest::Type(box, typed);
        MessageBoxAnswer ok(IDOK);
        CloseHost();
        Pump(300);
        EXPECT_FALSE(ok.answered()) << Utf8(ok.text());
        // Written by the first life, kept by the second.
        EXPECT_NE(FileOf(L"Anna Berg.contact").find(">0171 2345<"), std::string::npos);
    }
}

}  // namespace
