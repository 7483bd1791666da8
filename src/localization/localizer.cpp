// Loading the language file, string look-up with the built-in fallback, and
// localizing a dialog window.
#include "localization/localizer.h"

#include "com/module.h"

#include <cwchar>
#include <vector>

namespace localization {
namespace {

constexpr wchar_t kRootPath[] = L"/Zantix/";
constexpr wchar_t kStringFormat[] = L"/resources/strings/string[@id='%i']";
constexpr wchar_t kControlTextFormat[] = L"/resources/dlg[@id='%i']/string[@id='%i']";
constexpr wchar_t kCaptionFormat[] = L"/resources/dlg[@id='%i']/caption";

template <class... Args>
std::wstring Format(const wchar_t* format, Args... args) {
    std::vector<wchar_t> buffer(64);
    for (;;) {
        const int length = std::swprintf(buffer.data(), buffer.size(), format, args...);
        if (length >= 0 && size_t(length) < buffer.size()) return std::wstring(buffer.data(), size_t(length));
        buffer.resize(buffer.size() * 2);
    }
}

std::wstring RootedPath(const std::wstring& baseName, const std::wstring& path) {
    return kRootPath + baseName + path;
}

bool FileExists(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

struct DialogContext {
    const CDomParser* document;
    const std::wstring* baseName;
    HWND dialog;
    UINT dialogId;
};

BOOL CALLBACK LocalizeChild(HWND child, LPARAM context) {
    const DialogContext& dialog = *reinterpret_cast<const DialogContext*>(context);
    // EnumChildWindows walks all descendants; the texts belong to the
    // template's own controls only.
    if (::GetAncestor(child, GA_PARENT) != dialog.dialog) return TRUE;
    ::SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(::GetStockObject(DEFAULT_GUI_FONT)), TRUE);
    const int controlId = ::GetDlgCtrlID(child);
    // Controls without text of their own (edit boxes, lists) keep theirs.
    if (controlId == 0 || ::GetWindowTextLengthW(child) < 1) return TRUE;
    const std::wstring text =
        dialog.document->SelectText(ControlTextPath(*dialog.baseName, int(dialog.dialogId), controlId));
    if (!text.empty()) ::SetWindowTextW(child, text.c_str());
    return TRUE;
}

}  // namespace

LanguageFileSource LanguageFileSource::ForModule() {
    const std::wstring path = com::Module::Path();
    return {ModuleFolder(path), ModuleBaseName(path), BuildLanguageList()};
}

std::wstring LanguageFilePath(const std::wstring& folder, LANGID language) {
    return folder + LanguageFileName(language);
}

std::wstring StringPath(const std::wstring& baseName, int stringId) {
    return RootedPath(baseName, Format(kStringFormat, stringId));
}

std::wstring ControlTextPath(const std::wstring& baseName, int dialogId, int controlId) {
    return RootedPath(baseName, Format(kControlTextFormat, dialogId, controlId));
}

std::wstring CaptionPath(const std::wstring& baseName, int dialogId) {
    return RootedPath(baseName, Format(kCaptionFormat, dialogId));
}

bool LoadLanguageFile(CDomParser& document, const LanguageFileSource& source) {
    document.Release();
    for (const LANGID language : source.languages) {
        const std::wstring path = LanguageFilePath(source.folder, language);
        if (FileExists(path) && document.Load(path)) return true;
        if (PRIMARYLANGID(language) == kPrimaryEnglish) return false;
    }
    return false;
}

bool LoadBuiltInString(UINT id, std::wstring& text) {
    text.clear();
    // With no buffer size the call hands out a pointer into the resource,
    // so texts of any length come back whole.
    const wchar_t* resource = nullptr;
    const int length =
        ::LoadStringW(com::Module::ResourceInstance(), id, reinterpret_cast<wchar_t*>(&resource), 0);
    if (length <= 0 || !resource) return false;
    text.assign(resource, size_t(length));
    return true;
}

bool LoadLocalizedString(const CDomParser& document, const std::wstring& baseName, UINT id,
                         std::wstring& text) {
    const bool builtIn = LoadBuiltInString(id, text);
    if (!document.IsLoaded()) return builtIn;
    std::wstring localized = document.SelectText(StringPath(baseName, int(id)));
    if (localized.empty()) return builtIn;
    text = std::move(localized);
    return true;
}

void LocalizeDialogWindow(const CDomParser& document, const std::wstring& baseName, HWND dialog,
                          UINT dialogId) {
    if (!::IsWindow(dialog)) return;
    const std::wstring caption = document.SelectText(CaptionPath(baseName, int(dialogId)));
    if (!caption.empty()) ::SetWindowTextW(dialog, caption.c_str());
    DialogContext context{&document, &baseName, dialog, dialogId};
    ::EnumChildWindows(dialog, &LocalizeChild, reinterpret_cast<LPARAM>(&context));
}

}  // namespace localization
