// Long recipient texts given to MRUList through COM on a thread with a small
// stack, in a child process: a piece or a text of any length must neither
// overflow the caller's stack nor lose a recipient.
#include "mru/child/long_texts.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

struct LongCall {
    const wchar_t* method;
    const wchar_t* shape;  // "piece": one recipient; "text": many
    size_t length;
};

void PrintTo(const LongCall& call, std::ostream* out) {
    *out << ::testing::PrintToString(std::wstring(call.method)) << " "
         << ::testing::PrintToString(std::wstring(call.shape)) << " " << call.length;
}

class LongTextOnSmallStack : public MRUStoreTest, public ::testing::WithParamInterface<LongCall> {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }

    // Runs the child and returns its verdict line ("VERDICT ..."), or what it
    // printed when there is none.
    static std::string RunChild(const LongCall& call) {
        std::string output;
        const int exitCode = RunProcess(L"\"" + BinDir() + L"mru_stack_child.exe\" " + call.method + L" " +
                                            call.shape + L" " + std::to_wstring(call.length),
                                        &output, 180000);
        const size_t verdict = output.find("VERDICT ");
        if (verdict == std::string::npos)
            return "no verdict, exit code " + std::to_string(exitCode) + ": " + output;
        return output.substr(verdict, output.find_first_of("\r\n", verdict) - verdict);
    }
};

TEST_P(LongTextOnSmallStack, GivesTheRecipientsWithoutCrashing) {
    const LongCall call = GetParam();
    const std::string verdict = RunChild(call);
    ASSERT_EQ(0u, verdict.rfind("VERDICT OK", 0)) << verdict;
    if (std::wstring(call.method) != L"UpdateMRU") return;

    // The store holds the last recipients first, each written whole.
    const long_texts::Case sent = long_texts::Make(call.shape, call.length);
    const size_t stored = std::min<size_t>(30, sent.names.size());
    ASSERT_EQ(stored, MRUSubkeys().size());
    for (size_t position : {size_t(0), stored - 1}) {
        const size_t index = sent.names.size() - 1 - position;
        const std::wstring subkey = MRUSubkeyName(unsigned(position));
        EXPECT_EQ(sent.names[index], ReadMRUValue(subkey, L"Name")->text()) << position;
        EXPECT_EQ(sent.numbers[index], ReadMRUValue(subkey, L"Fax")->text()) << position;
        EXPECT_EQ(sent.numbers[index] + L' ' + sent.names[index], ReadMRUValue(subkey, L"ID")->text())
            << position;
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, LongTextOnSmallStack,
                         ::testing::Values(LongCall{L"StringToLists", L"piece", 10'000},
                                           LongCall{L"StringToLists", L"piece", 1'000'000},
                                           LongCall{L"StringToLists", L"text", 1'000'000},
                                           LongCall{L"UpdateMRU", L"piece", 10'000},
                                           LongCall{L"UpdateMRU", L"piece", 1'000'000},
                                           LongCall{L"UpdateMRU", L"text", 1'000'000}));

}  // namespace
