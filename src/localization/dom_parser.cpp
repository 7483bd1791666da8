// The XML document wrapper over the platform's DOM service.
#include "localization/dom_parser.h"

#include "com/strings.h"
#include "com/unique_any.h"

// mingw-w64's msxml2.h declares the interface without its identifier.
__CRT_UUID_DECL(IXMLDOMDocument2, 0x2933BF95, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60)

namespace {

// DOMDocument60, DOMDocument40 and DOMDocument30, tried in this order.
constexpr CLSID kDocumentClasses[] = {
    {0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}},
};

constexpr wchar_t kTextStep[] = L"./text()";

// Language files are a few elements deep. MSXML 6.0 refuses documents deeper
// than 256 elements by default, MSXML 3.0 reads any depth, and the parse runs
// on the caller's stack: every version gets the 6.0 limit.
constexpr wchar_t kMaxElementDepthProperty[] = L"MaxElementDepth";
constexpr LONG kMaxElementDepth = 256;
// A language file has no document type: one would only serve to expand
// entities or to pull in other files of the machine (MSXML 3.0 resolves
// external entities unless told not to).
constexpr wchar_t kProhibitDtdProperty[] = L"ProhibitDTD";
// A shared language file of many modules is a few hundred kilobytes; a far
// larger one is refused before it is parsed, which would hold up the window
// that is being opened for seconds.
constexpr ULONGLONG kMaxFileBytes = 8ULL * 1024 * 1024;

bool SetProperty(IXMLDOMDocument2* settings, const wchar_t* property, const VARIANT& value) {
    com::UniqueBstr name(com::AllocBstr(property));
    return name && SUCCEEDED(settings->setProperty(name.get(), value));
}

bool FileIsSmallEnough(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return false;
    const ULONGLONG size = (ULONGLONG(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    return !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && size <= kMaxFileBytes;
}

com::ComPtr<IXMLDOMDocument> CreateDocument() {
    com::ComPtr<IXMLDOMDocument> document;
    for (const CLSID& clsid : kDocumentClasses)
        if (SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                         document.put_void())))
            break;
    return document;
}

com::UniqueBstr MakeBstr(const std::wstring& text) {
    return com::UniqueBstr(com::AllocBstr(text));
}

}  // namespace

bool CDomParser::Load(const std::wstring& path) {
    Release();
    if (path.empty() || path.size() >= kMaxPath || !FileIsSmallEnough(path)) return false;
    com::ComPtr<IXMLDOMDocument> document = CreateDocument();
    if (!document) return false;
    // A file loads synchronously; the answer is needed before anything is shown.
    if (FAILED(document->put_async(VARIANT_FALSE))) return false;
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    if (const auto settings = document.query<IXMLDOMDocument2>()) {
        VARIANT depth;
        ::VariantInit(&depth);
        depth.vt = VT_I4;
        depth.lVal = kMaxElementDepth;
        // A service too old to know a property parses as it always did.
        SetProperty(settings.get(), kMaxElementDepthProperty, depth);
        VARIANT prohibit;
        ::VariantInit(&prohibit);
        prohibit.vt = VT_BOOL;
        prohibit.boolVal = VARIANT_TRUE;
        SetProperty(settings.get(), kProhibitDtdProperty, prohibit);
    }

    com::UniqueBstr file = MakeBstr(path);
    if (!file) return false;
    VARIANT source;
    ::VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = file.get();  // still owned by `file`
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(document->load(source, &loaded)) || loaded != VARIANT_TRUE) return false;
    m_document = document;
    m_path = path;
    return true;
}

void CDomParser::Release() noexcept {
    m_document.reset();
    m_path.clear();
}

std::wstring CDomParser::SelectText(const std::wstring& xpath) const {
    if (!m_document) return {};
    com::UniqueBstr query = MakeBstr(xpath);
    com::UniqueBstr textQuery = MakeBstr(kTextStep);
    if (!query || !textQuery) return {};
    com::ComPtr<IXMLDOMNode> node;
    if (m_document->selectSingleNode(query.get(), node.put()) != S_OK || !node) return {};
    com::ComPtr<IXMLDOMNode> text;
    if (node->selectSingleNode(textQuery.get(), text.put()) != S_OK || !text) return {};
    com::UniqueVariant value;
    if (FAILED(text->get_nodeValue(value.put())) || value.vt != VT_BSTR) return {};
    return com::FromBstr(value.bstrVal);
}
