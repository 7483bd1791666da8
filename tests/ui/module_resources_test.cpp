// The module itself carries what the dialogs load: both templates and the
// seven PNG images, each decodable at three times its size in layout units
// (so that 96 and 144 dots per inch get an exact reduction).
#include "ui/gdiplus_include.h"
#include "ui/ui_ids.h"

#include "com/com_ptr.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <shlwapi.h>

namespace {

TEST(ModuleResourcesTest, TemplatesAndImagesAreInTheModule) {
    const com::UniqueModule library(
        ::LoadLibraryExW((testing_support::BinDir() + testing_support::kModuleFileName).c_str(), nullptr,
                         LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    const HMODULE module = library.get();
    ASSERT_TRUE(module);
    EXPECT_TRUE(::FindResourceW(module, MAKEINTRESOURCEW(IDD_ENTRY_INFO), RT_DIALOG));
    EXPECT_TRUE(::FindResourceW(module, MAKEINTRESOURCEW(IDD_MESSAGE_BOX), RT_DIALOG));

    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    ASSERT_EQ(Gdiplus::GdiplusStartup(&token, &input, nullptr), Gdiplus::Ok);
    const struct {
        int id;
        UINT pixels;
    } images[] = {{IDR_PNG_STAR_ON, 48}, {IDR_PNG_STAR_OFF, 48}, {IDR_PNG_STAR_HOT, 48}, {IDR_PNG_ADD, 48},
                  {IDR_PNG_EDIT, 48},    {IDR_PNG_REMOVE, 48},   {IDR_PNG_WARNING, 54}};
    for (const auto& image : images) {
        const HRSRC found = ::FindResourceW(module, MAKEINTRESOURCEW(image.id), L"PNG");
        ASSERT_TRUE(found) << image.id;
        const auto* bytes = static_cast<const BYTE*>(::LockResource(::LoadResource(module, found)));
        const auto stream =
            com::ComPtr<IStream>::attach(::SHCreateMemStream(bytes, ::SizeofResource(module, found)));
        Gdiplus::Bitmap bitmap(stream.get());
        EXPECT_EQ(bitmap.GetLastStatus(), Gdiplus::Ok) << image.id;
        EXPECT_EQ(bitmap.GetWidth(), image.pixels) << image.id;
        EXPECT_EQ(bitmap.GetHeight(), image.pixels) << image.id;
        // Drawn on a transparent ground with solid shapes.
        Gdiplus::Color corner, pixel;
        bitmap.GetPixel(0, 0, &corner);
        EXPECT_EQ(corner.GetA(), 0) << image.id;
        int opaque = 0;
        for (UINT y = 0; y < image.pixels; ++y)
            for (UINT x = 0; x < image.pixels; ++x)
                if (bitmap.GetPixel(INT(x), INT(y), &pixel) == Gdiplus::Ok && pixel.GetA() == 255) ++opaque;
        EXPECT_GT(opaque, int(image.pixels)) << image.id;
    }
    Gdiplus::GdiplusShutdown(token);
}

}  // namespace
