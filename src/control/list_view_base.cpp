// The key-to-row map of the phonebook list, the one-pass reordering of rows,
// and what the header needs to know about the platform's header control.
#include "control/list_view_base.h"

#include "localization/language.h"
#include "win/display.h"

#include <shlwapi.h>

#include <algorithm>

namespace listview {

void CRowKeys::Assign(std::vector<LPARAM> keys) {
    m_keys = std::move(keys);
    m_rows.clear();
    m_valid = 0;
    m_duplicates = false;
}

void CRowKeys::Clear() { Assign({}); }

void CRowKeys::Inserted(int row, LPARAM key) {
    if (row < 0 || row > size()) return;
    if (size_t(row) == m_keys.size()) {
        // Appending (every fill) leaves the indexing to the first lookup.
        m_keys.push_back(key);
        return;
    }
    m_keys.insert(m_keys.begin() + row, key);
    m_valid = std::min(m_valid, size_t(row));
}

void CRowKeys::Deleted(int row) {
    if (row < 0 || row >= size()) return;
    m_keys.erase(m_keys.begin() + row);
    m_valid = std::min(m_valid, size_t(row));
    // Entries of removed keys stay until the map is rebuilt; keep them bounded.
    if (m_rows.size() > 2 * m_keys.size() + 1024) {
        m_rows.clear();
        m_valid = 0;
    }
}

void CRowKeys::Changed(int row, LPARAM key) {
    if (row < 0 || row >= size()) return;
    m_keys[size_t(row)] = key;
    m_valid = std::min(m_valid, size_t(row));
}

void CRowKeys::Index(size_t from) {
    m_rows.reserve(m_keys.size());
    for (size_t row = from; row < m_keys.size(); ++row) {
        const auto [entry, added] = m_rows.try_emplace(m_keys[row], int(row));
        if (!added) {
            const size_t other = size_t(entry->second);
            if (other < row && other < m_keys.size() && m_keys[other] == m_keys[row]) m_duplicates = true;
            else entry->second = int(row);
        }
    }
    m_valid = m_keys.size();
}

int CRowKeys::Find(LPARAM key) {
    const auto verified = [&]() -> int {
        const auto entry = m_rows.find(key);
        if (entry == m_rows.end()) return -1;
        const size_t row = size_t(entry->second);
        return row < m_keys.size() && m_keys[row] == key ? int(row) : -1;
    };
    int row = verified();
    if (row >= 0) return row;
    if (m_valid < m_keys.size()) {
        Index(m_valid);
        if ((row = verified()) >= 0) return row;
    }
    if (m_duplicates) {
        // A repeated key may have lost its entry to a removed twin: index all again.
        m_rows.clear();
        m_duplicates = false;
        Index(0);
        row = verified();
    }
    return row;
}

namespace {

struct RankContext {
    std::unordered_map<LPARAM, int> rank;
};

int CALLBACK CompareRanks(LPARAM first, LPARAM second, LPARAM context) {
    const auto& rank = reinterpret_cast<const RankContext*>(context)->rank;
    const auto a = rank.find(first);
    const auto b = rank.find(second);
    const int ra = a == rank.end() ? INT_MAX : a->second;
    const int rb = b == rank.end() ? INT_MAX : b->second;
    return ra < rb ? -1 : ra > rb ? 1 : 0;
}

}  // namespace

bool ApplyRowOrder(const std::function<void(WPARAM, LPARAM)>& sort, const std::vector<LPARAM>& keys,
                   const std::vector<int>& order) {
    RankContext context;
    context.rank.reserve(order.size());
    bool unique = true;
    for (size_t position = 0; position < order.size(); ++position)
        unique &= context.rank.try_emplace(keys[size_t(order[position])], int(position)).second;
    sort(reinterpret_cast<WPARAM>(&context), reinterpret_cast<LPARAM>(&CompareRanks));
    return unique;
}

bool HeaderHasNativeCheckBoxes() noexcept {
    // Header check boxes came with common controls 6 on Windows Vista; Wine's
    // header control draws none and sends no state-icon clicks.
    static const bool native = [] {
        const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
        if (ntdll && ::GetProcAddress(ntdll, "wine_get_version")) return false;
        return localization::CurrentWindowsVersion().major >= 6;
    }();
    return native;
}

bool HeaderHasSortIndicators() noexcept {
    // Every x86-64 Windows ships common controls 5.82 or later; Wine's copy
    // answers 5.81 for both of its versions although it draws the indicators.
    if (sizeof(void*) == 8) return true;
    const HMODULE comctl = ::GetModuleHandleW(L"comctl32.dll");
    const auto getVersion =
        comctl ? reinterpret_cast<DLLGETVERSIONPROC>(reinterpret_cast<void*>(::GetProcAddress(comctl, "DllGetVersion"))) : nullptr;
    DLLVERSIONINFO info{};
    info.cbSize = sizeof(info);
    if (!getVersion || FAILED(getVersion(&info))) return false;
    return info.dwMajorVersion > 5 || (info.dwMajorVersion == 5 && info.dwMinorVersion >= 82);
}

RECT HeaderCheckBoxRect(const RECT& item) noexcept {
    const int size = win::ScaleX(13);
    RECT box{};
    box.left = item.left + win::ScaleX(5);
    box.top = item.top + (item.bottom - item.top - size) / 2;
    box.right = box.left + size;
    box.bottom = box.top + size;
    return box;
}

void DrawCheckBox(HDC dc, const RECT& box, bool checked, bool enabled) noexcept {
    RECT rect = box;
    ::DrawFrameControl(dc, &rect, DFC_BUTTON,
                       DFCS_BUTTONCHECK | DFCS_FLAT | (checked ? DFCS_CHECKED : 0) | (enabled ? 0 : DFCS_INACTIVE));
}

}  // namespace listview
