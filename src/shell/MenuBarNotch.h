// Whether the menu-bar item is hidden behind a display's camera housing (the notch).
// On such a display the menu bar is usable only left and right of the housing; an item
// the system could not fit into the right-hand part is drawn behind the housing, where
// nobody sees it, so a click on it is impossible.
#pragma once

#include <vector>

namespace qm {

// A rectangle in the system's screen coordinates (any origin, y up or down).
struct ScreenBox {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

// One display: its frame and the visible parts of its top edge left and right of the
// housing; both parts are empty (zero width) on a display without one.
struct ScreenTop {
    ScreenBox frame;
    ScreenBox topLeftArea;
    ScreenBox topRightArea;
};

// True when the item's frame lies on a display with a housing and reaches into the
// gap between the two visible parts. An empty frame, or one on no known display, is
// not hidden: nothing is claimed without a measurement.
bool itemHiddenByNotch(const ScreenBox& item, const std::vector<ScreenTop>& screens);

}  // namespace qm
