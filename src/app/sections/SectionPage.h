// One section of the main window (overview, apps, memory, energy, sensors, network,
// timeline). The window shows one page at a time and calls refresh() on it, on the GUI
// thread, after each change of the Monitor while the page is showing; a hidden page
// does no work. activated() runs each time the page is shown (before its first
// refresh), deactivated() when another section replaces it or the window closes.
#pragma once

#include <QWidget>

#include "app/AppContext.h"
#include "knowledge/Section.h"

namespace qm::app {

class SectionPage : public QWidget {
    Q_OBJECT
public:
    SectionPage(Section section, AppContext& context, QWidget* parent = nullptr);

    Section section() const { return section_; }

    virtual void refresh() {}
    virtual void activated() {}
    virtual void deactivated() {}

protected:
    AppContext& context() const { return context_; }

private:
    Section section_;
    AppContext& context_;
};

// The page for a section; the window owns it (parent).
SectionPage* makeSectionPage(Section section, AppContext& context, QWidget* parent);

// A page that only names its section: used until a section has a page of its own.
class PlaceholderPage : public SectionPage {
    Q_OBJECT
public:
    PlaceholderPage(Section section, AppContext& context, QWidget* parent = nullptr);
};

}  // namespace qm::app
