// Prints what this process chose: the language list, the cached UI primary
// language and the font face. Tests start it as a fresh process, because the
// UI language is computed once per process.
#include "localization/language.h"

#include <cstdio>

int main() {
    std::printf("list=");
    const wchar_t* separator = L"";
    for (const LANGID language : localization::BuildLanguageList()) {
        std::printf("%ls%04x", separator, language);
        separator = L":";
    }
    std::printf("\nprimary=%u\nfont=%ls\n", unsigned(localization::UIPrimaryLanguage()),
                localization::FontFace());
    return 0;
}
