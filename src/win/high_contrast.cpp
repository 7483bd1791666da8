// Asking the platform for its high-contrast setting.
#include "win/high_contrast.h"

namespace win {

bool IsHighContrast() noexcept {
    // Asked each time: the user may switch schemes while a control is shown.
    HIGHCONTRASTW contrast{};
    contrast.cbSize = sizeof(contrast);
    return ::SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof(contrast), &contrast, 0) &&
           (contrast.dwFlags & HCF_HIGHCONTRASTON);
}

}  // namespace win
