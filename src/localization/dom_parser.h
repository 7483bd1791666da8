// CDomParser: one XML document of the platform's XML service, loaded from a
// file and asked for the text of single nodes.
#pragma once

#include "com/com_ptr.h"

#include <msxml2.h>
#include <windows.h>

#include <string>

class CDomParser {
public:
    // The longest file path the document keeps.
    static constexpr size_t kMaxPath = MAX_PATH;

    // Creates a new document (the newest XML service version available) and
    // loads the file into it. False, with no document kept, when the service
    // is missing, the path is too long or the file does not load or parse.
    bool Load(const std::wstring& path);
    void Release() noexcept;
    bool IsLoaded() const noexcept { return bool(m_document); }
    const std::wstring& Path() const noexcept { return m_path; }

    // The text of the node the path selects ("./text()" of that node);
    // empty when there is no document, no such node or no text.
    std::wstring SelectText(const std::wstring& xpath) const;

private:
    com::ComPtr<IXMLDOMDocument> m_document;
    std::wstring m_path;
};
