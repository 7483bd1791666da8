// A stand-in for the fax program after three sends: records the recipients of
// each fax through Zantix.MRUList, then reads the list back and prints it.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"

#include <cstdio>
#include <vector>

namespace {

int Fail(const char* what, HRESULT hr) {
    std::printf("%s failed: 0x%08lX\n", what, static_cast<unsigned long>(hr));
    return 1;
}

std::string Narrow(const std::wstring& text) {
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(length, '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), result.data(), length, nullptr, nullptr);
    return result;
}

}  // namespace

int main() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    int status = 0;
    {
        CLSID clsid;
        HRESULT hr = ::CLSIDFromProgID(L"Zantix.MRUList", &clsid);
        if (FAILED(hr)) return Fail("CLSIDFromProgID(Zantix.MRUList)", hr);
        com::ComPtr<IMRUList> mru;
        hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList), mru.put_void());
        if (FAILED(hr)) return Fail("CoCreateInstance", hr);
        mru->Initialize();

        // Three faxes sent, some recipients repeated: each send puts its
        // recipients at the front, the last of a fax first.
        const wchar_t* faxes[] = {
            L"Ann Smith +1-555-0100;Bob Jones 555-0199",
            L"Carla Diaz +34-91-555-0123;Ann Smith +1-555-0100",
            L"Dieter Braun +49-30-5550-42;Bob Jones 555-0199;+44-20-7946-0018",
        };
        for (const wchar_t* fax : faxes) {
            std::printf("sent fax to: %s\n", Narrow(fax).c_str());
            com::UniqueBstr text(com::AllocBstr(fax));
            if (FAILED(hr = mru->UpdateMRU(text.get()))) return Fail("UpdateMRU", hr);
        }

        com::UniqueBstr list;
        if (FAILED(hr = mru->GetMRU(list.put()))) return Fail("GetMRU", hr);
        std::printf("\nMRU list: %s\n\n", Narrow(com::FromBstr(list.get())).c_str());

        com::UniqueSafeArray names, numbers;
        if (FAILED(hr = mru->StringToLists(names.put(), numbers.put(), list.get()))) return Fail("StringToLists", hr);
        std::vector<std::wstring> nameList, numberList;
        com::ReadStringArray(names.get(), nameList);
        com::ReadStringArray(numbers.get(), numberList);

        std::printf("%-4s  %-24s  %s\n", "#", "Name", "Fax number");
        std::printf("%-4s  %-24s  %s\n", "----", "------------------------", "--------------------");
        for (size_t i = 0; i < nameList.size(); ++i)
            std::printf("%-4zu  %-24s  %s\n", i + 1, Narrow(nameList[i]).c_str(), Narrow(numberList[i]).c_str());
        mru->Terminate();
    }
    ::CoUninitialize();
    return status;
}
