// CLocalizerHelperT: the localizer every window that shows text owns. Texts
// come from the built-in string table, overridden by the language file of
// the first candidate language that has one.
#pragma once

#include "localization/dom_parser.h"
#include "localization/language.h"

#include <windows.h>

#include <string>
#include <utility>

namespace localization {

// Where a localizer looks for its language file.
struct LanguageFileSource {
    std::wstring folder;    // with a trailing backslash
    std::wstring baseName;  // the module's element under the root
    LanguageList languages;

    // This module: its own folder, its base name and its language list.
    static LanguageFileSource ForModule();
};

// The full path of the language file of one language in the folder.
std::wstring LanguageFilePath(const std::wstring& folder, LANGID language);

// Look-up paths, evaluated from the document root.
std::wstring StringPath(const std::wstring& baseName, int stringId);
std::wstring ControlTextPath(const std::wstring& baseName, int dialogId, int controlId);
std::wstring CaptionPath(const std::wstring& baseName, int dialogId);

// Walks the languages in order and loads the first file that exists and
// parses. English ends the walk: its texts are the built-in ones, so the
// languages after it are never wanted.
bool LoadLanguageFile(CDomParser& document, const LanguageFileSource& source);

// The text of the built-in string table in the module's resource source;
// false when there is none.
bool LoadBuiltInString(UINT id, std::wstring& text);

// The built-in text, replaced by the document's when it has a non-empty one;
// false (and empty text) when neither has it.
bool LoadLocalizedString(const CDomParser& document, const std::wstring& baseName, UINT id,
                         std::wstring& text);

// Caption and the texts of the dialog's direct children from the document;
// every direct child gets the stock GUI font.
void LocalizeDialogWindow(const CDomParser& document, const std::wstring& baseName, HWND dialog,
                          UINT dialogId);

}  // namespace localization

// A mix-in for the window class T that owns it. The document is loaded at
// construction and kept until destruction. LocalizeDialog() without
// arguments uses T's m_hWnd and dialog template identifier T::IDD.
template <class T>
class CLocalizerHelperT {
public:
    CLocalizerHelperT() : CLocalizerHelperT(localization::LanguageFileSource::ForModule()) {}
    explicit CLocalizerHelperT(localization::LanguageFileSource source) : m_source(std::move(source)) {
        Load();
    }

    // Releases the document and loads it again from the source.
    bool Load() {
        m_document.Release();
        m_loaded = localization::LoadLanguageFile(m_document, m_source);
        return m_loaded;
    }
    bool IsLoaded() const noexcept { return m_loaded; }
    const CDomParser& Document() const noexcept { return m_document; }

    bool LoadText(UINT id, std::wstring& text) const {
        return localization::LoadLocalizedString(m_document, m_source.baseName, id, text);
    }
    std::wstring LoadText(UINT id) const {
        std::wstring text;
        LoadText(id, text);
        return text;
    }

    void LocalizeDialog(HWND dialog, UINT dialogId) const {
        localization::LocalizeDialogWindow(m_document, m_source.baseName, dialog, dialogId);
    }
    void LocalizeDialog() const {
        const T* owner = static_cast<const T*>(this);
        LocalizeDialog(owner->m_hWnd, T::IDD);
    }

private:
    localization::LanguageFileSource m_source;
    CDomParser m_document;
    bool m_loaded = false;
};
