#include "module_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <cwctype>
#include <vector>

namespace module_test {
namespace {

std::wstring Upper(std::wstring text) {
    for (wchar_t& c : text) c = wchar_t(std::towupper(c));
    return text;
}

std::wstring ValueText(DWORD type, const std::vector<BYTE>& data, DWORD size) {
    if ((type == REG_SZ || type == REG_EXPAND_SZ) && size >= sizeof(wchar_t)) {
        std::wstring text(reinterpret_cast<const wchar_t*>(data.data()), size / sizeof(wchar_t));
        while (!text.empty() && text.back() == L'\0') text.pop_back();
        return (type == REG_SZ ? L"sz:" : L"expand_sz:") + text;
    }
    if (type == REG_DWORD && size == sizeof(DWORD))
        return L"dword:" + std::to_wstring(*reinterpret_cast<const DWORD*>(data.data()));
    std::wstring text = L"type" + std::to_wstring(type) + L":";
    static const wchar_t kDigits[] = L"0123456789abcdef";
    for (DWORD i = 0; i < size; ++i) text += {kDigits[data[i] >> 4], kDigits[data[i] & 15]};
    return text;
}

}  // namespace

RegistryTree ReadTree(HKEY root, const std::wstring& path) {
    RegistryTree entries;
    // Walked with a list of pending keys: the depth of a tree is not bounded.
    std::vector<std::wstring> pending{L""};
    while (!pending.empty()) {
        const std::wstring relative = std::move(pending.back());
        pending.pop_back();
        com::UniqueHKey key;
        const std::wstring full = relative.empty() ? path : path + L"\\" + relative;
        // The tree's own root is followed: in a 32-bit process the machine's
        // Software\Classes is itself a link to the 32-bit view's classes.
        const DWORD options = relative.empty() ? 0 : REG_OPTION_OPEN_LINK;
        if (::RegOpenKeyExW(root, full.c_str(), options, KEY_READ, key.put()) != ERROR_SUCCESS) continue;
        // A link (Wine makes the 32-bit view's TypeLib one, for a key both views
        // share) is an entry of its own; what it leads to is read where it lies.
        DWORD type = 0;
        if (::RegQueryValueExW(key.get(), L"SymbolicLinkValue", nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS &&
            type == REG_LINK) {
            entries.insert(L"link " + Upper(relative));
            continue;
        }
        if (!relative.empty()) entries.insert(L"key " + Upper(relative));
        wchar_t name[256];
        for (DWORD i = 0, length = 256;
             ::RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++i, length = 256)
            pending.push_back(relative.empty() ? name : relative + L"\\" + name);
        std::vector<BYTE> data(4096);
        for (DWORD i = 0;; ++i) {
            wchar_t valueName[16384];  // the longest a value name can be
            DWORD nameLength = 16384, type = 0, size = DWORD(data.size());
            const LSTATUS status =
                ::RegEnumValueW(key.get(), i, valueName, &nameLength, nullptr, &type, data.data(), &size);
            if (status == ERROR_MORE_DATA) {
                data.resize(size);
                --i;
                continue;
            }
            if (status != ERROR_SUCCESS) break;
            entries.insert(L"value " + Upper(relative) + L" [" + Upper(valueName) + L"] " +
                           ValueText(type, data, size));
        }
    }
    return entries;
}

RegistryTree Added(const RegistryTree& before, const RegistryTree& after) {
    RegistryTree added;
    for (const std::wstring& entry : after)
        if (!before.count(entry)) added.insert(entry);
    return added;
}

std::string Differences(const RegistryTree& expected, const RegistryTree& actual) {
    std::string text;
    const auto list = [&](const RegistryTree& from, const RegistryTree& without, const char* title) {
        const RegistryTree only = Added(without, from);
        text += std::string(title) + " (" + std::to_string(only.size()) + "):\n";
        int shown = 0;
        for (const std::wstring& entry : only) {
            if (++shown > 20) {
                text += "  ...\n";
                break;
            }
            text += "  " + testing_support::Utf8(entry) + "\n";
        }
    };
    list(expected, actual, "missing");
    list(actual, expected, "unexpected");
    return text;
}

int RunUserRegsvr32(bool unregister) {
    return testing_support::RunProcess(std::wstring(L"regsvr32.exe /s ") + (unregister ? L"/u " : L"") +
                                       L"/n /i:user \"" + testing_support::BinDir() + testing_support::kModuleFileName + L"\"");
}

std::wstring GuidText(REFGUID guid) {
    wchar_t text[64];
    ::StringFromGUID2(guid, text, 64);
    return text;
}

std::string RunClient(const std::wstring& program, const std::wstring& arguments, bool* passed) {
    std::string output;
    testing_support::RunProcess(L"\"" + testing_support::BinDir() + program + L"\" " + arguments, &output);
    std::string last = output;
    while (!last.empty() && (last.back() == '\n' || last.back() == '\r')) last.pop_back();
    last = last.substr(last.find_last_of('\n') + 1);
    if (!last.empty() && last.back() == '\r') last.pop_back();
    *passed = last == "PASS";
    return output;
}

bool HasLine(const std::string& output, const std::wstring& start, const std::wstring& end) {
    const std::wstring text = Upper(testing_support::FromUtf8(output));
    const std::wstring head = Upper(start), tail = Upper(end);
    for (size_t at = 0; at < text.size();) {
        size_t stop = text.find(L'\n', at);
        if (stop == std::wstring::npos) stop = text.size();
        std::wstring line = text.substr(at, stop - at);
        if (!line.empty() && line.back() == L'\r') line.pop_back();
        if (line.size() >= head.size() && line.size() >= tail.size() && line.compare(0, head.size(), head) == 0 &&
            line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
            return true;
        at = stop + 1;
    }
    return false;
}

}  // namespace module_test
