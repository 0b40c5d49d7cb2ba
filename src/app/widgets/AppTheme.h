// The application's colours: the desktop's own palette, or, when the user picks light
// or dark, Qt's Fusion style with a palette of ours whose every text and chart colour
// keeps a contrast of 4.5:1 against the window and the tables.
#pragma once

#include <QPalette>
#include <QWidget>

#include "shell/Appearance.h"

namespace qm::app {

void applyAppearance(Appearance appearance);
// Whether the application's palette is dark now (its text lighter than its window).
bool darkPalette();
// The palette of our light or dark appearance.
QPalette appearancePalette(bool dark);
// Draws a widget's text in the palette's quiet colour, and again after every change of
// appearance (a colour set once would stay the old scheme's).
void markQuiet(QWidget* widget);

}  // namespace qm::app
