// The part of Outlook's automation object model that the phonebook uses:
// interface identifiers and the member identifiers (DISPIDs) as Outlook's own
// type library publishes them. Outlook's interfaces are dual, so every call
// goes through IDispatch::Invoke with these fixed numbers; no vtable layout
// is assumed, so a different Outlook build can never be called in a wrong slot.
#pragma once

#include <oaidl.h>
#include <windows.h>

namespace outlook {

inline constexpr wchar_t kProgId[] = L"Outlook.Application";

// Interfaces.
inline constexpr IID IID_Application = {0x00063001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ContactItem = {0x00063021, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// Event (source) dispinterfaces.
inline constexpr IID DIID_ItemsEvents = {0x00063077, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_ReminderCollectionEvents = {
    0x000630B2, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Members common to every object.
inline constexpr DISPID kDispClass = 0xF00A;
inline constexpr DISPID kDispEntryID = 0xF01E;
// _Application
inline constexpr DISPID kDispVersion = 0x116;
inline constexpr DISPID kDispGetNamespace = 0x110;
inline constexpr DISPID kDispCreateItem = 0x10A;
inline constexpr DISPID kDispReminders = 0xFA99;
// _NameSpace
inline constexpr DISPID kDispFolders = 0x2103;
inline constexpr DISPID kDispGetDefaultFolder = 0x210B;
inline constexpr DISPID kDispGetItemFromID = 0x2109;
// MAPIFolder
inline constexpr DISPID kDispItems = 0x3100;
// _Items
inline constexpr DISPID kDispCount = 0x50;
inline constexpr DISPID kDispItem = 0x51;
inline constexpr DISPID kDispRestrict = 0x64;
// _ContactItem
inline constexpr DISPID kDispFullName = 0x3001;
inline constexpr DISPID kDispBusinessFaxNumber = 0x3A24;
inline constexpr DISPID kDispUserProperties = 0xF816;
inline constexpr DISPID kDispSave = 0xF048;
inline constexpr DISPID kDispDelete = 0xF04A;
// UserProperties, UserProperty
inline constexpr DISPID kDispUserPropertiesAdd = 0x66;
inline constexpr DISPID kDispUserPropertiesFind = 0x67;
inline constexpr DISPID kDispValue = DISPID_VALUE;
// ItemsEvents
inline constexpr DISPID kDispItemAdd = 0xF001;
inline constexpr DISPID kDispItemChange = 0xF002;
inline constexpr DISPID kDispItemRemove = 0xF003;
// ReminderCollectionEvents
inline constexpr DISPID kDispBeforeReminderShow = 0xFA93;

// Enumerations.
inline constexpr long olFolderContacts = 10;
inline constexpr long olContactItem = 2;
inline constexpr long olContact = 40;   // OlObjectClass of a contact
inline constexpr long olYesNo = 6;      // OlUserPropertyType
inline constexpr long olUserItems = 0;  // OlTableContents

}  // namespace outlook
