// Property paths over the contact element tree, with the platform's results.
#include "contact_data.h"

#include "sources/contacts_api.h"

#include <objbase.h>

#include <algorithm>
#include <cwchar>

namespace wabfake {
namespace {

constexpr wchar_t kCollectionSuffix[] = L"Collection";
constexpr size_t kCollectionSuffixLength = 10;
constexpr wchar_t kExtended[] = L"Extended";
constexpr wchar_t kLabelCollection[] = L"LabelCollection";
constexpr wchar_t kLabel[] = L"Label";

bool EndsWithCollection(const std::wstring& name) {
    return name.size() > kCollectionSuffixLength &&
           name.compare(name.size() - kCollectionSuffixLength, kCollectionSuffixLength, kCollectionSuffix) == 0;
}

bool IsNil(const XmlElement& element) {
    const XmlAttribute* nil = element.FindAttribute(kXsiNamespace, L"nil");
    return nil && nil->value == L"true";
}

XmlElement* Child(const XmlElement& parent, const std::wstring& ns, const std::wstring& name) {
    for (const auto& child : parent.children)
        if (child->ns == ns && child->name == name) return child.get();
    return nullptr;
}

// The n-th (from 1) child of that name.
XmlElement* NthChild(const XmlElement& parent, const std::wstring& name, int index) {
    int seen = 0;
    for (const auto& child : parent.children)
        if (child->ns == kContactNamespace && child->name == name && ++seen == index) return child.get();
    return nullptr;
}

XmlElement& AddChild(XmlElement& parent, const std::wstring& ns, const std::wstring& name) {
    parent.children.push_back(std::make_unique<XmlElement>());
    XmlElement& child = *parent.children.back();
    child.ns = ns;
    child.name = name;
    return child;
}

FILETIME Now() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return now;
}

// Every write carries a version and a modification date, as in the platform's files.
void Stamp(XmlElement& element) {
    DWORD version = 0;
    if (const XmlAttribute* current = element.FindAttribute(kContactNamespace, L"Version"))
        version = DWORD(wcstoul(current->value.c_str(), nullptr, 10));
    element.SetAttribute(kContactNamespace, L"Version", std::to_wstring(version + 1));
    element.SetAttribute(kContactNamespace, L"ModificationDate", FormatTime(Now()));
}

std::vector<std::wstring> LabelsOf(const XmlElement& element) {
    std::vector<std::wstring> labels;
    if (const XmlElement* collection = Child(element, kContactNamespace, kLabelCollection))
        for (const auto& label : collection->children)
            if (label->ns == kContactNamespace && label->name == kLabel && !IsNil(*label)) labels.push_back(label->text);
    return labels;
}

PropertyEntry EntryFor(const std::wstring& name, DWORD type, const XmlElement& element) {
    PropertyEntry entry;
    entry.name = name;
    entry.type = type;
    if (const XmlAttribute* version = element.FindAttribute(kContactNamespace, L"Version"))
        entry.version = DWORD(wcstoul(version->value.c_str(), nullptr, 10));
    if (const XmlAttribute* modified = element.FindAttribute(kContactNamespace, L"ModificationDate"))
        ParseTime(modified->value, entry.modified);
    if (const XmlAttribute* id = element.FindAttribute(kContactNamespace, L"ElementID")) entry.elementId = id->value;
    return entry;
}

DWORD ValueType(const XmlElement& element) {
    if (!element.children.empty()) return CGD_UNKNOWN_PROPERTY;
    FILETIME ignored{};
    return ParseTime(element.text, ignored) ? CGD_DATE_PROPERTY : CGD_STRING_PROPERTY;
}

}  // namespace

// A parsed property name: an extended property ([ns]name), or one to three
// steps of which only the second carries an index.
struct ContactDocument::Path {
    std::wstring extendedNs;
    std::wstring steps[3];
    int index = 0;
    int depth = 0;
};

bool ContactDocument::Parse(const std::wstring& name, Path& path) {
    if (name.empty()) return false;
    if (name[0] == L'[') {
        const size_t close = name.find(L']');
        if (close == std::wstring::npos || close == 1 || close + 1 >= name.size()) return false;
        path.extendedNs = name.substr(1, close - 1);
        path.steps[0] = name.substr(close + 1);
        path.depth = 1;
        return path.steps[0].find_first_of(L"/[]") == std::wstring::npos;
    }
    size_t start = 0;
    while (path.depth < 3) {
        const size_t slash = name.find(L'/', start);
        std::wstring step = name.substr(start, slash == std::wstring::npos ? std::wstring::npos : slash - start);
        const size_t open = step.find(L'[');
        if (path.depth == 1) {
            // The element of a collection is always addressed by its index.
            if (open == std::wstring::npos || open == 0 || step.back() != L']') return false;
            const std::wstring digits = step.substr(open + 1, step.size() - open - 2);
            if (digits.empty() || digits.size() > 6 ||
                !std::all_of(digits.begin(), digits.end(), [](wchar_t ch) { return ch >= L'0' && ch <= L'9'; }))
                return false;
            path.index = _wtoi(digits.c_str());
            if (path.index < 1) return false;
            step.resize(open);
        } else if (open != std::wstring::npos || step.find(L']') != std::wstring::npos) {
            return false;
        }
        if (step.empty()) return false;
        path.steps[path.depth++] = step;
        if (slash == std::wstring::npos) return path.depth != 2 || EndsWithCollection(path.steps[0]);
        start = slash + 1;
    }
    return false;  // more than three steps
}

