// The contact element tree and its conversion from and to an MSXML document.
#include "contact_xml.h"

#include "com/com_ptr.h"
#include "com/hresult.h"
#include "com/strings.h"
#include "com/unique_any.h"

#include <msxml2.h>
#include <shlwapi.h>

#include <map>

namespace wabfake {
namespace {

// DOMDocument60, DOMDocument40 and DOMDocument30, newest first.
constexpr CLSID kDocumentClasses[] = {
    {0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
    {0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}},
};

com::ComPtr<IXMLDOMDocument> CreateDocument() {
    com::ComPtr<IXMLDOMDocument> document;
    for (const CLSID& clsid : kDocumentClasses)
        if (SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                         document.put_void())))
            break;
    if (document) {
        document->put_async(VARIANT_FALSE);
        document->put_validateOnParse(VARIANT_FALSE);
        document->put_resolveExternals(VARIANT_FALSE);
        document->put_preserveWhiteSpace(VARIANT_TRUE);
        // MSXML 6 refuses a document type by default (no entity expansion
        // from a file another program wrote); say so for the older services.
        static constexpr IID kIIDDocument2 = {
            0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
        com::ComPtr<IXMLDOMDocument2> settings;
        if (SUCCEEDED(document->QueryInterface(kIIDDocument2, settings.put_void())) && settings) {
            com::UniqueBstr name(com::AllocBstr(L"ProhibitDTD"));
            VARIANT on;
            ::VariantInit(&on);
            on.vt = VT_BOOL;
            on.boolVal = VARIANT_TRUE;
            if (name) settings->setProperty(name.get(), on);
        }
    }
    return document;
}

// What the XML service says about a document it refused; E_FAIL when it
// says nothing.
HRESULT ParseFailure(IXMLDOMDocument* document) {
    com::ComPtr<IXMLDOMParseError> error;
    long code = 0;
    if (SUCCEEDED(document->get_parseError(error.put())) && error && SUCCEEDED(error->get_errorCode(&code)) &&
        FAILED(HRESULT(code)))
        return HRESULT(code);
    return E_FAIL;
}

// The service's own guard against a document type is not in every XML
// service (Wine's takes the setting and goes on); the refusal MSXML 6 gives
// is played here: a document whose prolog declares a document type.
bool DeclaresDocumentType(const std::string& bytes) {
    if (bytes.find("<!DOCTYPE") != std::string::npos) return true;
    // The same in UTF-16 (either byte order).
    static const char wideLE[] = "<\0!\0D\0O\0C\0T\0Y\0P\0E\0";
    static const char wideBE[] = "\0<\0!\0D\0O\0C\0T\0Y\0P\0E";
    return bytes.find(std::string(wideLE, sizeof wideLE - 1)) != std::string::npos ||
           bytes.find(std::string(wideBE, sizeof wideBE - 1)) != std::string::npos;
}

// msxml2.h declares no __uuidof for the DOM interfaces: ask by IID.
template <class I, class T>
com::ComPtr<I> QueryAs(const com::ComPtr<T>& object, REFIID iid) {
    com::ComPtr<I> result;
    if (object) object->QueryInterface(iid, result.put_void());
    return result;
}

std::wstring TakeBstr(BSTR text) {
    com::UniqueBstr owner(text);
    return com::FromBstr(owner.get());
}

bool IsNamespaceDeclaration(const std::wstring& qualifiedName) {
    return qualifiedName == L"xmlns" || qualifiedName.rfind(L"xmlns:", 0) == 0;
}

std::unique_ptr<XmlElement> ReadElement(IXMLDOMNode* node, int depth) {
    // A contact is a few levels deep; anything far deeper is not a contact.
    if (depth > 32) return nullptr;
    auto element = std::make_unique<XmlElement>();
    BSTR text = nullptr;
    if (SUCCEEDED(node->get_namespaceURI(&text))) element->ns = TakeBstr(text);
    text = nullptr;
    if (FAILED(node->get_baseName(&text))) return nullptr;
    element->name = TakeBstr(text);

    com::ComPtr<IXMLDOMNamedNodeMap> attributes;
    if (SUCCEEDED(node->get_attributes(attributes.put())) && attributes) {
        long count = 0;
        attributes->get_length(&count);
        for (long i = 0; i < count; ++i) {
            com::ComPtr<IXMLDOMNode> attribute;
            if (FAILED(attributes->get_item(i, attribute.put())) || !attribute) continue;
            text = nullptr;
            attribute->get_nodeName(&text);
            if (IsNamespaceDeclaration(TakeBstr(text))) continue;
            XmlAttribute value;
            text = nullptr;
            if (SUCCEEDED(attribute->get_namespaceURI(&text))) value.ns = TakeBstr(text);
            text = nullptr;
            if (SUCCEEDED(attribute->get_baseName(&text))) value.name = TakeBstr(text);
            text = nullptr;
            if (SUCCEEDED(attribute->get_text(&text))) value.value = TakeBstr(text);
            element->attributes.push_back(std::move(value));
        }
    }

    com::ComPtr<IXMLDOMNodeList> children;
    if (FAILED(node->get_childNodes(children.put())) || !children) return element;
    long count = 0;
    children->get_length(&count);
    std::wstring ownText;
    for (long i = 0; i < count; ++i) {
        com::ComPtr<IXMLDOMNode> child;
        if (FAILED(children->get_item(i, child.put())) || !child) continue;
        DOMNodeType type = NODE_INVALID;
        child->get_nodeType(&type);
        if (type == NODE_ELEMENT) {
            auto sub = ReadElement(child.get(), depth + 1);
            if (!sub) return nullptr;
            element->children.push_back(std::move(sub));
        } else if (type == NODE_TEXT || type == NODE_CDATA_SECTION) {
            com::UniqueVariant value;
            if (SUCCEEDED(child->get_nodeValue(value.put())) && value.vt == VT_BSTR)
                ownText += com::FromBstr(value.bstrVal);
        }
    }
    // Text between child elements is layout, not a value.
    if (element->children.empty()) element->text = std::move(ownText);
    return element;
}

std::unique_ptr<XmlElement> ReadDocument(IXMLDOMDocument* document) {
    com::ComPtr<IXMLDOMElement> root;
    if (document->get_documentElement(root.put()) != S_OK || !root) return nullptr;
    com::ComPtr<IXMLDOMNode> node = QueryAs<IXMLDOMNode>(root, IID_IXMLDOMNode);
    if (!node) return nullptr;
    return ReadElement(node.get(), 0);
}

std::unique_ptr<XmlElement> Load(VARIANT source) {
    com::ComPtr<IXMLDOMDocument> document = CreateDocument();
    if (!document) return nullptr;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(document->load(source, &loaded)) || loaded != VARIANT_TRUE) return nullptr;
    return ReadDocument(document.get());
}

