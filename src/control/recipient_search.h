// What the search box of the phonebook controls finds: every word typed must
// be found in a recipient's name or fax number, in any order. Texts are
// compared folded the way the platform compares texts for users (compatibility
// forms such as full-width letters and digits unified, accents dropped, case
// ignored), and a word of digits finds a number whatever its separators, with
// a leading "+" the same as "00".
#pragma once

#include <windows.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace search {

// The text in the form searches compare: NFKD, without non-spacing marks,
// lower case in the user's locale.
std::wstring FoldText(const std::wstring& text);
// The digits of a number; a leading "+" (after blanks) is written "00".
std::wstring DialDigits(const std::wstring& number);

// A recipient's texts in the form searches compare.
struct FoldedRecipient {
    std::wstring name;
    std::wstring fax;
    std::wstring digits;
};
FoldedRecipient FoldRecipient(const std::wstring& name, const std::wstring& fax);

// The text typed, split into words.
class CSearchQuery {
public:
    CSearchQuery() = default;
    explicit CSearchQuery(const std::wstring& text);
    bool Empty() const noexcept { return m_words.empty(); }
    bool Matches(const FoldedRecipient& recipient) const;

private:
    struct Word {
        std::wstring text;    // folded
        std::wstring digits;  // its dial digits when the word is a number, else empty
    };
    std::vector<Word> m_words;
};

// The folded texts of the recipients a control lists, by key, made on first
// use and made again when a recipient's texts change.
class CSearchIndex {
public:
    const FoldedRecipient& Get(LPARAM key, const std::wstring& name, const std::wstring& fax);
    void Clear() noexcept { m_entries.clear(); }

private:
    struct Entry {
        std::wstring name, fax;  // as they were folded
        FoldedRecipient folded;
    };
    std::unordered_map<LPARAM, Entry> m_entries;
};

// What a control keeps for its search: the text, the query made of it, the
// folded texts and the book's order of its records (the order hidden rows
// come back in when the list is not sorted).
class CRecipientSearch {
public:
    // False when the text is the one already applied.
    bool SetText(const std::wstring& text);
    const std::wstring& Text() const noexcept { return m_text; }
    bool Active() const noexcept { return !m_query.Empty(); }
    bool Matches(LPARAM key, const std::wstring& name, const std::wstring& fax) {
        return m_query.Empty() || m_query.Matches(m_index.Get(key, name, fax));
    }
    void SetBookOrder(std::vector<LPARAM> keys) { m_order = std::move(keys); }
    void AddToBookOrder(LPARAM key) { m_order.push_back(key); }
    const std::vector<LPARAM>& BookOrder() const noexcept { return m_order; }
    void ClearBook() noexcept {
        m_order.clear();
        m_index.Clear();
    }

private:
    std::wstring m_text;
    CSearchQuery m_query;
    CSearchIndex m_index;
    std::vector<LPARAM> m_order;
};

}  // namespace search
