#include "shell/MenuBarNotch.h"

namespace qm {

namespace {
bool contains(const ScreenBox& box, double x, double y) {
    return x >= box.x && x < box.x + box.width && y >= box.y && y < box.y + box.height;
}
}  // namespace

bool itemHiddenByNotch(const ScreenBox& item, const std::vector<ScreenTop>& screens) {
    if (item.width <= 0 || item.height <= 0) return false;
    const double centreX = item.x + item.width / 2;
    const double centreY = item.y + item.height / 2;
    for (const ScreenTop& screen : screens) {
        if (!contains(screen.frame, centreX, centreY)) continue;
        if (screen.topLeftArea.width <= 0 || screen.topRightArea.width <= 0) return false;
        const double gapStart = screen.topLeftArea.x + screen.topLeftArea.width;
        const double gapEnd = screen.topRightArea.x;
        return item.x < gapEnd && item.x + item.width > gapStart;
    }
    return false;
}

}  // namespace qm
