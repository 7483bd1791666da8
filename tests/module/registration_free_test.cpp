// Registration-free use: the assembly manifest written beside the module
// names what regsvr32 registers, and a program whose application manifest
// depends on that assembly creates and hosts every class with nothing in the
// registry.
//
// The host (bin/regfree/regfree_host.exe) finds the assembly as a private
// assembly: Zantix.VelPhonebook.manifest in the program's own folder, beside
// the copy of the module it names. Under Wine 8 both places Windows probes for
// a private assembly's manifest work: <folder>\<name>.manifest and
// <folder>\<name>\<name>.manifest (with the module in that subfolder); a
// manifest named after the module (VelPhonebook64.manifest for VelPhonebook64.dll) is not found.
//
// Through the activation context CLSIDFromProgID answers an alias of the class
// identifier that only that context knows; creating by the alias and by the
// real identifier both give the class.
#include "com/com_ptr.h"
#include "module/VelPhonebook_h.h"
#include "module_test_support.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <msxml2.h>

#include <map>
#include <optional>
#include <vector>

using namespace module_test;
using testing_support::BinDir;
using testing_support::RegistryKeyExists;
using testing_support::RegistryText;
using testing_support::RunRegsvr32;
using testing_support::Utf8;

namespace {

constexpr wchar_t kAssemblyName[] = L"Zantix.VelPhonebook";
constexpr const wchar_t* kModuleFile = testing_support::kModuleFileName;

struct ManifestClass {
    std::wstring progId, threadingModel, tlbid;
    std::vector<std::wstring> progIdChildren;
};

struct Manifest {
    std::wstring name, version, architecture, type;
    std::vector<std::wstring> files;
    std::map<std::wstring, ManifestClass> classes;       // by class identifier
    std::map<std::wstring, std::wstring> typeLibraries;  // identifier -> version
};

std::wstring Attribute(IXMLDOMNode* node, const wchar_t* name) {
    com::ComPtr<IXMLDOMElement> element;
    node->QueryInterface(IID_IXMLDOMElement, element.put_void());
    VARIANT value;
    ::VariantInit(&value);
    if (!element || element->getAttribute(com::UniqueBstr(::SysAllocString(name)).get(), &value) != S_OK ||
        value.vt != VT_BSTR)
        return L"";
    std::wstring text = value.bstrVal;
    ::VariantClear(&value);
    return text;
}

std::vector<com::ComPtr<IXMLDOMNode>> Elements(IXMLDOMNode* parent, const wchar_t* tag) {
    std::vector<com::ComPtr<IXMLDOMNode>> nodes;
    com::ComPtr<IXMLDOMElement> element;
    com::ComPtr<IXMLDOMDocument> document;
    com::ComPtr<IXMLDOMNodeList> list;
    com::UniqueBstr name(::SysAllocString(tag));
    if (SUCCEEDED(parent->QueryInterface(IID_IXMLDOMElement, element.put_void())))
        element->getElementsByTagName(name.get(), list.put());
    else if (SUCCEEDED(parent->QueryInterface(IID_IXMLDOMDocument, document.put_void())))
        document->getElementsByTagName(name.get(), list.put());
    long count = 0;
    if (list) list->get_length(&count);
    for (long i = 0; i < count; ++i) {
        com::ComPtr<IXMLDOMNode> node;
        if (SUCCEEDED(list->get_item(i, node.put())) && node) nodes.push_back(std::move(node));
    }
    return nodes;
}

std::optional<Manifest> ReadManifest(const std::wstring& path) {
    CLSID clsid{};
    com::ComPtr<IXMLDOMDocument> document;
    if (FAILED(::CLSIDFromProgID(L"Msxml2.DOMDocument.6.0", &clsid)) ||
        FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, document.put_void())))
        return std::nullopt;
    document->put_async(VARIANT_FALSE);
    VARIANT file;
    file.vt = VT_BSTR;
    file.bstrVal = ::SysAllocString(path.c_str());
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT hr = document->load(file, &loaded);
    ::VariantClear(&file);
    if (hr != S_OK || !loaded) return std::nullopt;

    Manifest manifest;
    com::ComPtr<IXMLDOMNode> root;
    if (FAILED(document->QueryInterface(IID_IXMLDOMNode, root.put_void()))) return std::nullopt;
    // The assembly's own identity is the first; a dependency would add others.
    if (const auto identities = Elements(root.get(), L"assemblyIdentity"); !identities.empty()) {
        manifest.name = Attribute(identities[0].get(), L"name");
        manifest.version = Attribute(identities[0].get(), L"version");
        manifest.architecture = Attribute(identities[0].get(), L"processorArchitecture");
        manifest.type = Attribute(identities[0].get(), L"type");
    }
    for (const auto& file : Elements(root.get(), L"file")) manifest.files.push_back(Attribute(file.get(), L"name"));
    for (const auto& node : Elements(root.get(), L"comClass")) {
        ManifestClass& entry = manifest.classes[Attribute(node.get(), L"clsid")];
        entry.progId = Attribute(node.get(), L"progid");
        entry.threadingModel = Attribute(node.get(), L"threadingModel");
        entry.tlbid = Attribute(node.get(), L"tlbid");
        for (const auto& child : Elements(node.get(), L"progid")) {
            com::UniqueBstr text;
            child->get_text(text.put());
            entry.progIdChildren.push_back(text.get() ? text.get() : L"");
        }
    }
    for (const auto& node : Elements(root.get(), L"typelib"))
        manifest.typeLibraries[Attribute(node.get(), L"tlbid")] = Attribute(node.get(), L"version");
    return manifest;
}

