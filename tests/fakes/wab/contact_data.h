// ContactDocument: the property model of one contact over its element tree.
// Property names are the platform's: "Notes" (single value),
// "PhoneNumberCollection/PhoneNumber[2]" (an array node, indices from 1),
// "PhoneNumberCollection/PhoneNumber[2]/Number" (a value in it) and
// "[namespace]Name" (an extended property, kept under the Extended element
// in its own XML namespace).
#pragma once

#include "contact_xml.h"

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace wabfake {

inline constexpr wchar_t kContactIdProperty[] = L"ContactIDCollection/ContactID[1]/Value";
inline constexpr wchar_t kFormattedNameProperty[] = L"NameCollection/Name[1]/FormattedName";

struct PropertyEntry {
    std::wstring name;
    DWORD type = 0;
    DWORD version = 0;
    FILETIME modified{};
    std::wstring elementId;
};

class ContactDocument {
public:
    // A new contact: creation date and a fresh contact identifier.
    ContactDocument();
    // Takes a parsed file; IsContact() tells whether it is one.
    explicit ContactDocument(std::unique_ptr<XmlElement> root);

    // A Windows Contacts document (its root is the contact element), with or
    // without an identifier.
    bool IsContactDocument() const;
    // A contacts document with a non-empty contact identifier.
    bool IsContact() const;
    std::wstring ContactId() const;
    const XmlElement& Root() const { return *m_root; }

    // The results the platform documents: S_OK, S_FALSE (no value: deleted,
    // or a container), path not found, invalid data type, E_INVALIDARG.
    HRESULT GetString(const std::wstring& name, std::wstring& value) const;
    HRESULT SetString(const std::wstring& name, const std::wstring& value);
    HRESULT GetDate(const std::wstring& name, FILETIME& value) const;
    HRESULT SetDate(const std::wstring& name, const FILETIME& value);
    HRESULT DeleteProperty(const std::wstring& name);

    HRESULT CreateArrayNode(const std::wstring& collection, bool append, std::wstring& newElementName);
    HRESULT DeleteArrayNode(const std::wstring& elementName);
    HRESULT GetLabels(const std::wstring& elementName, std::vector<std::wstring>& labels) const;
    HRESULT SetLabels(const std::wstring& elementName, const std::vector<std::wstring>& labels);
    HRESULT DeleteLabels(const std::wstring& elementName);

    // The properties GetPropertyCollection enumerates: the array nodes of one
    // collection, or every property when `collection` is null; with labels,
    // only array nodes carrying all of them (or any, when `anyLabel`).
    std::vector<PropertyEntry> Collect(const wchar_t* collection, const std::vector<std::wstring>& labels,
                                       bool anyLabel) const;

private:
    struct Path;
    static bool Parse(const std::wstring& name, Path& path);
    XmlElement* Find(const Path& path) const;
    XmlElement* FindArrayNode(const std::wstring& elementName, HRESULT& hr) const;
    XmlElement* MakeValueElement(const Path& path, HRESULT& hr);

    std::unique_ptr<XmlElement> m_root;
};

// The contact identifier IContact::GetContactID gives: /GUID:"<id>", and
// PATH:"<file>" once the contact has a file; a contact saved without an
// identifier is known by its file alone.
std::wstring ContactIdText(const std::wstring& id, const std::wstring& path);

// Text forms used in the file: "2026-11-22T04:49:54Z" and a GUID without braces.
std::wstring FormatTime(const FILETIME& time);
bool ParseTime(const std::wstring& text, FILETIME& time);
std::wstring NewGuidText();

}  // namespace wabfake
