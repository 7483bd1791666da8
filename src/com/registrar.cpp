// Interpreter of the registry-script language; see registrar.h for the rules.
#include "com/registrar.h"

#include "com/hresult.h"
#include "com/unique_any.h"

#include <cwctype>
#include <memory>
#include <optional>
#include <vector>

namespace com {
namespace {

constexpr HRESULT kBadScript = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);

struct Token {
    std::wstring text;
    bool quoted = false;
};

// The entries of a root block are kept flat, in script order, each key
// followed by its body: the script's nesting is not bounded, so neither the
// parser, nor the registry walks, nor the destruction of the tree may recurse
// per level.
struct Node {
    enum class Flag { None, NoRemove, ForceRemove, Delete } flag = Flag::None;
    bool isValue = false;  // "val" entry instead of a key
    std::wstring name;
    std::optional<std::wstring> type;  // s or d, when a value is given
    std::wstring data;
    size_t end = 0;  // position after the last entry of its body
};

struct Root {
    HKEY key;
    std::vector<Node> nodes;
};

class Parser {
public:
    Parser(std::wstring_view script, const ReplacementMap& replacements)
        : m_script(script), m_replacements(replacements) {}

    HRESULT Parse(std::vector<Root>& roots) {
        std::optional<Token> token;
        while ((token = Next())) {
            const HKEY root = RootKey(token->text);
            RETURN_HR_IF(kBadScript, !root || token->quoted || !Expect(L"{"));
            Root block{root, {}};
            RETURN_IF_FAILED(ParseBlock(block.nodes));
            roots.push_back(std::move(block));
        }
        return m_failed ? kBadScript : S_OK;
    }

private:
    static HKEY RootKey(const std::wstring& name) {
        static const struct { const wchar_t* a; const wchar_t* b; HKEY key; } roots[] = {
            {L"HKCR", L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
            {L"HKCU", L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
            {L"HKLM", L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
            {L"HKU", L"HKEY_USERS", HKEY_USERS},
            {L"HKCC", L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
        };
        for (const auto& r : roots)
            if (_wcsicmp(name.c_str(), r.a) == 0 || _wcsicmp(name.c_str(), r.b) == 0) return r.key;
        return nullptr;
    }

    static bool Is(const Token& t, const wchar_t* word) {
        return !t.quoted && _wcsicmp(t.text.c_str(), word) == 0;
    }

    // Reads the entries of a root block up to its closing brace.
    HRESULT ParseBlock(std::vector<Node>& nodes) {
        std::vector<size_t> open;  // keys whose body is being read, innermost last
        for (;;) {
            std::optional<Token> token = Next();
            RETURN_HR_IF(kBadScript, !token || m_failed);
            if (Is(*token, L"}")) {
                if (open.empty()) return S_OK;
                nodes[open.back()].end = nodes.size();
                open.pop_back();
                continue;
            }
            const bool insideKey = !open.empty();
            Node node;
            if (Is(*token, L"NoRemove")) node.flag = Node::Flag::NoRemove;
            else if (Is(*token, L"ForceRemove")) node.flag = Node::Flag::ForceRemove;
            else if (Is(*token, L"Delete")) node.flag = Node::Flag::Delete;
            if (node.flag != Node::Flag::None) {
                token = Next();
                RETURN_HR_IF(kBadScript, !token);
            }
            if (Is(*token, L"val")) {
                RETURN_HR_IF(kBadScript, !insideKey || node.flag == Node::Flag::ForceRemove ||
                                             node.flag == Node::Flag::Delete);
                node.isValue = true;
                token = Next();
                RETURN_HR_IF(kBadScript, !token);
            }
            RETURN_HR_IF(kBadScript, !token->quoted && (token->text == L"{" || token->text == L"}" ||
                                                       token->text == L"="));
            node.name = token->text;
            RETURN_HR_IF(kBadScript, node.name.empty() && !node.isValue);

            std::optional<Token> after = Peek();
            if (after && Is(*after, L"=")) {
                Next();
                const std::optional<Token> type = Next();
                const std::optional<Token> data = Next();
                RETURN_HR_IF(kBadScript, !type || !data || type->quoted ||
                                             (!Is(*type, L"s") && !Is(*type, L"d")));
                node.type = type->text == L"S" ? L"s" : type->text == L"D" ? L"d" : type->text;
                node.data = data->text;
                if (*node.type == L"d") RETURN_HR_IF(kBadScript, !ParseNumber(node.data));
                after = Peek();
            } else if (node.isValue) {
                return kBadScript;
            }
            node.end = nodes.size() + 1;
            const bool hasBody = after && Is(*after, L"{");
            RETURN_HR_IF(kBadScript, hasBody && node.isValue);
            nodes.push_back(std::move(node));
            if (hasBody) {
                Next();
                open.push_back(nodes.size() - 1);
            }
        }
    }

    bool Expect(const wchar_t* word) {
        const std::optional<Token> token = Next();
        return token && Is(*token, word);
    }

    std::optional<Token> Peek() {
        const size_t saved = m_pos;
        std::optional<Token> token = Next();
        m_pos = saved;
        return token;
    }

    std::optional<Token> Next() {
        while (m_pos < m_script.size() && std::iswspace(m_script[m_pos])) ++m_pos;
        if (m_pos >= m_script.size()) return std::nullopt;
        Token token;
        std::wstring raw;
        if (m_script[m_pos] == L'\'') {
            token.quoted = true;
            for (++m_pos;; ++m_pos) {
                if (m_pos >= m_script.size()) {
                    m_failed = true;  // unterminated quote
                    return std::nullopt;
                }
                if (m_script[m_pos] == L'\'') {
                    if (m_pos + 1 < m_script.size() && m_script[m_pos + 1] == L'\'') {
                        raw += L'\'';
                        ++m_pos;
                        continue;
                    }
                    ++m_pos;
                    break;
                }
                raw += m_script[m_pos];
            }
        } else {
            while (m_pos < m_script.size() && !std::iswspace(m_script[m_pos])) raw += m_script[m_pos++];
        }
        if (!Replace(raw, token.text)) {
            m_failed = true;
            return std::nullopt;
        }
        return token;
    }

    bool Replace(const std::wstring& raw, std::wstring& out) const {
        out.clear();
        for (size_t i = 0; i < raw.size(); ++i) {
            if (raw[i] != L'%') {
                out += raw[i];
                continue;
            }
            const size_t end = raw.find(L'%', i + 1);
            if (end == std::wstring::npos) return false;
            if (end == i + 1) {
                out += L'%';
            } else {
                const auto found = m_replacements.find(raw.substr(i + 1, end - i - 1));
                if (found == m_replacements.end()) return false;
                out += found->second;
            }
            i = end;
        }
        return true;
    }

public:
    static std::optional<DWORD> ParseNumber(const std::wstring& text) {
        if (text.empty()) return std::nullopt;
        wchar_t* end = nullptr;
        const unsigned long value = wcstoul(text.c_str(), &end, 0);
        if (*end != L'\0') return std::nullopt;
        return DWORD(value);
    }

private:
    std::wstring_view m_script;
    const ReplacementMap& m_replacements;
    size_t m_pos = 0;
    bool m_failed = false;
};

constexpr REGSAM kAccess = KEY_READ | KEY_WRITE;

HRESULT DeleteTree(HKEY parent, const std::wstring& name) {
    const LSTATUS status = ::RegDeleteTreeW(parent, name.c_str());
    if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) {
        ::RegDeleteKeyW(parent, name.c_str());  // RegDeleteTree leaves the key itself on some systems
        return S_OK;
    }
    return HRESULT_FROM_WIN32(status);
}

HRESULT SetValue(HKEY key, const Node& node, const std::wstring& valueName) {
    const wchar_t* name = valueName.empty() ? nullptr : valueName.c_str();
    LSTATUS status;
    if (*node.type == L"d") {
        const DWORD number = *Parser::ParseNumber(node.data);
        status = ::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                                  sizeof(number));
    } else {
        status = ::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(node.data.c_str()),
                                  DWORD((node.data.size() + 1) * sizeof(wchar_t)));
    }
    return HRESULT_FROM_WIN32(status);
}

// Writes the entries of a root block in script order.
HRESULT Register(HKEY root, const std::vector<Node>& nodes) {
    struct Open {
        size_t end;
        UniqueHKey key;
    };
    std::vector<Open> open;  // the keys whose body is being written, innermost last
    for (size_t i = 0; i < nodes.size();) {
        while (!open.empty() && i >= open.back().end) open.pop_back();
        const HKEY parent = open.empty() ? root : open.back().key.get();
        const Node& node = nodes[i];
        if (node.isValue) {
            RETURN_IF_FAILED(SetValue(parent, node, node.name));
            ++i;
            continue;
        }
        if (node.flag == Node::Flag::ForceRemove || node.flag == Node::Flag::Delete)
            RETURN_IF_FAILED(DeleteTree(parent, node.name));
        if (node.flag == Node::Flag::Delete) {
            i = node.end;  // its body is not written
            continue;
        }
        UniqueHKey key;
        RETURN_IF_FAILED(HRESULT_FROM_WIN32(::RegCreateKeyExW(parent, node.name.c_str(), 0, nullptr, 0,
                                                              kAccess, nullptr, key.put(), nullptr)));
        if (node.type) RETURN_IF_FAILED(SetValue(key.get(), node, {}));
        open.push_back({node.end, std::move(key)});
        ++i;
    }
    return S_OK;
}

bool HasSubkeys(HKEY key) {
    DWORD subkeys = 0;
    return ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS ||
           subkeys != 0;
}

// Deletes what the entries of a root block name; a key goes after its body.
HRESULT Unregister(HKEY root, const std::vector<Node>& nodes) {
    struct Open {
        size_t index;
        UniqueHKey key;
    };
    std::vector<Open> open;  // the keys whose body is being processed, innermost last
    const auto parent = [&] { return open.empty() ? root : open.back().key.get(); };
    for (size_t i = 0;;) {
        while (!open.empty() && i >= nodes[open.back().index].end) {
            const Node& done = nodes[open.back().index];
            const bool keep = done.flag == Node::Flag::NoRemove || HasSubkeys(open.back().key.get());
            open.pop_back();  // closes the key before it is deleted
            if (!keep) RETURN_IF_FAILED(HRESULT_FROM_WIN32(::RegDeleteKeyW(parent(), done.name.c_str())));
        }
        if (i >= nodes.size()) return S_OK;
        const Node& node = nodes[i];
        if (node.isValue) {
            if (node.flag != Node::Flag::NoRemove) {
                const LSTATUS status = ::RegDeleteValueW(parent(), node.name.c_str());
                if (status != ERROR_FILE_NOT_FOUND) RETURN_IF_FAILED(HRESULT_FROM_WIN32(status));
            }
            ++i;
            continue;
        }
        if (node.flag == Node::Flag::ForceRemove || node.flag == Node::Flag::Delete) {
            RETURN_IF_FAILED(DeleteTree(parent(), node.name));
            i = node.end;
            continue;
        }
        UniqueHKey key;
        const LSTATUS status = ::RegOpenKeyExW(parent(), node.name.c_str(), 0, kAccess, key.put());
        if (status == ERROR_FILE_NOT_FOUND) {
            i = node.end;  // nothing of its body can be there
            continue;
        }
        RETURN_IF_FAILED(HRESULT_FROM_WIN32(status));
        open.push_back({i, std::move(key)});
        ++i;
    }
}

}  // namespace

HRESULT RunRegistryScript(std::wstring_view script, const ReplacementMap& replacements,
                          RegistrarMode mode, HKEY classesRoot) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF(E_INVALIDARG, !classesRoot);
        std::vector<Root> roots;
        RETURN_IF_FAILED(Parser(script, replacements).Parse(roots));
        for (const Root& root : roots) {
            const HKEY key = root.key == HKEY_CLASSES_ROOT ? classesRoot : root.key;
            RETURN_IF_FAILED(mode == RegistrarMode::Register ? Register(key, root.nodes)
                                                             : Unregister(key, root.nodes));
        }
        return S_OK;
    });
}