// Prefixes used when writing: the contact namespace is "c" as in the
// platform's own files; other namespaces get a prefix of their own.
class Prefixes {
public:
    std::wstring For(const std::wstring& ns) {
        if (ns.empty()) return {};
        if (ns == kContactNamespace) return L"c";
        if (ns == kXsiNamespace) return L"xsi";
        if (ns == kWabMapiNamespace) return L"MSWABMAPI";
        auto found = m_prefixes.find(ns);
        if (found != m_prefixes.end()) return found->second;
        std::wstring prefix = IsSimpleName(ns) ? ns : L"ext" + std::to_wstring(m_prefixes.size() + 1);
        m_prefixes.emplace(ns, prefix);
        return prefix;
    }

private:
    static bool IsSimpleName(const std::wstring& text) {
        if (text.empty() || text.size() > 32 || !iswalpha(text[0])) return false;
        if (text == L"c" || text == L"xsi" || text.rfind(L"xml", 0) == 0) return false;
        for (wchar_t ch : text)
            if (!iswalnum(ch)) return false;
        return true;
    }
    std::map<std::wstring, std::wstring> m_prefixes;
};

std::wstring Qualified(const std::wstring& prefix, const std::wstring& name) {
    return prefix.empty() ? name : prefix + L":" + name;
}

