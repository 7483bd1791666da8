// Folding and matching for the controls' search box.
#include "control/recipient_search.h"

#include <cwctype>

namespace search {
namespace {

bool IsAscii(const std::wstring& text) noexcept {
    for (const wchar_t c : text)
        if (c >= 0x80) return false;
    return true;
}

// Separators a fax number is written with; a word of digits and these is a number.
bool IsDialSeparator(wchar_t c) noexcept {
    return c == L'+' || c == L'-' || c == L'(' || c == L')' || c == L'.' || c == L'/';
}

}  // namespace

std::wstring FoldText(const std::wstring& text) {
    if (IsAscii(text)) {
        // Most names are plain ASCII: no form to unify, no accent to drop.
        std::wstring lower = text;
        for (wchar_t& c : lower)
            if (c >= L'A' && c <= L'Z') c = wchar_t(c - L'A' + L'a');
        return lower;
    }
    // Compatibility decomposition: full-width and other compatibility forms
    // become their plain letters and digits, accented letters a letter and marks.
    std::wstring decomposed = text;
    const int size = ::NormalizeString(NormalizationKD, text.c_str(), int(text.size()), nullptr, 0);
    if (size > 0) {
        decomposed.assign(size_t(size), L'\0');
        const int written =
            ::NormalizeString(NormalizationKD, text.c_str(), int(text.size()), decomposed.data(), size);
        if (written > 0)
            decomposed.resize(size_t(written));
        else
            decomposed = text;
    }
    std::vector<WORD> types(decomposed.size());
    std::wstring bare;
    bare.reserve(decomposed.size());
    if (!decomposed.empty() &&
        ::GetStringTypeW(CT_CTYPE3, decomposed.c_str(), int(decomposed.size()), types.data())) {
        for (size_t i = 0; i < decomposed.size(); ++i)
            if (!(types[i] & C3_NONSPACING)) bare.push_back(decomposed[i]);
    } else {
        bare = decomposed;
    }
    if (bare.empty()) return bare;
    std::wstring lower(bare.size() * 2 + 8, L'\0');
    const int written =
        ::LCMapStringEx(LOCALE_NAME_USER_DEFAULT, LCMAP_LOWERCASE | LCMAP_LINGUISTIC_CASING, bare.c_str(),
                        int(bare.size()), lower.data(), int(lower.size()), nullptr, nullptr, 0);
    if (written <= 0) return bare;
    lower.resize(size_t(written));
    return lower;
}

std::wstring DialDigits(const std::wstring& number) {
    std::wstring digits;
    bool leading = true;
    for (const wchar_t c : number) {
        if (c >= L'0' && c <= L'9') {
            digits.push_back(c);
            leading = false;
        } else if (c == L'+' && leading) {
            digits += L"00";
            leading = false;
        } else if (c != L' ' && c != L'\t') {
            leading = false;
        }
    }
    return digits;
}

FoldedRecipient FoldRecipient(const std::wstring& name, const std::wstring& fax) {
    FoldedRecipient folded{FoldText(name), FoldText(fax), {}};
    // From the folded text, so that full-width digits count as digits.
    folded.digits = DialDigits(folded.fax);
    return folded;
}

CSearchQuery::CSearchQuery(const std::wstring& text) {
    const std::wstring folded = FoldText(text);
    size_t at = 0;
    while (at < folded.size()) {
        while (at < folded.size() && std::iswspace(folded[at])) ++at;
        size_t end = at;
        while (end < folded.size() && !std::iswspace(folded[end])) ++end;
        if (end == at) break;
        Word word{folded.substr(at, end - at), {}};
        bool number = true, anyDigit = false;
        for (const wchar_t c : word.text) {
            anyDigit |= c >= L'0' && c <= L'9';
            number &= (c >= L'0' && c <= L'9') || IsDialSeparator(c);
        }
        if (number && anyDigit) word.digits = DialDigits(word.text);
        m_words.push_back(std::move(word));
        at = end;
    }
}

bool CSearchQuery::Matches(const FoldedRecipient& recipient) const {
    for (const Word& word : m_words) {
        if (recipient.name.find(word.text) != std::wstring::npos) continue;
        if (recipient.fax.find(word.text) != std::wstring::npos) continue;
        if (!word.digits.empty() && recipient.digits.find(word.digits) != std::wstring::npos) continue;
        // A number typed with its international "00" finds a number written
        // without any prefix only through its digits after the "00".
        if (word.digits.size() > 2 && word.digits.compare(0, 2, L"00") == 0 &&
            recipient.digits.find(word.digits.substr(2)) != std::wstring::npos)
            continue;
        return false;
    }
    return true;
}

const FoldedRecipient& CSearchIndex::Get(LPARAM key, const std::wstring& name, const std::wstring& fax) {
    Entry& entry = m_entries[key];
    if (entry.name != name || entry.fax != fax || (entry.folded.name.empty() && !name.empty())) {
        entry.name = name;
        entry.fax = fax;
        entry.folded = FoldRecipient(name, fax);
    }
    return entry.folded;
}

bool CRecipientSearch::SetText(const std::wstring& text) {
    if (text == m_text) return false;
    m_text = text;
    m_query = CSearchQuery(text);
    return true;
}

}  // namespace search
