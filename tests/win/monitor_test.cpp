// Keeping a pop-up inside a monitor's work area: the placement rule over
// a table of monitors (one left of the primary at negative coordinates, a
// task bar at the bottom or at the top).
#include "win/monitor.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using Rect = std::tuple<LONG, LONG, LONG, LONG>;
Rect Of(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

TEST(MonitorTest, APopupIsMovedIntoTheWorkAreaKeepingItsSize) {
    struct Case {
        const char* what;
        RECT rect, area;
        Rect expected;
    };
    const RECT primary{0, 0, 1280, 984};          // task bar at the bottom
    const RECT leftMonitor{-1920, -200, 0, 880};  // a second monitor left of it, above the primary's top
    const RECT topBar{0, 40, 1024, 768};          // task bar at the top
    const Case cases[] = {
        {"inside stays", {100, 100, 570, 362}, primary, {100, 100, 570, 362}},
        {"off the left edge", {-55, 300, 415, 562}, primary, {0, 300, 470, 562}},
        {"off the right and bottom", {1000, 900, 1470, 1162}, primary, {810, 722, 1280, 984}},
        {"on the left monitor, off its left", {-2000, 100, -1530, 362}, leftMonitor, {-1920, 100, -1450, 362}},
        {"on the left monitor, above its top", {-900, -400, -430, -138}, leftMonitor, {-900, -200, -430, 62}},
        {"crossing into the primary", {-200, 100, 270, 362}, leftMonitor, {-470, 100, 0, 362}},
        {"under a top task bar", {300, 0, 770, 262}, topBar, {300, 40, 770, 302}},
        {"larger than the area: its left and top seen", {-50, -50, 1350, 1050}, topBar, {0, 40, 1400, 1140}},
        {"touching the edges stays", {0, 722, 470, 984}, primary, {0, 722, 470, 984}},
    };
    for (const Case& c : cases) EXPECT_EQ(Of(win::FitRectInto(c.rect, c.area)), c.expected) << c.what;
}

}  // namespace