std::wstring FileVersion(const std::wstring& path) {
    DWORD ignored = 0;
    std::vector<BYTE> data(::GetFileVersionInfoSizeW(path.c_str(), &ignored));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    if (data.empty() || !::GetFileVersionInfoW(path.c_str(), 0, DWORD(data.size()), data.data()) ||
        !::VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &size) || !info)
        return L"";
    return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionMS)) +
           L"." + std::to_wstring(HIWORD(info->dwFileVersionLS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionLS));
}

std::wstring Upper(std::wstring text) {
    for (wchar_t& c : text) c = wchar_t(::towupper(c));
    return text;
}

// The manifest against what regsvr32 registers: the same classes with the same
// ProgIDs and threading model, the same type library, the module's
// file name and version.
TEST(AssemblyManifest, NamesWhatTheModuleRegisters) {
    testing_support::ComApartment apartment;
    const std::wstring path = BinDir() + kAssemblyName + L".manifest";
    const std::optional<Manifest> manifest = ReadManifest(path);
    ASSERT_TRUE(manifest) << "no readable manifest at " << Utf8(path);

    EXPECT_EQ(kAssemblyName, manifest->name) << "a private assembly's manifest is found by the assembly's name";
    EXPECT_EQ(L"win32", manifest->type);
#ifdef _WIN64
    EXPECT_EQ(L"amd64", manifest->architecture);
#else
    EXPECT_EQ(L"x86", manifest->architecture);
#endif
    EXPECT_EQ(FileVersion(BinDir() + kModuleFile), manifest->version);
    EXPECT_EQ(std::vector<std::wstring>{kModuleFile}, manifest->files);

    // What the registration adds to the machine's classes.
    ASSERT_EQ(0, RunRegsvr32(true));
    const RegistryTree before = ReadTree(HKEY_LOCAL_MACHINE, kClassesKey);
    ASSERT_EQ(0, RunRegsvr32(false));
    const RegistryTree added = Added(before, ReadTree(HKEY_LOCAL_MACHINE, kClassesKey));
    std::set<std::wstring> registeredClasses, registeredLibraries;
    for (const std::wstring& entry : added) {
        // "key CLSID\{...}" and "key TYPELIB\{...}\<version>", one level each.
        const auto take = [&](const wchar_t* prefix, std::set<std::wstring>& into) {
            const std::wstring head = std::wstring(L"key ") + prefix + L"\\";
            if (entry.compare(0, head.size(), head) == 0) {
                const std::wstring rest = entry.substr(head.size());
                into.insert(rest);
            }
        };
        take(L"CLSID", registeredClasses);
        take(L"TYPELIB", registeredLibraries);
    }

    std::set<std::wstring> manifestClasses;
    for (const auto& [clsid, entry] : manifest->classes) {
        SCOPED_TRACE(Utf8(clsid));
        manifestClasses.insert(Upper(clsid));
        const std::wstring key = L"CLSID\\" + clsid;
        EXPECT_EQ(RegistryText(HKEY_CLASSES_ROOT, key + L"\\ProgID"), entry.progId);
        EXPECT_EQ(std::vector<std::wstring>{RegistryText(HKEY_CLASSES_ROOT, key + L"\\VersionIndependentProgID")
                                                .value_or(L"(none)")},
                  entry.progIdChildren);
        EXPECT_EQ(RegistryText(HKEY_CLASSES_ROOT, key + L"\\InprocServer32", L"ThreadingModel"),
                  entry.threadingModel);
        EXPECT_EQ(RegistryText(HKEY_CLASSES_ROOT, key + L"\\TypeLib"), entry.tlbid);
        const std::wstring server = RegistryText(HKEY_CLASSES_ROOT, key + L"\\InprocServer32").value_or(L"");
        EXPECT_EQ(Upper(kModuleFile), Upper(server.substr(server.find_last_of(L"\\/") + 1)));
    }
    // Every class key the registration adds, and its subkeys: the classes are
    // the entries without a backslash after the identifier.
    std::set<std::wstring> registeredClassIds;
    for (const std::wstring& key : registeredClasses)
        if (key.find(L'\\') == std::wstring::npos) registeredClassIds.insert(key);
    EXPECT_EQ(registeredClassIds, manifestClasses);

    ASSERT_EQ(1u, manifest->typeLibraries.size());
    const auto& [tlbid, version] = *manifest->typeLibraries.begin();
    EXPECT_EQ(GuidText(LIBID_VELPHONEBOOKLib), tlbid);
    // (In the 32-bit view TypeLib is a link to the key both views share, so
    // the walk of the classes does not see the library's keys: ask for them.)
    EXPECT_TRUE(registeredLibraries.count(Upper(tlbid) + L"\\" + version) ||
                testing_support::RegistryKeyExists(HKEY_CLASSES_ROOT, L"TypeLib\\" + tlbid + L"\\" + version))
        << "registered as TypeLib\\" << Utf8(tlbid) << "\\" << Utf8(version);
}

