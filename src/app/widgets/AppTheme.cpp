#include "app/widgets/AppTheme.h"

#include <QApplication>
#include <QStyle>
#include <QStyleFactory>

namespace qm::app {

namespace {
struct DesktopLook {
    QString style;
    QPalette palette;
};
// What the desktop gave the application before any choice of ours replaced it.
const DesktopLook& desktopLook() {
    static const DesktopLook look{QApplication::style() ? QApplication::style()->name() : QString(),
                                  QApplication::palette()};
    return look;
}
}  // namespace

QPalette appearancePalette(bool dark) {
    QPalette p;
    const auto set = [&p](QPalette::ColorRole role, QColor color) { p.setColor(role, color); };
    if (dark) {
        set(QPalette::Window, QColor(0x1e, 0x1f, 0x22));
        set(QPalette::WindowText, QColor(0xe6, 0xe6, 0xe6));
        set(QPalette::Base, QColor(0x23, 0x24, 0x27));
        set(QPalette::AlternateBase, QColor(0x2a, 0x2b, 0x2f));
        set(QPalette::Text, QColor(0xe6, 0xe6, 0xe6));
        set(QPalette::Button, QColor(0x2a, 0x2b, 0x2f));
        set(QPalette::ButtonText, QColor(0xe6, 0xe6, 0xe6));
        set(QPalette::ToolTipBase, QColor(0x2a, 0x2b, 0x2f));
        set(QPalette::ToolTipText, QColor(0xe6, 0xe6, 0xe6));
        set(QPalette::PlaceholderText, QColor(0xa4, 0xa4, 0xaa));
        set(QPalette::Highlight, QColor(0x2b, 0x5f, 0xa8));
        set(QPalette::HighlightedText, QColor(0xff, 0xff, 0xff));
        set(QPalette::Link, QColor(0x6a, 0xa8, 0xf5));
        set(QPalette::BrightText, QColor(0xff, 0x6b, 0x5e));
        set(QPalette::Light, QColor(0x3a, 0x3b, 0x40));
        set(QPalette::Midlight, QColor(0x32, 0x33, 0x38));
        set(QPalette::Mid, QColor(0x2a, 0x2b, 0x2f));
        set(QPalette::Dark, QColor(0x14, 0x15, 0x17));
        set(QPalette::Shadow, QColor(0x0a, 0x0a, 0x0b));
        p.setColor(QPalette::Disabled, QPalette::Text, QColor(0x80, 0x80, 0x86));
        p.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x80, 0x80, 0x86));
        p.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x80, 0x80, 0x86));
        return p;
    }
    if (QStyle* fusion = QStyleFactory::create("Fusion")) {
        p = fusion->standardPalette();
        delete fusion;
    }
    // Fusion's grey for quiet text is too faint on its window; ours reads.
    set(QPalette::PlaceholderText, QColor(0x5f, 0x63, 0x67));
    set(QPalette::Highlight, QColor(0x1f, 0x64, 0xc0));
    set(QPalette::HighlightedText, QColor(0xff, 0xff, 0xff));
    return p;
}

namespace {
constexpr const char* quietProperty = "quillmereQuiet";

void paintQuiet(QWidget* widget) {
    QPalette pal = widget->palette();
    pal.setColor(QPalette::WindowText, QApplication::palette().color(QPalette::PlaceholderText));
    widget->setPalette(pal);
}
}  // namespace

void markQuiet(QWidget* widget) {
    widget->setProperty(quietProperty, true);
    paintQuiet(widget);
}

void applyAppearance(Appearance appearance) {
    const DesktopLook& desktop = desktopLook();
    if (appearance == Appearance::system) {
        if (!desktop.style.isEmpty() && QApplication::style()->name() != desktop.style)
            QApplication::setStyle(desktop.style);
        QApplication::setPalette(desktop.palette);
    } else {
        if (QApplication::style()->name().compare("fusion", Qt::CaseInsensitive) != 0) QApplication::setStyle("Fusion");
        QApplication::setPalette(appearancePalette(appearance == Appearance::dark));
    }
    for (QWidget* widget : QApplication::allWidgets())
        if (widget->property(quietProperty).toBool()) paintQuiet(widget);
}

bool darkPalette() {
    const QPalette palette = QApplication::palette();
    return palette.color(QPalette::WindowText).lightness() > palette.color(QPalette::Window).lightness();
}

}  // namespace qm::app
