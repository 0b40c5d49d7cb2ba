// The few building blocks every section page shares: the page title, a card with a
// heading, wrapped text, and the system's wording for the platform (the texts are
// written for a Mac; Linux shows "your computer"). Colours come from the shared tones.
#pragma once

#include <QFrame>
#include <QIcon>
#include <QString>
#include <string>

#include "app/widgets/Tones.h"

class QLabel;
class QVBoxLayout;

namespace qm::app {

// A user-visible sentence, in this platform's wording.
QString shown(const std::string& text);

// Sets a label's text only when it differs: pages refresh every tick, and setting the
// same text again lays the label out again.
void setTextIfChanged(QLabel* label, const QString& text);
// The same, and the label shows only while it has something to say.
void showTextIfAny(QLabel* label, const QString& text);

// The big title at the top of a page.
QLabel* makePageTitle(const QString& text, QWidget* parent);
// A page whose content scrolls under its title: the page's own layout holds only the
// scroll area; sections add their cards to the returned layout, parented to `content`.
struct ScrollingPage {
    QWidget* content;
    QVBoxLayout* layout;
};
ScrollingPage makeScrollingPage(QWidget* page, const QString& title);
// A wrapped, selectable label.
QLabel* makeText(const QString& text, QWidget* parent, bool secondary = false);

// A rounded panel with a bold heading; content goes into layout().
class Card : public QFrame {
    Q_OBJECT
public:
    explicit Card(const QString& heading, QWidget* parent = nullptr);
    QVBoxLayout* body() const { return body_; }
    QLabel* heading() const { return heading_; }

private:
    QLabel* heading_;
    QVBoxLayout* body_;
};

}  // namespace qm::app

namespace qm::app {
// A glyph standing in for a named system symbol ("info.circle.fill").
QString symbolGlyph(const std::string& symbol);
// The style's icon standing in for a named system symbol; null when there is none.
QIcon symbolIcon(const std::string& symbol);
// The text of every label under `widget` that is not hidden, one per line (tests).
QString visibleText(const QWidget* widget);
}  // namespace qm::app
