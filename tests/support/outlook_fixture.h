// Tools of the Outlook tests: the stand-in registered for a test suite, its
// contact store written and read directly, its process watched, and a
// client of its object model that calls by name, as scripts do.
#pragma once

#include "com/com_ptr.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <oaidl.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace outlooktest {

// One line of the stand-in's store: tab-separated Name=Value fields.
std::wstring ContactLine(const std::wstring& entryId, const std::wstring& fields);
void WriteStore(const std::vector<std::wstring>& lines);
// A store of `items` items for measuring: contacts with business fax numbers
// ("Contact <i>", every tenth a favourite), and every twentieth item a
// distribution list or a contact without one. The number of fax recipients.
size_t WriteNumberedBook(int items);
std::vector<std::wstring> ReadStore();
void DeleteStore();

int RunStandin(const std::wstring& arguments);  // standin_outlook.exe ARGUMENTS
std::vector<DWORD> StandinProcesses();
bool WaitForNoStandin(DWORD timeoutMs);

// cscript outlook_change.js ARGUMENTS, this thread pumping its messages meanwhile.
int RunChangeScript(const std::wstring& arguments, std::string* output);

// Late-bound calls by name (GetIDsOfNames, then Invoke).
HRESULT CallByName(IDispatch* object, const wchar_t* name, WORD flags, std::initializer_list<VARIANT> args,
                   VARIANT* result);
com::ComPtr<IDispatch> ObjectByName(IDispatch* object, const wchar_t* name,
                                    std::initializer_list<VARIANT> args = {});
std::wstring TextByName(IDispatch* object, const wchar_t* name);

// A client of the stand-in of its own: the Application and its MAPI namespace.
struct OutlookClient {
    OutlookClient();
    com::ComPtr<IDispatch> application;
    com::ComPtr<IDispatch> nameSpace;
    com::ComPtr<IDispatch> Item(const std::wstring& entryId);
    long RestrictedCount(const wchar_t* filter);
    // The calls a listing of the contacts makes (folder, items, table, its
    // rows, the items' event connection), made without the component.
    void ListAsTheBookDoes();
    // IStandinOutlook's members: the Cancel the sinks left; the calls served (-1: unreadable).
    VARIANT_BOOL FireBeforeReminderShow();
    long CallCount();
};

// Registers the stand-in for the suite and removes it afterwards; each test
// starts with an empty store, the default version and no stand-in running,
// and one still running afterwards is ended.
class OutlookTest : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    testing_support::ComApartment m_apartment;
};

}  // namespace outlooktest
