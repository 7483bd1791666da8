// Test helpers for language files: a scratch folder that removes itself, and
// a writer for the XML layout (root, module element, strings and dialogs).
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

namespace loc_test {

struct DialogTexts {
    int id;
    std::string caption;  // no caption element when empty
    std::vector<std::pair<int, std::string>> controls;
};

// The UTF-8 text of a language file for one module.
inline std::string LanguageXml(const std::string& moduleName,
                               const std::vector<std::pair<int, std::string>>& strings,
                               const std::vector<DialogTexts>& dialogs = {}) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Zantix>\n  <" + moduleName + ">\n    <resources>\n";
    xml += "      <strings>\n";
    for (const auto& [id, text] : strings)
        xml += "        <string id=\"" + std::to_string(id) + "\">" + text + "</string>\n";
    xml += "      </strings>\n";
    for (const DialogTexts& dialog : dialogs) {
        xml += "      <dlg id=\"" + std::to_string(dialog.id) + "\">\n";
        if (!dialog.caption.empty()) xml += "        <caption>" + dialog.caption + "</caption>\n";
        for (const auto& [id, text] : dialog.controls)
            xml += "        <string id=\"" + std::to_string(id) + "\">" + text + "</string>\n";
        xml += "      </dlg>\n";
    }
    xml += "    </resources>\n  </" + moduleName + ">\n</Zantix>\n";
    return xml;
}

inline bool WriteFileBytes(const std::wstring& path, const std::string& bytes) {
    const HANDLE file =
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const BOOL ok = ::WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, nullptr);
    ::CloseHandle(file);
    return ok && written == bytes.size();
}

// A fresh folder under the temporary folder; the files written through it
// and the folder itself are deleted with it.
class ScratchFolder {
public:
    explicit ScratchFolder(const wchar_t* name) {
        wchar_t temp[MAX_PATH];
        ::GetTempPathW(MAX_PATH, temp);
        m_path = std::wstring(temp) + name + L"-" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
        ::CreateDirectoryW(m_path.c_str(), nullptr);
    }
    ~ScratchFolder() {
        for (const std::wstring& file : m_files) ::DeleteFileW(file.c_str());
        ::RemoveDirectoryW(m_path.c_str());
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::wstring& path() const { return m_path; }
    bool Write(const std::wstring& name, const std::string& bytes) {
        m_files.push_back(m_path + name);
        return WriteFileBytes(m_path + name, bytes);
    }
    bool Remove(const std::wstring& name) { return ::DeleteFileW((m_path + name).c_str()) != FALSE; }

private:
    std::wstring m_path;
    std::vector<std::wstring> m_files;
};

}  // namespace loc_test