HRESULT CreateNode(IXMLDOMDocument* document, DOMNodeType type, const std::wstring& name, const std::wstring& ns,
                   IXMLDOMNode** node) {
    VARIANT kind;
    ::VariantInit(&kind);
    kind.vt = VT_I4;
    kind.lVal = type;
    com::UniqueBstr qualified(com::AllocBstr(name));
    com::UniqueBstr uri(com::AllocBstr(ns));
    if (!qualified || !uri) return E_OUTOFMEMORY;
    return document->createNode(kind, qualified.get(), uri.get(), node);
}

HRESULT BuildElement(IXMLDOMDocument* document, const XmlElement& element, Prefixes& prefixes,
                     IXMLDOMNode* parent) {
    com::ComPtr<IXMLDOMNode> node;
    RETURN_IF_FAILED(
        CreateNode(document, NODE_ELEMENT, Qualified(prefixes.For(element.ns), element.name), element.ns, node.put()));
    com::ComPtr<IXMLDOMElement> asElement = QueryAs<IXMLDOMElement>(node, IID_IXMLDOMElement);
    if (!asElement) return E_NOINTERFACE;
    for (const XmlAttribute& attribute : element.attributes) {
        com::ComPtr<IXMLDOMNode> attributeNode;
        RETURN_IF_FAILED(CreateNode(document, NODE_ATTRIBUTE, Qualified(prefixes.For(attribute.ns), attribute.name),
                                    attribute.ns, attributeNode.put()));
        com::UniqueBstr value(com::AllocBstr(attribute.value));
        if (!value) return E_OUTOFMEMORY;
        RETURN_IF_FAILED(attributeNode->put_text(value.get()));
        com::ComPtr<IXMLDOMAttribute> asAttribute = QueryAs<IXMLDOMAttribute>(attributeNode, IID_IXMLDOMAttribute);
        if (!asAttribute) return E_NOINTERFACE;
        com::ComPtr<IXMLDOMAttribute> replaced;
        RETURN_IF_FAILED(asElement->setAttributeNode(asAttribute.get(), replaced.put()));
    }
    if (element.children.empty() && !element.text.empty()) {
        com::UniqueBstr text(com::AllocBstr(element.text));
        if (!text) return E_OUTOFMEMORY;
        com::ComPtr<IXMLDOMText> textNode;
        RETURN_IF_FAILED(document->createTextNode(text.get(), textNode.put()));
        com::ComPtr<IXMLDOMNode> appended;
        RETURN_IF_FAILED(node->appendChild(textNode.get(), appended.put()));
    }
    for (const auto& child : element.children) RETURN_IF_FAILED(BuildElement(document, *child, prefixes, node.get()));
    com::ComPtr<IXMLDOMNode> appended;
    return parent->appendChild(node.get(), appended.put());
}

// The platform's SAX writer, which declares each namespace once on the root
// and indents; the DOM route below is kept for XML services without it.
constexpr CLSID kWriterClasses[] = {
    {0x88D96A0F, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},  // MXXMLWriter60
    {0x3D813DFE, 0x6C91, 0x4A4E, {0x8F, 0x41, 0x04, 0x34, 0x6A, 0x84, 0x1D, 0x9C}},  // MXXMLWriter30
};
constexpr CLSID kAttributesClasses[] = {
    {0x88D96A0E, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},  // SAXAttributes60
    {0x3E784A01, 0xF3AE, 0x4DC0, {0x93, 0x54, 0x95, 0x26, 0xB9, 0x37, 0x0E, 0xBA}},  // SAXAttributes30
};
constexpr IID kIIDMXWriter = {0x4D7FF4BA, 0x1565, 0x4EA8, {0x94, 0xE1, 0x6E, 0x72, 0x4A, 0x46, 0xF9, 0x8D}};
constexpr IID kIIDMXAttributes = {0xF10D27CC, 0x3EC0, 0x415C, {0x8E, 0xD8, 0x77, 0xAB, 0x1C, 0x5E, 0x72, 0x62}};
constexpr IID kIIDSAXContentHandler = {0x1545CDFA, 0x9E4E, 0x4497, {0xA8, 0xA4, 0x2B, 0xF7, 0xD0, 0x11, 0x2C, 0x44}};
constexpr IID kIIDSAXAttributes = {0xF078ABE1, 0x45D2, 0x4832, {0x91, 0xEA, 0x44, 0x66, 0xCE, 0x2F, 0x25, 0xC9}};