XmlElement* ContactDocument::Find(const Path& path) const {
    if (!path.extendedNs.empty()) {
        XmlElement* extended = Child(*m_root, kContactNamespace, kExtended);
        return extended ? Child(*extended, path.extendedNs, path.steps[0]) : nullptr;
    }
    XmlElement* first = Child(*m_root, kContactNamespace, path.steps[0]);
    if (!first || path.depth == 1) return first;
    XmlElement* node = NthChild(*first, path.steps[1], path.index);
    if (!node || path.depth == 2) return node;
    return Child(*node, kContactNamespace, path.steps[2]);
}

ContactDocument::ContactDocument() : m_root(std::make_unique<XmlElement>()) {
    m_root->ns = kContactNamespace;
    m_root->name = L"contact";
    m_root->SetAttribute(kContactNamespace, L"Version", L"1");
    XmlElement& created = AddChild(*m_root, kContactNamespace, L"CreationDate");
    created.text = FormatTime(Now());
    std::wstring ignored;
    CreateArrayNode(L"ContactIDCollection", true, ignored);
    SetString(kContactIdProperty, NewGuidText());
}

ContactDocument::ContactDocument(std::unique_ptr<XmlElement> root) : m_root(std::move(root)) {
    if (!m_root) m_root = std::make_unique<XmlElement>();
}

bool ContactDocument::IsContactDocument() const {
    return m_root->ns == kContactNamespace && m_root->name == L"contact";
}

bool ContactDocument::IsContact() const {
    return IsContactDocument() && !ContactId().empty();
}

std::wstring ContactDocument::ContactId() const {
    std::wstring id;
    return GetString(kContactIdProperty, id) == S_OK ? id : std::wstring();
}

HRESULT ContactDocument::GetString(const std::wstring& name, std::wstring& value) const {
    value.clear();
    Path path;
    if (!Parse(name, path)) return E_INVALIDARG;
    const XmlElement* element = Find(path);
    if (!element) return kContactPathNotFound;
    const bool container = (path.extendedNs.empty() && (path.depth == 2 || (path.depth == 1 && EndsWithCollection(path.steps[0])))) ||
                           !element->children.empty();
    if (container || IsNil(*element)) return S_FALSE;
    value = element->text;
    return S_OK;
}

XmlElement* ContactDocument::MakeValueElement(const Path& path, HRESULT& hr) {
    hr = S_OK;
    if (!path.extendedNs.empty()) {
        XmlElement* extended = Child(*m_root, kContactNamespace, kExtended);
        if (!extended) extended = &AddChild(*m_root, kContactNamespace, kExtended);
        extended->RemoveAttribute(kXsiNamespace, L"nil");
        XmlElement* element = Child(*extended, path.extendedNs, path.steps[0]);
        return element ? element : &AddChild(*extended, path.extendedNs, path.steps[0]);
    }
    if (path.depth == 2 || (path.depth == 1 && EndsWithCollection(path.steps[0])) ||
        (path.depth == 3 && path.steps[2] == kLabelCollection)) {
        hr = kContactInvalidDatatype;
        return nullptr;
    }
    XmlElement* parent = m_root.get();
    if (path.depth == 3) {
        XmlElement* collection = Child(*m_root, kContactNamespace, path.steps[0]);
        parent = collection ? NthChild(*collection, path.steps[1], path.index) : nullptr;
        if (!parent) {
            hr = kContactPathNotFound;
            return nullptr;
        }
        parent->RemoveAttribute(kXsiNamespace, L"nil");
    }
    const std::wstring& leaf = path.steps[path.depth - 1];
    XmlElement* element = Child(*parent, kContactNamespace, leaf);
    return element ? element : &AddChild(*parent, kContactNamespace, leaf);
}

