// The XML document wrapper over the platform's DOM service.
#include "localization/dom_parser.h"

#include "com/strings.h"
#include "com/unique_any.h"

namespace {

// DOMDocument60, DOMDocument40 and DOMDocument30, tried in this order.
constexpr CLSID kDocumentClasses[] = {
    {0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}},
};

constexpr wchar_t kTextStep[] = L"./text()";

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