HRESULT RunRegistryScriptResource(HMODULE module, UINT resourceId, const ReplacementMap& replacements,
                                  RegistrarMode mode, HKEY classesRoot) noexcept {
    return Boundary([&]() -> HRESULT {
        HRSRC info = ::FindResourceW(module, MAKEINTRESOURCEW(resourceId), L"REGISTRY");
        RETURN_LAST_ERROR_IF(!info);
        HGLOBAL loaded = ::LoadResource(module, info);
        RETURN_LAST_ERROR_IF(!loaded);
        const auto* bytes = static_cast<const char*>(::LockResource(loaded));
        const int size = int(::SizeofResource(module, info));
        RETURN_HR_IF(kBadScript, !bytes);
        // Scripts are stored as UTF-8 (or UTF-16 with its byte-order mark).
        if (size >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
            static_cast<unsigned char>(bytes[1]) == 0xFE) {
            return RunRegistryScript(std::wstring_view(reinterpret_cast<const wchar_t*>(bytes + 2),
                                                       (size - 2) / sizeof(wchar_t)),
                                     replacements, mode, classesRoot);
        }
        const int length = ::MultiByteToWideChar(CP_UTF8, 0, bytes, size, nullptr, 0);
        std::wstring script(length, L'\0');
        ::MultiByteToWideChar(CP_UTF8, 0, bytes, size, script.data(), length);
        return RunRegistryScript(script, replacements, mode, classesRoot);
    });
}

}  // namespace com