HRESULT ContactDocument::SetString(const std::wstring& name, const std::wstring& value) {
    Path path;
    if (!Parse(name, path)) return E_INVALIDARG;
    HRESULT hr = S_OK;
    XmlElement* element = MakeValueElement(path, hr);
    if (!element) return hr;
    if (!element->children.empty()) return kContactInvalidDatatype;
    element->RemoveAttribute(kXsiNamespace, L"nil");
    element->text = value;
    Stamp(*element);
    return S_OK;
}

HRESULT ContactDocument::GetDate(const std::wstring& name, FILETIME& value) const {
    std::wstring text;
    const HRESULT hr = GetString(name, text);
    if (hr != S_OK) return hr;
    return ParseTime(text, value) ? S_OK : kContactInvalidDatatype;
}

HRESULT ContactDocument::SetDate(const std::wstring& name, const FILETIME& value) {
    return SetString(name, FormatTime(value));
}

HRESULT ContactDocument::DeleteProperty(const std::wstring& name) {
    Path path;
    if (!Parse(name, path)) return E_INVALIDARG;
    XmlElement* element = Find(path);
    if (!element) return kContactPathNotFound;
    if (path.extendedNs.empty() && (path.depth == 2 || (path.depth == 1 && EndsWithCollection(path.steps[0]))))
        return kContactInvalidDatatype;
    // The element stays with its version and date; only the value goes.
    element->text.clear();
    element->children.clear();
    element->SetAttribute(kXsiNamespace, L"nil", L"true");
    Stamp(*element);
    return S_OK;
}

HRESULT ContactDocument::CreateArrayNode(const std::wstring& collectionName, bool append,
                                         std::wstring& newElementName) {
    newElementName.clear();
    if (!EndsWithCollection(collectionName) || collectionName.find_first_of(L"/[]") != std::wstring::npos)
        return E_INVALIDARG;
    const std::wstring elementName = collectionName.substr(0, collectionName.size() - kCollectionSuffixLength);
    XmlElement* collection = Child(*m_root, kContactNamespace, collectionName);
    if (!collection) collection = &AddChild(*m_root, kContactNamespace, collectionName);
    collection->RemoveAttribute(kXsiNamespace, L"nil");

    auto node = std::make_unique<XmlElement>();
    node->ns = kContactNamespace;
    node->name = elementName;
    node->SetAttribute(kContactNamespace, L"ElementID", NewGuidText());
    Stamp(*node);
    int index = 1;
    if (append) {
        for (const auto& child : collection->children)
            if (child->ns == kContactNamespace && child->name == elementName) ++index;
        collection->children.push_back(std::move(node));
    } else {
        collection->children.insert(collection->children.begin(), std::move(node));
    }
    newElementName = collectionName + L"/" + elementName + L"[" + std::to_wstring(index) + L"]";
    return S_OK;
}

XmlElement* ContactDocument::FindArrayNode(const std::wstring& elementName, HRESULT& hr) const {
    Path path;
    hr = S_OK;
    if (!Parse(elementName, path)) {
        hr = E_INVALIDARG;
        return nullptr;
    }
    if (!path.extendedNs.empty() || path.depth != 2) {
        hr = kContactInvalidDatatype;
        return nullptr;
    }
    XmlElement* node = Find(path);
    if (!node) hr = kContactPathNotFound;
    return node;
}

HRESULT ContactDocument::DeleteArrayNode(const std::wstring& elementName) {
    HRESULT hr = S_OK;
    XmlElement* node = FindArrayNode(elementName, hr);
    if (!node) return hr;
    // The node keeps its place so that the indices of the others stay valid.
    node->children.clear();
    node->text.clear();
    node->SetAttribute(kXsiNamespace, L"nil", L"true");
    Stamp(*node);
    return S_OK;
}

HRESULT ContactDocument::GetLabels(const std::wstring& elementName, std::vector<std::wstring>& labels) const {
    labels.clear();
    HRESULT hr = S_OK;
    const XmlElement* node = FindArrayNode(elementName, hr);
    if (!node) return hr;
    labels = LabelsOf(*node);
    return S_OK;
}

HRESULT ContactDocument::SetLabels(const std::wstring& elementName, const std::vector<std::wstring>& labels) {
    HRESULT hr = S_OK;
    XmlElement* node = FindArrayNode(elementName, hr);
    if (!node) return hr;
    if (labels.empty()) return E_INVALIDARG;
    for (const std::wstring& label : labels)
        if (label.empty()) return E_INVALIDARG;
    node->RemoveAttribute(kXsiNamespace, L"nil");
    XmlElement* collection = Child(*node, kContactNamespace, kLabelCollection);
    if (!collection) collection = &AddChild(*node, kContactNamespace, kLabelCollection);
    const std::vector<std::wstring> present = LabelsOf(*node);
    for (const std::wstring& label : labels) {
        if (std::find(present.begin(), present.end(), label) != present.end()) continue;
        XmlElement& added = AddChild(*collection, kContactNamespace, kLabel);
        added.text = label;
        Stamp(added);
    }
    return S_OK;
}

