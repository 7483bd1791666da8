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
    if (path.empty() || path.size() >= kMaxPath) return false;
    com::ComPtr<IXMLDOMDocument> document = CreateDocument();
    if (!document) return false;
    // A file loads synchronously; the answer is needed before anything is shown.
    if (FAILED(document->put_async(VARIANT_FALSE))) return false;
    if (const auto settings = document.query<IXMLDOMDocument2>()) {
        com::UniqueBstr name = MakeBstr(kMaxElementDepthProperty);
        VARIANT depth;
        ::VariantInit(&depth);
        depth.vt = VT_I4;
        depth.lVal = kMaxElementDepth;
        // A service too old to know the property parses as it always did.
        if (name) settings->setProperty(name.get(), depth);
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
