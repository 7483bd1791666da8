// A contact file in memory: the element tree of a Windows Contacts XML
// document, read and written through the platform's XML service (MSXML).
#pragma once

#include <windows.h>
#include <objidl.h>

#include <memory>
#include <string>
#include <vector>

namespace wabfake {

inline constexpr wchar_t kContactNamespace[] = L"http://schemas.microsoft.com/Contact";
// Where MAPI properties without a place in the contact schema are kept.
inline constexpr wchar_t kWabMapiNamespace[] = L"http://schemas.microsoft.com/Contact/Extended/MSWABMAPI";
inline constexpr wchar_t kXsiNamespace[] = L"http://www.w3.org/2001/XMLSchema-instance";

struct XmlAttribute {
    std::wstring ns;
    std::wstring name;  // local name
    std::wstring value;
};

struct XmlElement {
    std::wstring ns;
    std::wstring name;  // local name
    std::wstring text;  // the element's own text (elements here hold text or children)
    std::vector<XmlAttribute> attributes;
    std::vector<std::unique_ptr<XmlElement>> children;

    const XmlAttribute* FindAttribute(const std::wstring& ns, const std::wstring& name) const;
    void SetAttribute(const std::wstring& ns, const std::wstring& name, const std::wstring& value);
    void RemoveAttribute(const std::wstring& ns, const std::wstring& name);
    std::unique_ptr<XmlElement> Clone() const;
};

// Parses a document; null when the XML service is missing or the bytes are
// not a well-formed document.
std::unique_ptr<XmlElement> ParseXmlFile(const std::wstring& path);
// The same with the reason for a refusal: the file system's code for a file
// that cannot be opened or read (gone, held without sharing), the XML
// service's parse error, kXmlNotAContact for a document with a document type
// (MSXML 6 refuses those by default; the stand-in does not know the exact
// number of that refusal) or a tree too deep to be a contact.
HRESULT LoadXmlFile(const std::wstring& path, std::unique_ptr<XmlElement>& root);
inline constexpr HRESULT kXmlNotAContact = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
std::unique_ptr<XmlElement> ParseXmlStream(IStream* stream);

// Writes the tree as a UTF-8 document with an XML declaration.
HRESULT WriteXmlStream(const XmlElement& root, IStream* stream);
HRESULT WriteXmlFile(const XmlElement& root, const std::wstring& path);

}  // namespace wabfake
