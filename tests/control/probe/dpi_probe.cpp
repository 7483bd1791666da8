// Hosts the control in Wine's ATL host and prints the widths of its three
// list columns, for a test that runs it with another screen resolution.
#include "support/control_host.h"

#include <cstdio>

int main() {
    testing_support::ComApartment apartment;
    control_test::AtlHost host;
    const HWND list = host.list();
    if (!list) return 1;
    std::printf("%d %d %d\n", int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, 0, 0)),
                int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, 1, 0)), int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, 2, 0)));
    return 0;
}