template <class I, size_t N>
com::ComPtr<I> CreateFirst(const CLSID (&classes)[N], REFIID iid) {
    com::ComPtr<I> object;
    for (const CLSID& clsid : classes)
        if (SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object.put_void()))) break;
    return object;
}

void CollectNamespaces(const XmlElement& element, Prefixes& prefixes, std::map<std::wstring, std::wstring>& used) {
    if (!element.ns.empty()) used.emplace(prefixes.For(element.ns), element.ns);
    for (const XmlAttribute& attribute : element.attributes)
        if (!attribute.ns.empty()) used.emplace(prefixes.For(attribute.ns), attribute.ns);
    for (const auto& child : element.children) CollectNamespaces(*child, prefixes, used);
}

class SaxOut {
public:
    SaxOut(ISAXContentHandler* handler, IMXAttributes* attributes, ISAXAttributes* saxAttributes)
        : m_handler(handler), m_attributes(attributes), m_saxAttributes(saxAttributes) {}

    HRESULT Element(const XmlElement& element, Prefixes& prefixes,
                    const std::map<std::wstring, std::wstring>* declarations, size_t depth = 0) {
        RETURN_IF_FAILED(m_attributes->clear());
        if (declarations)
            for (const auto& [prefix, ns] : *declarations) RETURN_IF_FAILED(Add(L"", L"", L"xmlns:" + prefix, ns));
        for (const XmlAttribute& attribute : element.attributes)
            RETURN_IF_FAILED(Add(attribute.ns, attribute.name, Qualified(prefixes.For(attribute.ns), attribute.name),
                                 attribute.value));
        const std::wstring qualified = Qualified(prefixes.For(element.ns), element.name);
        RETURN_IF_FAILED(m_handler->startElement(element.ns.c_str(), int(element.ns.size()), element.name.c_str(),
                                                 int(element.name.size()), qualified.c_str(), int(qualified.size()),
                                                 m_saxAttributes));
        if (element.children.empty() && !element.text.empty())
            RETURN_IF_FAILED(m_handler->characters(element.text.c_str(), int(element.text.size())));
        // Indented by hand: the writer's own indent mode puts layout inside values.
        const std::wstring inner = L"\n" + std::wstring(depth + 1, L'\t');
        for (const auto& child : element.children) {
            RETURN_IF_FAILED(m_handler->characters(inner.c_str(), int(inner.size())));
            RETURN_IF_FAILED(Element(*child, prefixes, nullptr, depth + 1));
        }
        if (!element.children.empty())
            RETURN_IF_FAILED(m_handler->characters(inner.c_str(), int(inner.size()) - 1));
        return m_handler->endElement(element.ns.c_str(), int(element.ns.size()), element.name.c_str(),
                                     int(element.name.size()), qualified.c_str(), int(qualified.size()));
    }

private:
    HRESULT Add(const std::wstring& ns, const std::wstring& name, const std::wstring& qualified,
                const std::wstring& value) {
        com::UniqueBstr uri(com::AllocBstr(ns)), local(com::AllocBstr(name)), qname(com::AllocBstr(qualified)),
            type(com::AllocBstr(L"CDATA")), text(com::AllocBstr(value));
        if (!uri || !local || !qname || !type || !text) return E_OUTOFMEMORY;
        return m_attributes->addAttribute(uri.get(), local.get(), qname.get(), type.get(), text.get());
    }

    ISAXContentHandler* m_handler;
    IMXAttributes* m_attributes;
    ISAXAttributes* m_saxAttributes;
};