class RegistrationFree : public ::testing::Test {
protected:
    // The other tests expect the module registered machine-wide.
    void TearDown() override { RunRegsvr32(false); }
};

TEST_F(RegistrationFree, HostCreatesAndHostsEveryClassWithNothingRegistered) {
    // What the registration tells containers about the controls, to be found
    // again through the manifest.
    ASSERT_EQ(0, RunRegsvr32(false));
    std::map<std::wstring, std::wstring> miscStatus;
    for (const wchar_t* progId : kProgIds) {
        const auto clsid = RegistryText(HKEY_CLASSES_ROOT, std::wstring(progId) + L"\\CLSID");
        ASSERT_TRUE(clsid);
        if (auto misc = RegistryText(HKEY_CLASSES_ROOT, L"CLSID\\" + *clsid + L"\\MiscStatus\\1"))
            miscStatus[progId] = *misc;
    }
    ASSERT_EQ(4u, miscStatus.size()) << "both ProgIDs of both controls";

    ASSERT_EQ(0, RunRegsvr32(true));
    ASSERT_EQ(0, RunUserRegsvr32(true));
    for (const wchar_t* progId : kProgIds) {
        ASSERT_FALSE(RegistryKeyExists(HKEY_CLASSES_ROOT, progId)) << Utf8(progId);
        ASSERT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, std::wstring(kClassesKey) + L"\\" + progId)) << Utf8(progId);
    }
    bool passed = false;
    std::string output = RunClient(L"activation_client.exe", L"absent", &passed);
    ASSERT_TRUE(passed) << "a program without the manifest must find nothing:\n" << output;

    const std::wstring copy = BinDir() + L"regfree\\" + kModuleFile;
    output = RunClient(L"regfree\\regfree_host.exe", L"create", &passed);
    EXPECT_TRUE(passed) << output;
    for (const wchar_t* progId : kProgIds)
        EXPECT_TRUE(HasLine(output, std::wstring(L"created ") + progId + L" ", L" from " + copy))
            << Utf8(progId) << " from the copy beside the host\n" << output;
    for (const auto& [progId, misc] : miscStatus)
        EXPECT_TRUE(HasLine(output, L"misc status " + progId + L" " + misc, L" " + misc))
            << Utf8(progId) << " tells containers what its registration does\n" << output;
    EXPECT_TRUE(HasLine(output, L"MRUList: Initialize through IDispatch")) << output;
    EXPECT_TRUE(HasLine(output, L"MRUList: Initialize, GetMRU, Terminate through IMRUList")) << output;
    EXPECT_TRUE(HasLine(output, L"type library found")) << output;

    // Wine's ATL host resolves the window text through CLSIDFromProgID, which
    // answers from the host's activation context as well.
    output = RunClient(L"regfree\\regfree_host.exe", L"host", &passed);
    EXPECT_TRUE(passed) << output;
    for (const auto& [progId, misc] : miscStatus)
        EXPECT_TRUE(HasLine(output, L"hosted " + progId + L": list SysListView32, from " + copy))
            << Utf8(progId) << "\n" << output;
}

}  // namespace