HRESULT ContactDocument::DeleteLabels(const std::wstring& elementName) {
    HRESULT hr = S_OK;
    XmlElement* node = FindArrayNode(elementName, hr);
    if (!node) return hr;
    auto& children = node->children;
    children.erase(std::remove_if(children.begin(), children.end(),
                                  [](const auto& child) {
                                      return child->ns == kContactNamespace && child->name == kLabelCollection;
                                  }),
                   children.end());
    return S_OK;
}

std::vector<PropertyEntry> ContactDocument::Collect(const wchar_t* collectionName,
                                                    const std::vector<std::wstring>& labels, bool anyLabel) const {
    std::vector<PropertyEntry> entries;
    auto matches = [&](const XmlElement& node) {
        if (labels.empty()) return true;
        const std::vector<std::wstring> own = LabelsOf(node);
        auto has = [&](const std::wstring& label) { return std::find(own.begin(), own.end(), label) != own.end(); };
        return anyLabel ? std::any_of(labels.begin(), labels.end(), has)
                        : std::all_of(labels.begin(), labels.end(), has);
    };
    auto addArrayNodes = [&](const XmlElement& collection, bool withValues) {
        std::vector<std::pair<std::wstring, int>> counts;
        for (const auto& node : collection.children) {
            if (node->ns != kContactNamespace) continue;
            auto count = std::find_if(counts.begin(), counts.end(), [&](const auto& c) { return c.first == node->name; });
            if (count == counts.end()) count = counts.insert(counts.end(), {node->name, 0});
            const std::wstring name = collection.name + L"/" + node->name + L"[" + std::to_wstring(++count->second) + L"]";
            if (!matches(*node)) continue;
            entries.push_back(EntryFor(name, CGD_ARRAY_NODE, *node));
            if (!withValues) continue;
            for (const auto& value : node->children)
                if (value->ns == kContactNamespace && value->name != kLabelCollection)
                    entries.push_back(EntryFor(name + L"/" + value->name, ValueType(*value), *value));
        }
    };

    if (collectionName) {
        if (const XmlElement* collection = Child(*m_root, kContactNamespace, collectionName))
            addArrayNodes(*collection, false);
        return entries;
    }
    for (const auto& child : m_root->children) {
        if (child->ns == kContactNamespace && EndsWithCollection(child->name)) {
            addArrayNodes(*child, labels.empty());
        } else if (child->ns == kContactNamespace && child->name == kExtended) {
            if (!labels.empty()) continue;
            for (const auto& extended : child->children)
                entries.push_back(
                    EntryFor(L"[" + extended->ns + L"]" + extended->name, ValueType(*extended), *extended));
        } else if (child->ns == kContactNamespace && labels.empty()) {
            entries.push_back(EntryFor(child->name, ValueType(*child), *child));
        }
    }
    return entries;
}

std::wstring ContactIdText(const std::wstring& id, const std::wstring& path) {
    std::wstring text;
    if (!id.empty()) text = L"/GUID:\"" + id + L"\"";
    if (!path.empty()) text += std::wstring(text.empty() ? L"" : L" ") + L"PATH:\"" + path + L"\"";
    return text;
}

std::wstring FormatTime(const FILETIME& time) {
    SYSTEMTIME utc{};
    ::FileTimeToSystemTime(&time, &utc);
    wchar_t text[32];
    swprintf(text, 32, L"%04u-%02u-%02uT%02u:%02u:%02uZ", utc.wYear, utc.wMonth, utc.wDay, utc.wHour, utc.wMinute,
             utc.wSecond);
    return text;
}

bool ParseTime(const std::wstring& text, FILETIME& time) {
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    wchar_t zone = 0;
    if (text.size() < 20 || swscanf(text.c_str(), L"%4u-%2u-%2uT%2u:%2u:%2u%lc", &year, &month, &day, &hour, &minute,
                                    &second, &zone) != 7)
        return false;
    SYSTEMTIME utc{};
    utc.wYear = WORD(year);
    utc.wMonth = WORD(month);
    utc.wDay = WORD(day);
    utc.wHour = WORD(hour);
    utc.wMinute = WORD(minute);
    utc.wSecond = WORD(second);
    return ::SystemTimeToFileTime(&utc, &time) != FALSE;
}

std::wstring NewGuidText() {
    GUID guid{};
    ::CoCreateGuid(&guid);
    wchar_t text[40] = {};
    ::StringFromGUID2(guid, text, 40);
    std::wstring plain(text);
    return plain.size() > 2 ? plain.substr(1, plain.size() - 2) : plain;
}

}  // namespace wabfake