HRESULT WriteWithSax(const XmlElement& root, IStream* stream) {
    com::ComPtr<IMXWriter> writer = CreateFirst<IMXWriter>(kWriterClasses, kIIDMXWriter);
    com::ComPtr<IMXAttributes> attributes = CreateFirst<IMXAttributes>(kAttributesClasses, kIIDMXAttributes);
    com::ComPtr<ISAXContentHandler> handler = QueryAs<ISAXContentHandler>(writer, kIIDSAXContentHandler);
    com::ComPtr<ISAXAttributes> saxAttributes = QueryAs<ISAXAttributes>(attributes, kIIDSAXAttributes);
    if (!writer || !handler || !attributes || !saxAttributes) return REGDB_E_CLASSNOTREG;
    com::UniqueBstr encoding(com::AllocBstr(L"UTF-8"));
    if (!encoding) return E_OUTOFMEMORY;
    RETURN_IF_FAILED(writer->put_encoding(encoding.get()));
    RETURN_IF_FAILED(writer->put_byteOrderMark(VARIANT_FALSE));
    RETURN_IF_FAILED(writer->put_omitXMLDeclaration(VARIANT_FALSE));
    RETURN_IF_FAILED(writer->put_indent(VARIANT_FALSE));
    VARIANT output;
    ::VariantInit(&output);
    output.vt = VT_UNKNOWN;
    output.punkVal = stream;  // borrowed
    RETURN_IF_FAILED(writer->put_output(output));

    Prefixes prefixes;
    std::map<std::wstring, std::wstring> declarations;
    CollectNamespaces(root, prefixes, declarations);
    SaxOut out(handler.get(), attributes.get(), saxAttributes.get());
    RETURN_IF_FAILED(handler->startDocument());
    RETURN_IF_FAILED(out.Element(root, prefixes, &declarations));
    RETURN_IF_FAILED(handler->endDocument());
    return writer->flush();
}

HRESULT WriteBytes(IStream* stream, const void* data, ULONG size) {
    ULONG written = 0;
    RETURN_IF_FAILED(stream->Write(data, size, &written));
    return written == size ? S_OK : STG_E_MEDIUMFULL;
}

}  // namespace

const XmlAttribute* XmlElement::FindAttribute(const std::wstring& attributeNs, const std::wstring& attributeName) const {
    for (const XmlAttribute& attribute : attributes)
        if (attribute.ns == attributeNs && attribute.name == attributeName) return &attribute;
    return nullptr;
}

void XmlElement::SetAttribute(const std::wstring& attributeNs, const std::wstring& attributeName,
                              const std::wstring& value) {
    for (XmlAttribute& attribute : attributes)
        if (attribute.ns == attributeNs && attribute.name == attributeName) {
            attribute.value = value;
            return;
        }
    attributes.push_back({attributeNs, attributeName, value});
}

void XmlElement::RemoveAttribute(const std::wstring& attributeNs, const std::wstring& attributeName) {
    for (auto it = attributes.begin(); it != attributes.end(); ++it)
        if (it->ns == attributeNs && it->name == attributeName) {
            attributes.erase(it);
            return;
        }
}

std::unique_ptr<XmlElement> XmlElement::Clone() const {
    auto copy = std::make_unique<XmlElement>();
    copy->ns = ns;
    copy->name = name;
    copy->text = text;
    copy->attributes = attributes;
    for (const auto& child : children) copy->children.push_back(child->Clone());
    return copy;
}

HRESULT LoadXmlFile(const std::wstring& path, std::unique_ptr<XmlElement>& root) {
    root.reset();
    // Read as a reader of contacts does: sharing with writers, so a file
    // another program holds without sharing fails as it does for them.
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return com::HResultFromLastError();
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.get(), &size)) return com::HResultFromLastError();
    if (size.QuadPart > 0x7FFFFFFF) return E_OUTOFMEMORY;
    std::string bytes(size_t(size.QuadPart), '\0');
    DWORD read = 0;
    if (!bytes.empty() &&
        (!::ReadFile(file.get(), bytes.data(), DWORD(bytes.size()), &read, nullptr) || read != bytes.size()))
        return com::HResultFromLastError();
    file.reset();
    if (DeclaresDocumentType(bytes)) return kXmlNotAContact;

    com::ComPtr<IStream> stream = com::ComPtr<IStream>::attach(
        ::SHCreateMemStream(reinterpret_cast<const BYTE*>(bytes.data()), UINT(bytes.size())));
    if (!stream) return E_OUTOFMEMORY;
    com::ComPtr<IXMLDOMDocument> document = CreateDocument();
    if (!document) return REGDB_E_CLASSNOTREG;
    VARIANT source;
    ::VariantInit(&source);
    source.vt = VT_UNKNOWN;
    source.punkVal = stream.get();  // borrowed
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT hr = document->load(source, &loaded);
    if (FAILED(hr) || loaded != VARIANT_TRUE) return FAILED(hr) ? hr : ParseFailure(document.get());
    root = ReadDocument(document.get());
    return root ? S_OK : kXmlNotAContact;
}

