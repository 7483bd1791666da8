// Language files for the tests and benchmarks: an XML writer and a scratch
// folder that removes itself and its files.
#pragma once

#include <windows.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace loc_test {

using Texts = std::vector<std::pair<int, std::string>>;
struct DialogTexts {
    int id;
    std::string caption;  // no caption element when empty
    Texts controls;
};

inline std::string LanguageXml(const std::string& module, const Texts& strings, const std::vector<DialogTexts>& dialogs = {}) {
    const auto items = [](const Texts& texts) {
        std::string xml;
        for (const auto& [id, text] : texts) xml += "<string id=\"" + std::to_string(id) + "\">" + text + "</string>";
        return xml;
    };
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Zantix>\n<" + module + "><resources><strings>" +
                      items(strings) + "</strings>";
    for (const DialogTexts& d : dialogs)
        xml += "<dlg id=\"" + std::to_string(d.id) + "\">" + (d.caption.empty() ? "" : "<caption>" + d.caption + "</caption>") +
               items(d.controls) + "</dlg>";
    return xml + "</resources></" + module + ">\n</Zantix>\n";
}

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
    const std::wstring& path() const { return m_path; }
    bool Write(const std::wstring& name, const std::string& bytes) {
        m_files.push_back(m_path + name);
        std::ofstream file(m_files.back().c_str(), std::ios::binary);
        return bool(file.write(bytes.data(), std::streamsize(bytes.size())).flush());
    }

private:
    std::wstring m_path;
    std::vector<std::wstring> m_files;
};

}  // namespace loc_test
