// A stand-in for the platform's high-contrast setting, which Wine 8 lacks
// (SPI_SETHIGHCONTRAST fails with ERROR_INVALID_SPI_VALUE and
// SPI_GETHIGHCONTRAST always answers "off"): the module's import of
// SystemParametersInfoW is pointed at a function that answers
// SPI_GETHIGHCONTRAST with HCF_HIGHCONTRASTON, as Windows does with a
// high-contrast theme on, and passes every other request on. The system
// colours are set to a high-contrast scheme with SetSysColors (which Wine
// has). Both are undone when the object goes.
#pragma once

#include <windows.h>

#include <cstring>
#include <vector>

namespace control_test {

class HighContrastStandIn {
public:
    // The scheme: black background, white text, cyan selection, green grey
    // text and yellow buttons' text, so that each colour tells its role.
    static constexpr int kElements[] = {COLOR_WINDOW,        COLOR_WINDOWTEXT, COLOR_HIGHLIGHT,
                                        COLOR_HIGHLIGHTTEXT, COLOR_GRAYTEXT,   COLOR_BTNFACE,
                                        COLOR_BTNTEXT,       COLOR_3DFACE};
    static constexpr COLORREF kScheme[] = {RGB(0, 0, 0),     RGB(255, 255, 255), RGB(0, 255, 255),
                                           RGB(0, 0, 0),     RGB(0, 255, 0),     RGB(0, 0, 0),
                                           RGB(255, 255, 0), RGB(0, 0, 0)};

    explicit HighContrastStandIn(HMODULE module) {
        for (int element : kElements) m_saved.push_back(::GetSysColor(element));
        ::SetSysColors(int(std::size(kElements)), kElements, kScheme);
        m_slot = ImportSlot(module, "user32.dll", "SystemParametersInfoW");
        if (m_slot) Write(reinterpret_cast<void*>(&Answer), &m_original);
    }
    ~HighContrastStandIn() {
        if (m_slot) Write(m_original, nullptr);
        ::SetSysColors(int(std::size(kElements)), kElements, m_saved.data());
    }
    HighContrastStandIn(const HighContrastStandIn&) = delete;
    HighContrastStandIn& operator=(const HighContrastStandIn&) = delete;
    bool active() const { return m_slot != nullptr; }

private:
    static BOOL WINAPI Answer(UINT action, UINT param, void* data, UINT flags) {
        if (action == SPI_GETHIGHCONTRAST && data) {
            auto* contrast = static_cast<HIGHCONTRASTW*>(data);
            contrast->dwFlags = HCF_HIGHCONTRASTON | HCF_AVAILABLE;
            contrast->lpszDefaultScheme = nullptr;
            return TRUE;
        }
        return ::SystemParametersInfoW(action, param, data, flags);
    }
    // The module's import address table entry of a function.
    static void** ImportSlot(HMODULE module, const char* library, const char* function) {
        if (!module) return nullptr;
        auto* base = reinterpret_cast<BYTE*>(module);
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const IMAGE_DATA_DIRECTORY& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        if (!imports.VirtualAddress) return nullptr;
        for (auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
             entry->Name; ++entry) {
            if (_stricmp(reinterpret_cast<const char*>(base + entry->Name), library) != 0) continue;
            auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++slots) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
                const auto* byName =
                    reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) == 0)
                    return reinterpret_cast<void**>(&slots->u1.Function);
            }
        }
        return nullptr;
    }
    void Write(void* value, void** previous) {
        DWORD protection = 0;
        ::VirtualProtect(m_slot, sizeof(void*), PAGE_READWRITE, &protection);
        if (previous) *previous = *m_slot;
        *m_slot = value;
        ::VirtualProtect(m_slot, sizeof(void*), protection, &protection);
    }

    std::vector<COLORREF> m_saved;
    void** m_slot = nullptr;
    void* m_original = nullptr;
};

}  // namespace control_test