std::unique_ptr<XmlElement> ParseXmlFile(const std::wstring& path) {
    std::unique_ptr<XmlElement> root;
    LoadXmlFile(path, root);
    return root;
}

std::unique_ptr<XmlElement> ParseXmlStream(IStream* stream) {
    if (!stream) return nullptr;
    VARIANT source;
    ::VariantInit(&source);
    source.vt = VT_UNKNOWN;
    source.punkVal = stream;  // borrowed
    return Load(source);
}

HRESULT WriteXmlStream(const XmlElement& root, IStream* stream) {
    if (!stream) return E_POINTER;
    ULARGE_INTEGER start{};
    const LARGE_INTEGER here{};
    const bool canSeek = SUCCEEDED(stream->Seek(here, STREAM_SEEK_CUR, &start));
    const HRESULT sax = WriteWithSax(root, stream);
    if (SUCCEEDED(sax)) return S_OK;
    if (sax != REGDB_E_CLASSNOTREG) {
        // Start again where the SAX writer began.
        if (!canSeek) return sax;
        LARGE_INTEGER back{};
        back.QuadPart = LONGLONG(start.QuadPart);
        RETURN_IF_FAILED(stream->Seek(back, STREAM_SEEK_SET, nullptr));
        stream->SetSize(start);
    }
    com::ComPtr<IXMLDOMDocument> document = CreateDocument();
    if (!document) return REGDB_E_CLASSNOTREG;
    com::UniqueBstr target(com::AllocBstr(L"xml"));
    com::UniqueBstr data(com::AllocBstr(L"version=\"1.0\" encoding=\"UTF-8\""));
    if (!target || !data) return E_OUTOFMEMORY;
    com::ComPtr<IXMLDOMProcessingInstruction> declaration;
    RETURN_IF_FAILED(document->createProcessingInstruction(target.get(), data.get(), declaration.put()));
    com::ComPtr<IXMLDOMNode> appended;
    RETURN_IF_FAILED(document->appendChild(declaration.get(), appended.put()));
    Prefixes prefixes;
    com::ComPtr<IXMLDOMNode> documentNode = QueryAs<IXMLDOMNode>(document, IID_IXMLDOMNode);
    if (!documentNode) return E_NOINTERFACE;
    RETURN_IF_FAILED(BuildElement(document.get(), root, prefixes, documentNode.get()));

    VARIANT destination;
    ::VariantInit(&destination);
    destination.vt = VT_UNKNOWN;
    destination.punkVal = stream;  // borrowed
    if (SUCCEEDED(document->save(destination))) return S_OK;

    // Not every XML service saves into a stream: serialise the text instead.
    BSTR xml = nullptr;
    RETURN_IF_FAILED(document->get_xml(&xml));
    const std::wstring text = TakeBstr(xml);
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), bytes.data(), size, nullptr, nullptr);
    return WriteBytes(stream, bytes.data(), ULONG(bytes.size()));
}

HRESULT WriteXmlFile(const XmlElement& root, const std::wstring& path) {
    com::ComPtr<IStream> memory = com::ComPtr<IStream>::attach(::SHCreateMemStream(nullptr, 0));
    if (!memory) return E_OUTOFMEMORY;
    RETURN_IF_FAILED(WriteXmlStream(root, memory.get()));
    STATSTG stat{};
    RETURN_IF_FAILED(memory->Stat(&stat, STATFLAG_NONAME));
    std::string bytes(size_t(stat.cbSize.QuadPart), '\0');
    LARGE_INTEGER start{};
    RETURN_IF_FAILED(memory->Seek(start, STREAM_SEEK_SET, nullptr));
    ULONG read = 0;
    RETURN_IF_FAILED(memory->Read(bytes.data(), ULONG(bytes.size()), &read));

    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return com::HResultFromLastError();
    DWORD written = 0;
    if (!::WriteFile(file.get(), bytes.data(), read, &written, nullptr) || written != read)
        return com::HResultFromLastError();
    return S_OK;
}

}  // namespace wabfake
