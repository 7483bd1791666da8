// What registration writes for the control and what its resources hold, read
// back from the registry and from the module as a data file.
#include "support/control_host.h"

#include <array>
#include <map>

using namespace control_test;

namespace {

std::wstring RegistryText(const std::wstring& path, const wchar_t* value = nullptr) {
    wchar_t text[1024] = {};
    DWORD size = sizeof(text);
    if (::RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
        return L"<missing>";
    return text;
}

bool KeyExists(const std::wstring& path) {
    com::UniqueHKey key;
    return ::RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

std::wstring ClassKey() {
    wchar_t text[64] = {};
    ::StringFromGUID2(CLSID_VelPhonebookControl, text, 64);
    return std::wstring(L"CLSID\\") + text;
}

// One control of a DIALOGEX template.
struct TemplateItem {
    DWORD style, exStyle;
    short x, y, cx, cy;
    DWORD id;
};

const WORD* SkipSzOrOrd(const WORD* p) {
    if (*p == 0xFFFF) return p + 2;
    while (*p) ++p;
    return p + 1;
}

const WORD* AlignDword(const WORD* p) {
    return reinterpret_cast<const WORD*>((reinterpret_cast<ULONG_PTR>(p) + 3) & ~ULONG_PTR(3));
}

}  // namespace

TEST(ControlRegistration, TheScriptWritesTheControlKeys) {
    ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
    const std::wstring key = ClassKey();
    EXPECT_EQ(RegistryText(key), L"Orvanta VelPhonebookControl Class");
    EXPECT_EQ(RegistryText(key + L"\\ProgID"), L"Zantix.VelPhonebookControl.1");
    EXPECT_EQ(RegistryText(key + L"\\VersionIndependentProgID"), L"Zantix.VelPhonebookControl");
    EXPECT_EQ(RegistryText(key + L"\\InprocServer32", L"ThreadingModel"), L"Apartment");
    for (const wchar_t* sub : {L"\\Control", L"\\Insertable", L"\\Programmable"}) EXPECT_TRUE(KeyExists(key + sub)) << sub;
    const std::wstring module = RegistryText(key + L"\\InprocServer32");
    EXPECT_EQ(RegistryText(key + L"\\ToolboxBitmap32"), module + L", 101");
    EXPECT_EQ(RegistryText(key + L"\\MiscStatus"), L"0");
    EXPECT_EQ(RegistryText(key + L"\\MiscStatus\\1"), L"131473");
    EXPECT_EQ(RegistryText(key + L"\\Version"), L"1.1");
    EXPECT_EQ(RegistryText(L"Zantix.VelPhonebookControl\\CurVer"), L"Zantix.VelPhonebookControl.1");
    EXPECT_EQ(RegistryText(L"Zantix.VelPhonebookControl.1\\CLSID"), RegistryText(L"Zantix.VelPhonebookControl\\CLSID"));

    ASSERT_EQ(testing_support::RunRegsvr32(true), 0);
    EXPECT_FALSE(KeyExists(key));
    EXPECT_FALSE(KeyExists(L"Zantix.VelPhonebookControl"));
    ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
}

TEST(ControlResources, DialogImagesAndToolboxPictureAreInTheModule) {
    const std::wstring path = testing_support::BinDir() + testing_support::kModuleFileName;
    com::UniqueModule module(::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(module);
    const HRSRC found = ::FindResourceW(module.get(), MAKEINTRESOURCEW(103), MAKEINTRESOURCEW(5));  // RT_DIALOG
    ASSERT_TRUE(found);
    const auto* words = static_cast<const WORD*>(::LockResource(::LoadResource(module.get(), found)));
    ASSERT_EQ(words[0], 1);       // DIALOGEX
    ASSERT_EQ(words[1], 0xFFFF);
    const auto* dwords = reinterpret_cast<const DWORD*>(words + 2);
    EXPECT_EQ(dwords[1], 0x10000u) << "extended style";
    EXPECT_EQ(dwords[2], 0x42000458u) << "style";
    const WORD count = words[8];
    EXPECT_EQ(count, 7);
    EXPECT_EQ(short(words[11]), 163);
    EXPECT_EQ(short(words[12]), 170);
    const WORD* p = SkipSzOrOrd(SkipSzOrOrd(words + 13));  // menu, class
    p = SkipSzOrOrd(p);                                    // title
    EXPECT_EQ(p[0], 8) << "8-point font";
    p = SkipSzOrOrd(p + 3);                                // size, weight, italic+charset, face
    std::map<DWORD, TemplateItem> items;
    for (WORD i = 0; i < count; ++i) {
        p = AlignDword(p);
        const auto* item = reinterpret_cast<const DWORD*>(p);
        TemplateItem entry{item[2], item[1], short(p[6]), short(p[7]), short(p[8]), short(p[9]), item[5]};
        items[entry.id] = entry;
        p = SkipSzOrOrd(SkipSzOrOrd(p + 12));  // class, title
        p = reinterpret_cast<const WORD*>(reinterpret_cast<const BYTE*>(p + 1) + *p);
    }
    ASSERT_EQ(items.count(204), 1u);
    EXPECT_EQ(items[204].style, 0x50830209u) << "the list's style word";
    const std::map<DWORD, std::array<short, 4>> rectangles = {
        {204, {0, 0, 163, 135}}, {203, {3, 139, 50, 14}},  {202, {57, 139, 50, 14}}, {208, {113, 139, 50, 14}},
        {209, {0, 137, 17, 16}}, {210, {24, 137, 17, 16}}, {211, {48, 137, 17, 16}}};
    for (const auto& [id, rect] : rectangles) {
        const TemplateItem& item = items[id];
        EXPECT_EQ((std::array<short, 4>{item.x, item.y, item.cx, item.cy}), rect) << id;
        const bool visible = (item.style & WS_VISIBLE) != 0;
        EXPECT_EQ(visible, id == 204 || id == 203 || id == 202) << id;
    }
    for (int icon : {105, 106, 107, 109, 110, 111})
        EXPECT_TRUE(::FindResourceW(module.get(), MAKEINTRESOURCEW(icon), MAKEINTRESOURCEW(14))) << icon;  // RT_GROUP_ICON
    for (int bitmap : {101, 201}) EXPECT_TRUE(::FindResourceW(module.get(), MAKEINTRESOURCEW(bitmap), RT_BITMAP)) << bitmap;
    EXPECT_TRUE(::FindResourceW(module.get(), MAKEINTRESOURCEW(102), L"REGISTRY"));
}
